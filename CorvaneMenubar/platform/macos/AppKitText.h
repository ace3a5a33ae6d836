#pragma once

// Text and fonts between the portable code (UTF-8, font roles) and AppKit. Objective-C++ only.

#import <AppKit/AppKit.h>

#include <string>
#include <string_view>

#include "menu/NativeMenu.h"
#include "menu/TextMeasure.h"

namespace corvane::mac {

// Text that is not valid UTF-8 becomes the empty string rather than nil.
inline NSString* toNS(std::string_view text) {
    NSString* string = [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
    return string ? string : @"";
}

inline std::string fromNS(NSString* string) {
    const char* utf8 = string ? string.UTF8String : nullptr;
    return utf8 ? std::string(utf8) : std::string();
}

// menu: the standard menu font at its default size; menu13 and system11 as named.
NSFont* fontFor(FontRole role);

// The runs of `title`, each in its font, secondary runs in the secondary label colour.
NSAttributedString* attributedTitle(const AttributedTitle& title);

// The paused badge before `title`: the symbol in white on the system orange, 13 × 13 points at
// y −2, one space, then the title.
NSAttributedString* badgedTitle(const ItemBadge& badge, NSAttributedString* title);

// Draws one line of `text` into `rect` (flipped view coordinates), cut off with "…" at its tail.
void drawLine(NSString* text, NSRect rect, NSFont* font, NSColor* colour, NSTextAlignment alignment);

}  // namespace corvane::mac
