#import "VectorImageDrawing.h"

#import "AppKitText.h"

#include <type_traits>
#include <variant>

namespace corvane::mac {
namespace {

NSRect nsRect(const Rect& rect) { return NSMakeRect(rect.x, rect.y, rect.width, rect.height); }

NSColor* nsColour(const Colour& colour) {
    if (colour.kind == Colour::Kind::systemOrange) return NSColor.systemOrangeColor;
    return [NSColor colorWithSRGBRed:colour.red green:colour.green blue:colour.blue alpha:colour.alpha];
}

NSBezierPath* path(const Shape& shape) {
    return std::visit(
        [](const auto& s) -> NSBezierPath* {
            using S = std::decay_t<decltype(s)>;
            if constexpr (std::is_same_v<S, shape::Polygons>) {
                NSBezierPath* result = [NSBezierPath bezierPath];
                for (const auto& polygon : s.polygons) {
                    if (polygon.empty()) continue;
                    [result moveToPoint:NSMakePoint(polygon.front().x, polygon.front().y)];
                    for (std::size_t i = 1; i < polygon.size(); ++i)
                        [result lineToPoint:NSMakePoint(polygon[i].x, polygon[i].y)];
                    [result closePath];
                }
                return result;
            } else if constexpr (std::is_same_v<S, shape::Oval>) {
                return [NSBezierPath bezierPathWithOvalInRect:nsRect(s.bounds)];
            } else {
                return [NSBezierPath bezierPathWithRoundedRect:nsRect(s.rect) xRadius:s.radius yRadius:s.radius];
            }
        },
        shape);
}

// Erases under the drawing that `draw` makes, then goes back to normal drawing.
template <class Draw>
void erasing(Draw draw) {
    NSGraphicsContext* context = NSGraphicsContext.currentContext;
    context.compositingOperation = NSCompositingOperationDestinationOut;
    draw();
    context.compositingOperation = NSCompositingOperationSourceOver;
}

}  // namespace

void drawVectorImage(const VectorImage& image) {
    for (const auto& operation : image.ops) {
        std::visit(
            [](const auto& op) {
                using O = std::decay_t<decltype(op)>;
                if constexpr (std::is_same_v<O, op::Fill>) {
                    [nsColour(op.colour) setFill];
                    [path(op.shape) fill];
                } else if constexpr (std::is_same_v<O, op::Stroke>) {
                    NSBezierPath* outline = path(op.shape);
                    outline.lineWidth = op.lineWidth;
                    outline.lineJoinStyle = op.roundJoins ? NSLineJoinStyleRound : NSLineJoinStyleMiter;
                    [nsColour(op.colour) setStroke];
                    [outline stroke];
                } else if constexpr (std::is_same_v<O, op::PunchOut>) {
                    erasing([&] {
                        [NSColor.blackColor setFill];
                        [path(op.shape) fill];
                    });
                } else {
                    NSFont* font = op.bold ? [NSFont boldSystemFontOfSize:op.fontSize] : [NSFont systemFontOfSize:op.fontSize];
                    NSDictionary* attributes =
                        @{NSFontAttributeName : font, NSForegroundColorAttributeName : NSColor.blackColor};
                    NSString* text = toNS(op.text);
                    NSSize size = [text sizeWithAttributes:attributes];
                    erasing([&] {
                        [text drawAtPoint:NSMakePoint(op.centre.x - size.width / 2, op.centre.y - size.height / 2)
                            withAttributes:attributes];
                    });
                }
            },
            operation);
    }
}

NSImage* nsImage(const VectorImage& image, NSString* accessibilityDescription) {
    const VectorImage picture = image;
    NSImage* result = [NSImage imageWithSize:NSMakeSize(picture.width, picture.height)
                                     flipped:YES
                              drawingHandler:^BOOL(NSRect) {
                                  drawVectorImage(picture);
                                  return YES;
                              }];
    [result setTemplate:picture.isTemplate ? YES : NO];
    result.accessibilityDescription = accessibilityDescription;
    return result;
}

}  // namespace corvane::mac
