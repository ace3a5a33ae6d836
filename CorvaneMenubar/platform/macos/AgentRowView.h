#pragma once

#import <AppKit/AppKit.h>

#import "ReleasePickedRowView.h"

#include <memory>

#include "menu/AgentRowLogic.h"
#include "menu/NativeMenu.h"

// One agent session: the harness icon, the session's title and status, and two targets, the
// session's harness app (the row's left part) and Corvane (the lightning button at the right).
// The pointer highlights the target under it (tracking area), the menu's keyboard highlight the
// default target; a working session's icon pulses unless Reduce Motion is on. Choosing closes the
// menu and fires the row's item with the chosen part.
@interface AgentRowView : ReleasePickedRowView
- (instancetype)initWithFrame:(NSRect)frame
                      content:(const corvane::AgentRowContent&)content
                         item:(std::weak_ptr<corvane::NativeMenuItem>)item;
// Not made from archives: stops the program.
- (instancetype)initWithCoder:(NSCoder*)coder;
// Shows another row in place: descriptions refreshed, the pulse restarted only when the working
// state or the reduce-motion setting changed.
- (void)showRow:(const corvane::AgentRow&)row reduceMotion:(BOOL)reduceMotion;
// The menu's keyboard highlight entered or left the row.
- (void)updateHighlight:(BOOL)highlighted;
@end
