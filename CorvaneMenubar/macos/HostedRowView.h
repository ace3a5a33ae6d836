#pragma once

#import <AppKit/AppKit.h>

#include <string>
#include <vector>

#include "NativeMenu.h"

// A static row of the menu (header, section label, status, connection): a plain AppKit view,
// flipped, as wide as the menu and as high as the portable row height says, not clickable. The
// subclass for each kind draws it.
@interface HostedRowView : NSView
// A new view of the subclass for the row's kind.
+ (HostedRowView*)viewForRow:(const corvane::HostedRow&)row;
- (instancetype)initWithRow:(const corvane::HostedRow&)row;
// Shows `row` when it is of this view's kind (and redraws); NO otherwise.
- (BOOL)showRow:(const corvane::HostedRow&)row;
- (const corvane::HostedRow&)hostedRow;
@end

namespace corvane::mac {

// Row drawing shared by the static and dismissible rows, in flipped view coordinates.
inline constexpr double rowTextX = 14;        // text starts here without a mark
inline constexpr double rowMarkedTextX = 28;  // and here after a status mark
inline constexpr double rowTrailingInset = 14;

// The subtitle split at its line feeds (none for an absent or empty subtitle).
std::vector<std::string> subtitleLines(const std::optional<std::string>& subtitle);
// The first line's box and the box of subtitle line `index`, from `x` to `right`.
NSRect firstLineRect(double x, double right);
NSRect subtitleLineRect(std::size_t index, double x, double right);
// A status mark: a dot of 8 points centred on the first line, left of the text.
void drawMark(NSColor* colour);
NSColor* markColour(StatusMark mark);
NSColor* markColour(ConnectionMark mark);

}  // namespace corvane::mac
