#pragma once

#import <AppKit/AppKit.h>

#include "menu/NativeMenu.h"

// The CLI update row while the update cannot start: a title, a subtitle and a small spinner that
// turns only while the update installs, the view is in a window and Reduce Motion is off (the
// spinner still shows, standing). Flipped; starts at 320 × 36 points and grows with the menu's
// width; the parts sit where the portable row layout puts them.
@interface CliUpdateView : NSView
- (instancetype)initWithContent:(const corvane::CliUpdateViewContent&)content;
- (void)updateContent:(const corvane::CliUpdateViewContent&)content;
- (void)updateAnimation;
@end
