#!/usr/bin/env bash
# Builds and runs every test: Clang with ASan+UBSan (and the 60 s fuzz runs), Clang with TSan,
# then the optimised GCC build. Each run ends with ctest's summary line; the first failure stops.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

start=$SECONDS
if [[ "$(uname -s)" == "Darwin" ]]; then
  # On a Mac the Objective-C++ files are compiled for real (Corvane.app in every preset) and the
  # fuzz targets are left out: Apple's clang has no libFuzzer.
  extra=(-DCORVANE_BUILD_FUZZ=OFF)
else
  echo "=== objc-check: the macOS shell's Objective-C++ files (at $((SECONDS - start)) s) ==="
  tools/objc-check/ci-check.sh
  echo "=== The Apple branch of the CMake files, configured on a Darwin toolchain file (at $((SECONDS - start)) s) ==="
  rm -rf build/apple-configure && mkdir -p build
  if cmake -S . -B build/apple-configure -G Ninja --toolchain cmake/DarwinConfigureOnly.cmake > build/apple-configure.log 2>&1; then
    echo "apple-configure: PASS"
  else
    cat build/apple-configure.log; echo "apple-configure: FAIL"; exit 1
  fi
  echo "=== The GitHub workflows (at $((SECONDS - start)) s) ==="
  python3 scripts/lint-workflows.py
  extra=()
fi
for preset in asan tsan ci; do
  echo "=== $preset (at $((SECONDS - start)) s) ==="
  options=("${extra[@]}")
  # Qt's libraries are not built with ThreadSanitizer, so every queued call, timer and signal the
  # Qt shell passes through them reads as a race inside Qt; the shell's threads are the portable
  # ones TSan already covers. The Qt shell is built and tested in the asan and ci runs.
  [[ $preset == tsan ]] && options+=(-DCORVANE_BUILD_QT=OFF)
  cmake --preset "$preset" "${options[@]}" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
if [[ "$(uname -s)" == "Darwin" ]]; then
  bash scripts/mac-check-bundle.sh build/ci
fi
