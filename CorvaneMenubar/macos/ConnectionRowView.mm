#import "ConnectionRowView.h"

#import "AppKitText.h"

using namespace corvane::mac;

@implementation ConnectionRowView

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    const auto& row = std::get<corvane::hosted::ConnectionRow>(self.hostedRow);
    double right = NSWidth(self.bounds) - rowTrailingInset;
    NSFont* font = fontFor(corvane::FontRole::menu13);
    NSString* state = toNS(row.state);
    const double stateWidth = [state sizeWithAttributes:@{NSFontAttributeName : font}].width;
    drawMark(markColour(row.mark));
    drawLine(state, firstLineRect(right - stateWidth, right), font, NSColor.secondaryLabelColor, NSTextAlignmentRight);
    right -= stateWidth + 8;
    drawLine(toNS(row.name), firstLineRect(rowMarkedTextX, right), font, NSColor.labelColor, NSTextAlignmentLeft);
}

@end
