#!/usr/bin/env bash
# Builds and runs every test: Clang with ASan+UBSan (and the 60 s fuzz runs), Clang with TSan,
# then the optimised GCC build. Each run ends with ctest's summary line; the first failure stops.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

start=$SECONDS
for preset in asan tsan ci; do
  echo "=== $preset (at $((SECONDS - start)) s) ==="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
