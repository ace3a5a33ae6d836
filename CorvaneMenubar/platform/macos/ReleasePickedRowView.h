#pragma once

#import <AppKit/AppKit.h>

// A menu row whose parts are chosen on release. When the user presses on the status item and
// releases on a row (non-sticky menu tracking), a view in a menu item gets mouseUp: without
// mouseDown:, and a button only fires after its own mouseDown:. So every click inside the row
// lands on the row itself (its buttons stay for drawing, tool tips and accessibility), mouseDown:
// does nothing, and a subclass's mouseUp: picks the part under the pointer.
@interface ReleasePickedRowView : NSView
@end
