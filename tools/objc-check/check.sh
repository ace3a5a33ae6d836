#!/bin/sh
# Usage: check.sh [extra clang flags...] FILE.mm...
# A syntax-only check of Objective-C++ AppKit code: clang parses and type-checks it as the Mac
# build would (C++20, ARC, blocks) against Debian's GNUstep headers, with ./shim (declarations of
# the macOS API GNUstep lacks, with the SDK's signatures, and the globals of <MacTypes.h>) searched
# first. Nothing is linked or run. The project's own headers are on the include path, as in the
# CMake build.
#
# The target is macOS at the app's deployment target (CMAKE_OSX_DEPLOYMENT_TARGET in the top-level
# CMakeLists.txt), so clang applies the SDK's availability rules as on a Mac: `@available` is a
# real check, an API newer than the target must be guarded, a deprecated one warns. The headers
# are still Debian's (GNUstep, glibc, libstdc++): the Linux include folders clang would use are
# passed explicitly, with the macros that select their Linux branches.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/../.." && pwd)
toolchain=${OBJC_CHECK_TOOLCHAIN:-$repo/build/objc-check/toolchain}
toolchain_version=2
[ "$(cat "$toolchain/VERSION" 2>/dev/null)" = "$toolchain_version" ] || "$here/setup-toolchain.sh" "$toolchain" "$toolchain_version" || exit 2
target=$(sed -n 's/.*CMAKE_OSX_DEPLOYMENT_TARGET "\([0-9.]*\)".*/\1/p' "$repo/CMakeLists.txt")
[ -n "$target" ] || { echo "objc-check: no CMAKE_OSX_DEPLOYMENT_TARGET in CMakeLists.txt" >&2; exit 2; }
case $(uname -m) in aarch64 | arm64) arch=arm64 ;; *) arch=$(uname -m) ;; esac
# The include folders clang searches for C++ on this Linux host, in order.
system_includes=$(clang++ -x c++ -std=c++20 -E -v - < /dev/null 2>&1 |
  sed -n '/^#include <...> search starts here:/,/^End of search list./p' | sed '1d;$d' |
  while read -r dir; do printf ' -isystem %s' "$dir"; done)
# shellcheck disable=SC2086  # the folder list is a word list
exec clang++ -target "$arch-apple-macos$target" -nostdinc -nostdinc++ -x objective-c++ -std=c++20 -fsyntax-only \
  -fobjc-runtime=gnustep-1.9 -fblocks -fobjc-arc -fobjc-exceptions -fexceptions \
  -U__APPLE__ -U__MACH__ -U__nonnull -U__nullable -U__null_unspecified \
  -D__linux__=1 -D__linux=1 -Dlinux=1 -D__gnu_linux__=1 -D__unix__=1 -D__unix=1 -D__ELF__=1 -D_GNU_SOURCE \
  -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_GUI_LIBRARY=1 -DGNU_RUNTIME=1 -D_NATIVE_OBJC_EXCEPTIONS \
  -isystem "$here/shim" -isystem "$toolchain" -isystem /usr/include/GNUstep $system_includes \
  -I "$repo/CorvaneMenubar" -I "$repo/MenubarCore" -Wall -Wextra -ferror-limit=0 "$@"
