#import "PassiveImageView.h"

@implementation PassiveImageView

- (NSView*)hitTest:(NSPoint)point {
    (void)point;
    return nil;
}

@end
