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

bool isRightToLeft(NSView* view) {
    return view.userInterfaceLayoutDirection == NSUserInterfaceLayoutDirectionRightToLeft;
}

RowLayout placedFor(NSView* view, RowLayout layout) {
    return isRightToLeft(view) ? mirrored(std::move(layout), NSWidth(view.bounds)) : layout;
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
    for (const auto& text : layout.texts) {
        NSFont* font = fontFor(text.font);
        if (text.bold) font = [NSFont systemFontOfSize:font.pointSize weight:NSFontWeightBold];
        // Left and right are absolute here: a mirrored layout has already swapped them.
        drawLine(toNS(text.text), nsRect(text.frame), font, colourFor(text.colour),
                 text.align == TextAlign::trailing ? NSTextAlignmentRight : NSTextAlignmentLeft);
    }
}

const TextMeasure& rowTextMeasure() {
    static const FontTextMeasure measure;
    return measure;
}

}  // namespace corvane::mac
