#pragma once

#import <AppKit/AppKit.h>

#include <memory>

#include "menu/NativeMenu.h"

// A clickable status row: a native item made from a status text, its detail lines and an action
// title, carrying the row's identity and line count. Its view draws the lines, the action's title
// as a trailing hint and, when the row offers one, a dismiss button, all where the portable
// status-action layout puts them; Return (or a click) runs the action, the button or
// Option-Return dismisses.
@interface StatusActionMenuItem : NSMenuItem
@property(nonatomic, copy) NSString* identity;
@property(nonatomic) NSInteger lineCount;
// Shows the item's current state (title, role, highlight) in its view, made on first use.
- (void)presentItem:(std::weak_ptr<corvane::NativeMenuItem>)item;
@end
