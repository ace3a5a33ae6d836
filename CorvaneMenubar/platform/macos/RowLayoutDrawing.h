#pragma once

#import <AppKit/AppKit.h>

#include "menu/RowLayout.h"

namespace corvane::mac {

NSRect nsRect(const Rect& rect);
NSColor* colourFor(ColourRole role);

// Draws a row's highlight, mark and texts where the portable layout puts them (flipped view
// coordinates). Buttons and spinners are subviews: their frames come from the same layout.
void drawRowLayout(const RowLayout& layout);

// The measurer the row views lay out with (the system's fonts).
const TextMeasure& rowTextMeasure();

}  // namespace corvane::mac
