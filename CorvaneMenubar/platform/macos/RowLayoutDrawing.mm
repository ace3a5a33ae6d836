#import "RowLayoutDrawing.h"

#import "AppKitText.h"
#import "FontTextMeasure.h"

namespace corvane::mac {

NSRect nsRect(const Rect& rect) { return NSMakeRect(rect.x, rect.y, rect.width, rect.height); }

NSColor* colourFor(ColourRole role) {
    switch (role) {
        case ColourRole::label: return NSColor.labelColor;
        case ColourRole::secondaryLabel: return NSColor.secondaryLabelColor;
        case ColourRole::selectedMenuItemText: return NSColor.selectedMenuItemTextColor;
        case ColourRole::selectedContentBackground: return NSColor.selectedContentBackgroundColor;
        case ColourRole::systemGreen: return NSColor.systemGreenColor;
        case ColourRole::systemRed: return NSColor.systemRedColor;
        case ColourRole::systemOrange: return NSColor.systemOrangeColor;
        case ColourRole::systemYellow: return NSColor.systemYellowColor;
        case ColourRole::systemGray: return NSColor.systemGrayColor;
    }
    return NSColor.labelColor;
}

void drawRowLayout(const RowLayout& layout) {
    if (layout.highlight) {
        [colourFor(ColourRole::selectedContentBackground) setFill];
        [[NSBezierPath bezierPathWithRoundedRect:nsRect(*layout.highlight)
                                         xRadius:RowLayout::highlightRadius
                                         yRadius:RowLayout::highlightRadius] fill];
    }
    if (layout.mark) {
        [colourFor(layout.mark->colour) setFill];
        [[NSBezierPath bezierPathWithOvalInRect:nsRect(layout.mark->frame)] fill];
    }
    for (const auto& text : layout.texts)
        drawLine(toNS(text.text), nsRect(text.frame), fontFor(text.font), colourFor(text.colour),
                 text.align == TextAlign::trailing ? NSTextAlignmentRight : NSTextAlignmentLeft);
}

const TextMeasure& rowTextMeasure() {
    static const FontTextMeasure measure;
    return measure;
}

}  // namespace corvane::mac
