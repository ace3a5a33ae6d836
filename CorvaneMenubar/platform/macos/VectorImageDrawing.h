#pragma once

#import <AppKit/AppKit.h>

#include "menu/VectorImage.h"

namespace corvane::mac {

// An image that draws `image` lazily in a flipped context, so it is redrawn sharp at every
// backing scale; marked as a template when the picture is one (the menu bar tints it).
NSImage* nsImage(const VectorImage& image, NSString* accessibilityDescription);

// Draws the operations of `image` into the current graphics context (flipped, in points).
void drawVectorImage(const VectorImage& image);

}  // namespace corvane::mac
