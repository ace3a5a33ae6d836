#import "SectionLabelView.h"

#import "AppKitText.h"

using namespace corvane::mac;

@implementation SectionLabelView

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    const auto& row = std::get<corvane::hosted::SectionLabel>(self.hostedRow);
    drawLine(toNS(row.title), NSMakeRect(rowTextX, 3, std::max(NSWidth(self.bounds) - 2 * rowTextX, 0.0), 15),
             [NSFont boldSystemFontOfSize:11], NSColor.secondaryLabelColor, NSTextAlignmentLeft);
}

@end
