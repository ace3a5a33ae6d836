#!/bin/sh
# Usage: check.sh [extra clang flags...] FILE.mm...
# A syntax-only check of Objective-C++ AppKit code: clang parses and type-checks it as the Mac
# build would (C++20, ARC, blocks) against Debian's GNUstep headers, with ./shim (declarations of
# the macOS API GNUstep lacks, with the SDK's signatures) searched first. Nothing is linked or run.
# The project's own headers are on the include path, as in the CMake build.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/../.." && pwd)
toolchain=${OBJC_CHECK_TOOLCHAIN:-$repo/build/objc-check/toolchain}
[ -f "$toolchain/objc/objc.h" ] || "$here/setup-toolchain.sh" "$toolchain" || exit 2
exec clang++ -x objective-c++ -std=c++20 -fsyntax-only \
  -fobjc-runtime=gnustep-2.0 -fblocks -fobjc-arc -fobjc-exceptions -fexceptions \
  -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_GUI_LIBRARY=1 -DGNU_RUNTIME=1 -D_NATIVE_OBJC_EXCEPTIONS \
  -isystem "$here/shim" -isystem "$toolchain" -isystem /usr/include/GNUstep \
  -I "$repo/CorvaneMenubar" -I "$repo/MenubarCore" \
  -Wall -Wextra -ferror-limit=0 "$@"
