#pragma once

#import <AppKit/AppKit.h>

#include "MenuModel.h"

// The CLI update row while the update cannot start: a title, a subtitle and a small spinner that
// turns only while the update installs, the view is in a window and Reduce Motion is off.
// Flipped; starts at 320 × 36 points and grows with the menu's width.
@interface CliUpdateView : NSView
- (instancetype)initWithModel:(const corvane::CliUpdate&)model;
- (void)updateModel:(const corvane::CliUpdate&)model;
- (void)updateAnimation;
@end
