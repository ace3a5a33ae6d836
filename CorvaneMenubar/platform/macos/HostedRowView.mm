#import "HostedRowView.h"

#import "AppKitText.h"
#import "RowLayoutDrawing.h"

#include "menu/MenuBuilder.h"
#include "menu/RowLayout.h"

using corvane::HostedRow;
using corvane::hostedRowLayout;
using corvane::menuMinimumWidth;
using corvane::plainText;

@implementation HostedRowView {
    HostedRow _row;
}

- (instancetype)initWithRow:(const HostedRow&)row {
    const double height = hostedRowLayout(row, menuMinimumWidth, corvane::mac::rowTextMeasure()).height;
    if ((self = [super initWithFrame:NSMakeRect(0, 0, menuMinimumWidth, height)])) {
        self.autoresizingMask = NSViewWidthSizable;
        [self showRow:row];
    }
    return self;
}

- (void)showRow:(const HostedRow&)row {
    _row = row;
    const auto layout = hostedRowLayout(row, NSWidth(self.frame), corvane::mac::rowTextMeasure());
    [self setFrameSize:NSMakeSize(NSWidth(self.frame), layout.height)];
    self.toolTip = corvane::mac::toNS(plainText(row));
    self.needsDisplay = YES;
}

- (BOOL)isFlipped {
    return YES;
}

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    corvane::mac::drawRowLayout(
        corvane::mac::placedFor(self, hostedRowLayout(_row, NSWidth(self.bounds), corvane::mac::rowTextMeasure())));
}

@end
