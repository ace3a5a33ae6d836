#pragma once

#import <AppKit/AppKit.h>

#include "menu/RowLayout.h"

namespace corvane::mac {

NSRect nsRect(const Rect& rect);
NSColor* colourFor(ColourRole role);

// True when `view` lays its content out right to left (an Arabic or Hebrew localisation).
bool isRightToLeft(NSView* view);
// `layout` as `view` shows it: mirrored across its width when it lays out right to left.
RowLayout placedFor(NSView* view, RowLayout layout);

// Draws a row's highlight, mark and texts (a bold slot in the bold system font of its size) where the portable layout puts them (flipped view
// coordinates). Buttons and spinners are subviews: their frames come from the same layout.
void drawRowLayout(const RowLayout& layout);

// The measurer the row views lay out with (the system's fonts).
const TextMeasure& rowTextMeasure();

}  // namespace corvane::mac
