#pragma once

// A small vector picture: what the status icon is made of. Portable code describes the picture as a
// list of operations; each shell rasterises it at its own backing scale (Qt: QPainter, with
// CompositionMode_DestinationOut for punch-outs; AppKit: NSBezierPath with
// NSCompositingOperationDestinationOut). Coordinates are points in a flipped space: the origin is
// the top-left corner and y grows downwards.

#include <string>
#include <variant>
#include <vector>

namespace corvane {

struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    double midX() const { return x + width / 2; }
    double midY() const { return y + height / 2; }
    Rect insetBy(double d) const { return {x + d, y + d, width - 2 * d, height - 2 * d}; }
    bool operator==(const Rect&) const = default;
};

// Either an explicit sRGB colour or the platform's own orange (it differs slightly between light
// and dark appearances, so the shell resolves it).
struct Colour {
    enum class Kind { rgba, systemOrange };
    Kind kind = Kind::rgba;
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    static constexpr Colour grey(double white, double alpha = 1.0) {
        return {Kind::rgba, white, white, white, alpha};
    }
    static constexpr Colour black() { return grey(0.0); }
    static constexpr Colour systemOrange() { return {Kind::systemOrange, 1.0, 149.0 / 255.0, 0.0, 1.0}; }
    bool operator==(const Colour&) const = default;
};

namespace shape {
// Closed polygons filled with the non-zero winding rule; an empty polygon adds nothing.
struct Polygons {
    std::vector<std::vector<Point>> polygons;
    bool operator==(const Polygons&) const = default;
};
struct Oval {
    Rect bounds;
    bool operator==(const Oval&) const = default;
};
struct RoundedRect {
    Rect rect;
    double radius = 0;
    bool operator==(const RoundedRect&) const = default;
};
}  // namespace shape

using Shape = std::variant<shape::Polygons, shape::Oval, shape::RoundedRect>;

namespace op {
struct Fill {
    Shape shape;
    Colour colour;
    bool operator==(const Fill&) const = default;
};
// Outline only; round line joins when `roundJoins`.
struct Stroke {
    Shape shape;
    Colour colour;
    double lineWidth = 1;
    bool roundJoins = true;
    bool operator==(const Stroke&) const = default;
};
// Erases what lies under the shape (destination-out with opaque black), then drawing goes on
// with the normal source-over operation.
struct PunchOut {
    Shape shape;
    bool operator==(const PunchOut&) const = default;
};
// Erases the glyphs of `text` set in the system font of `fontSize` (bold when `bold`), the text's
// measured box centred on `centre`.
struct PunchOutText {
    std::string text;
    double fontSize = 6;
    bool bold = true;
    Point centre;
    bool operator==(const PunchOutText&) const = default;
};
}  // namespace op

using VectorOp = std::variant<op::Fill, op::Stroke, op::PunchOut, op::PunchOutText>;

struct VectorImage {
    double width = 18;
    double height = 18;
    // A template image is a mask: the shell tints it (macOS: the menu bar; Qt: the panel's text
    // colour). Only its alpha counts.
    bool isTemplate = true;
    std::vector<VectorOp> ops;
    bool operator==(const VectorImage&) const = default;
};

}  // namespace corvane
