#import "AppKitText.h"

namespace corvane::mac {

NSFont* fontFor(FontRole role) {
    switch (role) {
        case FontRole::menu: return [NSFont menuFontOfSize:0];
        case FontRole::menu13: return [NSFont menuFontOfSize:13];
        case FontRole::system11: return [NSFont systemFontOfSize:11];
    }
    return [NSFont menuFontOfSize:0];
}

NSAttributedString* attributedTitle(const AttributedTitle& title) {
    NSMutableAttributedString* result = [[NSMutableAttributedString alloc] init];
    for (const auto& run : title.runs) {
        NSDictionary* attributes = @{
            NSFontAttributeName : fontFor(run.font),
            NSForegroundColorAttributeName : run.secondary ? NSColor.secondaryLabelColor : NSColor.labelColor,
        };
        [result appendAttributedString:[[NSAttributedString alloc] initWithString:toNS(run.text) attributes:attributes]];
    }
    return result;
}

NSAttributedString* badgedTitle(const ItemBadge& badge, NSAttributedString* title) {
    NSImage* symbol = [NSImage imageWithSystemSymbolName:toNS(badge.symbol)
                                accessibilityDescription:toNS(badge.accessibilityText)];
    NSImageSymbolConfiguration* palette =
        [NSImageSymbolConfiguration configurationWithPaletteColors:@[ NSColor.whiteColor, NSColor.systemOrangeColor ]];
    NSTextAttachment* attachment = [[NSTextAttachment alloc] init];
    attachment.image = symbol ? [symbol imageWithSymbolConfiguration:palette] : nil;
    attachment.bounds = NSMakeRect(0, -2, 13, 13);
    NSMutableAttributedString* result =
        [[NSAttributedString attributedStringWithAttachment:attachment] mutableCopy];
    [result appendAttributedString:[[NSAttributedString alloc] initWithString:@" "]];
    // The symbol and the space in the title's font: without one they take the default font (12 pt
    // Helvetica), whose space and line height do not match the menu's.
    id font = title.length > 0 ? [title attribute:NSFontAttributeName atIndex:0 effectiveRange:nullptr] : nil;
    [result addAttribute:NSFontAttributeName
                   value:font ? font : fontFor(FontRole::menu)
                   range:NSMakeRange(0, result.length)];
    [result appendAttributedString:title];
    return result;
}

void drawLine(NSString* text, NSRect rect, NSFont* font, NSColor* colour, NSTextAlignment alignment) {
    NSMutableParagraphStyle* paragraph = [[NSMutableParagraphStyle alloc] init];
    paragraph.lineBreakMode = NSLineBreakByTruncatingTail;
    paragraph.alignment = alignment;
    [text drawInRect:rect
        withAttributes:@{
            NSFontAttributeName : font,
            NSForegroundColorAttributeName : colour,
            NSParagraphStyleAttributeName : paragraph,
        }];
}

}  // namespace corvane::mac
