#pragma once

#import <AppKit/AppKit.h>

#import "ReleasePickedRowView.h"

#include <memory>

#include "menu/NativeMenu.h"

// A static row (status or connection) with a dismiss button at its right. A click on the row
// performs its repair action when it has one; the button (or Option-Return) dismisses it. The
// row follows the pointer and the menu's keyboard highlight.
@interface DismissibleRowView : ReleasePickedRowView
- (instancetype)initWithFrame:(NSRect)frame
                      content:(const corvane::DismissibleRowContent&)content
                         item:(std::weak_ptr<corvane::NativeMenuItem>)item;
- (void)updateFromContent:(const corvane::DismissibleRowContent&)content;
- (void)updateHighlight:(BOOL)highlighted;
@end
