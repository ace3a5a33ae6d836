#pragma once

#import <AppKit/AppKit.h>

#include "menu/NativeMenu.h"

// A static row of the menu (header, section label, status, connection): a plain AppKit view that
// draws the row where the portable row layout puts each part. Flipped, as wide as the menu, as
// high as the layout; the item holding it is disabled (not clickable).
@interface HostedRowView : NSView
- (instancetype)initWithRow:(const corvane::HostedRow&)row;
// Shows another row in place (and redraws).
- (void)showRow:(const corvane::HostedRow&)row;
@end
