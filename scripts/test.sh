#!/usr/bin/env bash
# Builds and runs every test: the optimised GCC build, then Clang with ASan+UBSan (and the fuzz
# runs), then Clang with TSan. Prints ctest's summary of each; fails on the first failure.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

run_preset() {
  local preset=$1
  echo "=== $preset ==="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
}

start=$SECONDS
run_preset asan
run_preset tsan
run_preset ci
echo "All test runs passed in $((SECONDS - start)) s."
