#!/bin/sh
# Usage: setup-toolchain.sh DIR
# Builds DIR (a build folder, never the source tree): the Objective-C runtime headers clang needs
# to parse Debian's GNUstep headers, with the few edits that give them macOS shapes.
#  - GCC's libobjc headers (clang does not search GCC's private include folder);
#  - objc/runtime.h: its inline object_getClass() dereferences `id`, which ARC rejects;
#  - objc/objc.h: nil/Nil become nullptr in C++, as on macOS (else `action:nil` cannot become a SEL);
#  - objc/blocks_runtime.h: the libobjc2 header GNUstep includes when blocks are on, mapped to <Block.h>;
#  - AppKit/NSMenu.h, NSMenuItem.h: NSMenuItem * instead of id<NSMenuItem>, and the NSMenuDelegate
#    methods @optional (GNUstep makes them all required).
# Every edit is checked, so a changed Debian header fails loudly instead of silently.
set -eu
out=${1:?usage: setup-toolchain.sh DIR}
gccobjc=$(dirname "$(gcc -print-file-name=include/objc/objc.h)")
[ -f "$gccobjc/objc.h" ] || { echo "objc-check: GCC's objc headers are missing (gobjc or gcc)" >&2; exit 2; }
[ -f /usr/include/GNUstep/AppKit/AppKit.h ] || { echo "objc-check: libgnustep-gui-dev is missing" >&2; exit 2; }
[ -f /usr/include/Block.h ] || { echo "objc-check: libblocksruntime-dev is missing" >&2; exit 2; }
rm -rf "$out"; mkdir -p "$out/objc" "$out/AppKit"
for h in "$gccobjc"/*.h; do ln -s "$h" "$out/objc/"; done
rm "$out/objc/runtime.h"
sed 's/return object->class_pointer;/return ((struct objc_object *)(__bridge void *)object)->class_pointer;/' \
    "$gccobjc/runtime.h" > "$out/objc/runtime.h"
grep -q '__bridge void' "$out/objc/runtime.h"
rm "$out/objc/objc.h"
sed -e 's|^#define nil (id)0$|#ifdef __cplusplus\n#define nil nullptr\n#else\n#define nil (id)0\n#endif|' \
    -e 's|^#define Nil (Class)0$|#ifdef __cplusplus\n#define Nil nullptr\n#else\n#define Nil (Class)0\n#endif|' \
    "$gccobjc/objc.h" > "$out/objc/objc.h"
[ "$(grep -c 'nullptr' "$out/objc/objc.h")" = 2 ]
printf '#pragma once\n#include <Block.h>\n' > "$out/objc/blocks_runtime.h"
sed -e 's/id *<NSMenuItem> *)/NSMenuItem *)/g' \
    -e 's/^@protocol NSMenuDelegate <NSObject>$/&\n@optional/' \
    /usr/include/GNUstep/AppKit/NSMenu.h > "$out/AppKit/NSMenu.h"
! grep -q 'id *<NSMenuItem>' "$out/AppKit/NSMenu.h"
grep -A1 '^@protocol NSMenuDelegate' "$out/AppKit/NSMenu.h" | grep -q '@optional'
sed -e 's/id *<NSMenuItem> *)/NSMenuItem *)/g' -e 's/^@class NSMenu;$/&\n@class NSMenuItem;/' \
    /usr/include/GNUstep/AppKit/NSMenuItem.h > "$out/AppKit/NSMenuItem.h"
! grep -q 'id *<NSMenuItem>' "$out/AppKit/NSMenuItem.h"
