#include "IconRenderer.h"

#include <array>
#include <charconv>

namespace corvane::IconRenderer {
namespace {

// Design-grid points, in drawing order. The second polygon is the first turned half a turn about
// the grid's centre (100, 100).
constexpr std::array<std::array<Point, 6>, 2> designGrid{{
    {{{120.403, 15.25}, {52.9167, 15.25}, {1.125, 100.0}, {52.9167, 184.75}, {100.0, 100.0}, {51.3472, 100.0}}},
    {{{79.5972, 184.75}, {147.083, 184.75}, {198.875, 100.0}, {147.083, 15.25}, {100.0, 100.0}, {148.653, 100.0}}},
}};

Colour foreground(IconState state, bool dark) {
    if (state != IconState::attention) return Colour::black();
    return Colour::grey(dark ? 0.95 : 0.1);
}

void drawBadge(VectorImage& image, const std::string& letter, Colour fg) {
    const Rect badge{0.0, 10.2, 7.8, 7.8};
    // The badge grown by 0.8 on every side, written out so the numbers are exact: it clears a
    // margin around the badge so the badge reads apart from the bolt.
    const Rect cleared{-0.8, 9.4, 9.4, 9.4};
    image.ops.push_back(op::PunchOut{shape::RoundedRect{cleared, 2.6}});
    image.ops.push_back(op::Fill{shape::RoundedRect{badge, 2.0}, fg});
    image.ops.push_back(op::PunchOutText{letter, 6.0, true, {badge.midX(), badge.midY()}});
}

}  // namespace

const shape::Polygons& boltPolygons() {
    static const shape::Polygons polygons = [] {
        shape::Polygons out;
        for (const auto& polygon : designGrid) {
            std::vector<Point> mapped;
            for (const auto& p : polygon) mapped.push_back({p.x * 0.08 + 1.0, p.y * 0.08 + 1.0});
            out.polygons.push_back(std::move(mapped));
        }
        return out;
    }();
    return polygons;
}

VectorImage image(IconState state, const std::optional<std::string>& badgeLetter, bool darkAppearance) {
    VectorImage image;
    image.isTemplate = state != IconState::attention;
    const Colour fg = foreground(state, darkAppearance);
    if (state == IconState::unknown) {
        image.ops.push_back(op::Stroke{boltPolygons(), fg, 1.4, true});
    } else {
        image.ops.push_back(op::Fill{boltPolygons(), fg});
        if (state == IconState::attention) {
            // A 0.6-point ring of erased bolt separates the dot from the mark.
            image.ops.push_back(op::PunchOut{shape::Oval{{10.4, 0.4, 8.2, 8.2}}});
            image.ops.push_back(op::Fill{shape::Oval{{11.6, 1.6, 5.8, 5.8}}, Colour::systemOrange()});
        } else if (state == IconState::paused) {
            image.ops.push_back(op::PunchOut{shape::RoundedRect{{9.4, 9.4, 9.0, 9.0}, 2.6}});
            image.ops.push_back(op::Fill{shape::RoundedRect{{10.4, 10.4, 7.0, 7.0}, 1.8}, fg});
            // The pause sign shows as two holes in the badge.
            image.ops.push_back(op::PunchOut{shape::RoundedRect{{12.3, 11.9, 1.1, 4.0}, 0.0}});
            image.ops.push_back(op::PunchOut{shape::RoundedRect{{14.4, 11.9, 1.1, 4.0}, 0.0}});
        }
    }
    if (badgeLetter) drawBadge(image, *badgeLetter, fg);
    return image;
}

bool drawnDarkness(IconState state, bool menuBarDark, bool shellTintsTemplates) {
    return menuBarDark && (state == IconState::attention || shellTintsTemplates);
}

}  // namespace corvane::IconRenderer

namespace corvane {
namespace {

std::string number(double value) {
    char buffer[32];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return ec == std::errc() ? std::string(buffer, end) : "0";
}

std::string escaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string colour(const Colour& c) {
    if (c.kind == Colour::Kind::systemOrange) return "#FF9500";
    auto channel = [](double v) {
        const int n = static_cast<int>(v * 255.0 + 0.5);
        static constexpr char digits[] = "0123456789ABCDEF";
        const int clamped = n < 0 ? 0 : (n > 255 ? 255 : n);
        return std::string{digits[clamped / 16], digits[clamped % 16]};
    };
    return "#" + channel(c.red) + channel(c.green) + channel(c.blue);
}

std::string paint(const Colour& c) {
    std::string out = "\"" + colour(c) + "\"";
    if (c.alpha < 1.0) out += " fill-opacity=\"" + number(c.alpha) + "\"";
    return out;
}

// One SVG element for `shape`; `attributes` are its painting attributes.
std::string element(const Shape& shape, const std::string& attributes) {
    if (const auto* polygons = std::get_if<shape::Polygons>(&shape)) {
        std::string d;
        for (const auto& polygon : polygons->polygons) {
            for (std::size_t i = 0; i < polygon.size(); ++i)
                d += (i == 0 ? "M" : " L") + number(polygon[i].x) + " " + number(polygon[i].y);
            if (!polygon.empty()) d += " Z ";
        }
        return "<path d=\"" + d + "\" " + attributes + "/>";
    }
    if (const auto* oval = std::get_if<shape::Oval>(&shape)) {
        const Rect& r = oval->bounds;
        return "<ellipse cx=\"" + number(r.midX()) + "\" cy=\"" + number(r.midY()) + "\" rx=\"" +
               number(r.width / 2) + "\" ry=\"" + number(r.height / 2) + "\" " + attributes + "/>";
    }
    const auto& rounded = std::get<shape::RoundedRect>(shape);
    const Rect& r = rounded.rect;
    return "<rect x=\"" + number(r.x) + "\" y=\"" + number(r.y) + "\" width=\"" + number(r.width) + "\" height=\"" +
           number(r.height) + "\" rx=\"" + number(rounded.radius) + "\" " + attributes + "/>";
}

}  // namespace

std::string toSvg(const VectorImage& image) {
    std::string defs, body;
    int masks = 0;
    auto punch = [&](const std::string& hole) {
        const std::string id = "punch" + std::to_string(masks++);
        defs += "<mask id=\"" + id + "\" maskUnits=\"userSpaceOnUse\" x=\"-2\" y=\"-2\" width=\"" +
                number(image.width + 4) + "\" height=\"" + number(image.height + 4) +
                "\"><rect x=\"-2\" y=\"-2\" width=\"" + number(image.width + 4) + "\" height=\"" +
                number(image.height + 4) + "\" fill=\"white\"/>" + hole + "</mask>";
        body = "<g mask=\"url(#" + id + ")\">" + body + "</g>";
    };
    for (const auto& operation : image.ops) {
        if (const auto* fill = std::get_if<op::Fill>(&operation)) {
            body += element(fill->shape, "fill=" + paint(fill->colour));
        } else if (const auto* stroke = std::get_if<op::Stroke>(&operation)) {
            body += element(stroke->shape, "fill=\"none\" stroke=\"" + colour(stroke->colour) + "\" stroke-width=\"" +
                                               number(stroke->lineWidth) + "\"" +
                                               (stroke->roundJoins ? " stroke-linejoin=\"round\"" : ""));
        } else if (const auto* hole = std::get_if<op::PunchOut>(&operation)) {
            punch(element(hole->shape, "fill=\"black\""));
        } else if (const auto* text = std::get_if<op::PunchOutText>(&operation)) {
            punch("<text x=\"" + number(text->centre.x) + "\" y=\"" + number(text->centre.y) +
                  "\" font-family=\"sans-serif\" font-size=\"" + number(text->fontSize) + "\"" +
                  (text->bold ? " font-weight=\"bold\"" : "") +
                  " text-anchor=\"middle\" dominant-baseline=\"central\" fill=\"black\">" + escaped(text->text) +
                  "</text>");
        }
    }
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + number(image.width) + "\" height=\"" +
           number(image.height) + "\" viewBox=\"0 0 " + number(image.width) + " " + number(image.height) +
           "\" data-template=\"" + (image.isTemplate ? "true" : "false") + "\"><defs>" + defs + "</defs>" + body +
           "</svg>";
}

}  // namespace corvane
