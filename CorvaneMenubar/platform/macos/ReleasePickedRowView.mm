#import "ReleasePickedRowView.h"

@implementation ReleasePickedRowView

- (NSView*)hitTest:(NSPoint)point {
    return NSPointInRect([self convertPoint:point fromView:self.superview], self.bounds) ? self : nil;
}

- (void)mouseDown:(NSEvent*)event {
    (void)event;  // chosen on release
}

@end
