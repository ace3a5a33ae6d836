#import "HeaderRowView.h"

#import "AppKitText.h"

using namespace corvane::mac;

@implementation HeaderRowView

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    const auto& row = std::get<corvane::hosted::Header>(self.hostedRow);
    const double width = NSWidth(self.bounds);
    double right = width - rowTrailingInset;
    if (row.trailing) {
        NSFont* font = fontFor(corvane::FontRole::system11);
        NSString* trailing = toNS(*row.trailing);
        const double trailingWidth = [trailing sizeWithAttributes:@{NSFontAttributeName : font}].width;
        drawLine(trailing, firstLineRect(right - trailingWidth, right), font, NSColor.secondaryLabelColor,
                 NSTextAlignmentRight);
        right -= trailingWidth + 8;
    }
    drawLine(toNS(row.title), firstLineRect(rowTextX, right), [NSFont boldSystemFontOfSize:13], NSColor.labelColor,
             NSTextAlignmentLeft);
    const auto lines = subtitleLines(row.subtitle);
    for (std::size_t i = 0; i < lines.size(); ++i)
        drawLine(toNS(lines[i]), subtitleLineRect(i, rowTextX, width - rowTrailingInset),
                 fontFor(corvane::FontRole::system11), NSColor.secondaryLabelColor, NSTextAlignmentLeft);
}

@end
