#pragma once

#import <AppKit/AppKit.h>

// An image view that never takes the mouse (its hit test answers nil), so a click on the icon
// falls through to the row's harness button beneath it.
@interface PassiveImageView : NSImageView
@end
