#import "StatusRowView.h"

#import "AppKitText.h"

using namespace corvane::mac;

@implementation StatusRowView

- (void)drawRect:(NSRect)dirtyRect {
    (void)dirtyRect;
    const auto& row = std::get<corvane::hosted::StatusRow>(self.hostedRow);
    const double right = NSWidth(self.bounds) - rowTrailingInset;
    drawMark(row.checking ? NSColor.tertiaryLabelColor : markColour(row.mark));
    drawLine(toNS(row.title), firstLineRect(rowMarkedTextX, right), fontFor(corvane::FontRole::menu13),
             row.checking ? NSColor.secondaryLabelColor : NSColor.labelColor, NSTextAlignmentLeft);
    const auto lines = subtitleLines(row.subtitle);
    for (std::size_t i = 0; i < lines.size(); ++i)
        drawLine(toNS(lines[i]), subtitleLineRect(i, rowMarkedTextX, right), fontFor(corvane::FontRole::system11),
                 NSColor.secondaryLabelColor, NSTextAlignmentLeft);
}

@end
