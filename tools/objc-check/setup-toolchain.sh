#!/bin/sh
# Usage: setup-toolchain.sh DIR [VERSION]
# Builds DIR (a build folder, never the source tree): the Objective-C runtime headers clang needs
# to parse Debian's GNUstep headers, with the few edits that give them macOS shapes. VERSION is
# written to DIR/VERSION last, so check.sh rebuilds a folder made by an older script.
#  - GCC's libobjc headers (clang does not search GCC's private include folder);
#  - objc/runtime.h: its inline object_getClass() dereferences `id`, which ARC rejects;
#  - objc/objc.h: nil/Nil become nullptr in C++, as on macOS (else `action:nil` cannot become a SEL);
#  - objc/blocks_runtime.h: the libobjc2 header GNUstep includes when blocks are on, mapped to <Block.h>;
#  - AppKit/NSMenu.h, NSMenuItem.h: NSMenuItem * instead of id<NSMenuItem>, and the NSMenuDelegate
#    methods @optional (GNUstep makes them all required);
#  - AppKit/NSStatusItem.h, NSApplication.h, NSRunningApplication.h: the SDK's deprecations of the
#    methods GNUstep also declares (NSStatusItem's own image, title, tool tip, view, target and
#    action since 10.14; activateIgnoringOtherApps and NSApplicationActivateIgnoringOtherApps), which
#    a shim category cannot add (clang keeps the class's own declaration).
# Every edit is checked, so a changed Debian header fails loudly instead of silently.
set -eu
out=${1:?usage: setup-toolchain.sh DIR [VERSION]}
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
if grep -q 'id *<NSMenuItem>' "$out/AppKit/NSMenu.h"; then exit 1; fi
grep -A1 '^@protocol NSMenuDelegate' "$out/AppKit/NSMenu.h" | grep -q '@optional'
sed -e 's/id *<NSMenuItem> *)/NSMenuItem *)/g' -e 's/^@class NSMenu;$/&\n@class NSMenuItem;/' \
    /usr/include/GNUstep/AppKit/NSMenuItem.h > "$out/AppKit/NSMenuItem.h"
if grep -q 'id *<NSMenuItem>' "$out/AppKit/NSMenuItem.h"; then exit 1; fi
# Deprecations: the patched copies read the SDK's macros from the shim (<os/availability.h>).
status_deprecated='API_DEPRECATED("Use the receiver'"'"'s button instead", macos(10.0, 10.14))'
{ printf '#include <os/availability.h>\n'
  sed -E "s/^(- \((NSImage|NSString|NSView|NSAttributedString|SEL|id|BOOL|void)\*? ?\) ?(image|setImage: \(NSImage\*\)image|title|setTitle: \(NSString\*\)title|toolTip|setToolTip: \(NSString\*\)toolTip|view|setView: \(NSView\*\)view|target|setTarget: \(id\)target|action|setAction: \(SEL\)action|attributedTitle|setAttributedTitle: \(NSAttributedString\*\)title|highlightMode|setHighlightMode: \(BOOL\)highlightMode));$/\1 $status_deprecated;/" \
    /usr/include/GNUstep/AppKit/NSStatusItem.h; } > "$out/AppKit/NSStatusItem.h"
[ "$(grep -c 'API_DEPRECATED' "$out/AppKit/NSStatusItem.h")" = 16 ]
{ printf '#include <os/availability.h>\n'
  sed 's/^- (void) activateIgnoringOtherApps: (BOOL)flag;$/- (void) activateIgnoringOtherApps: (BOOL)flag API_DEPRECATED("This method will be deprecated in a future release. Use NSApp.activate instead.", macos(10.0, API_TO_BE_DEPRECATED));/' \
    /usr/include/GNUstep/AppKit/NSApplication.h; } > "$out/AppKit/NSApplication.h"
grep -q 'activateIgnoringOtherApps: (BOOL)flag API_DEPRECATED' "$out/AppKit/NSApplication.h"
{ printf '#include <os/availability.h>\n'
  sed 's/^\( *NSApplicationActivateIgnoringOtherApps\) = 1 << 1/\1 API_DEPRECATED("ignoringOtherApps is deprecated in macOS 14 and will have no effect.", macos(10.6, 14.0)) = 1 << 1/' \
    /usr/include/GNUstep/AppKit/NSRunningApplication.h; } > "$out/AppKit/NSRunningApplication.h"
grep -q 'NSApplicationActivateIgnoringOtherApps API_DEPRECATED' "$out/AppKit/NSRunningApplication.h"
echo "${2:-0}" > "$out/VERSION"
