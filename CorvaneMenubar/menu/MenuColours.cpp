#include "MenuColours.h"

#include <algorithm>
#include <cmath>

namespace corvane {
namespace {

Rgb mix(const Rgb& a, const Rgb& b, double t) {
    auto one = [t](int x, int y) { return static_cast<int>(std::lround(x + (y - x) * t)); };
    return {one(a.red, b.red), one(a.green, b.green), one(a.blue, b.blue)};
}

}  // namespace

Rgb withContrast(const Rgb& colour, const Rgb& against, double ratio) {
    if (contrastRatio(colour, against) >= ratio) return colour;
    // Away from `against`: darker under light text, lighter under dark text.
    const Rgb target = relativeLuminance(against) > 0.18 ? Rgb{0, 0, 0} : Rgb{255, 255, 255};
    for (int step = 1; step <= 100; ++step) {
        const Rgb moved = mix(colour, target, step / 100.0);
        if (contrastRatio(moved, against) >= ratio) return moved;
    }
    return target;
}

std::optional<Rgb> iconPlate(const Rgb& ink, const Rgb& background, const Rgb& window) {
    if (contrastRatio(ink, background) >= glyphContrast) return std::nullopt;
    Rgb best = window;
    double bestLeast = 0;
    for (const Rgb& plate : {window, Rgb{255, 255, 255}, Rgb{0, 0, 0}}) {
        const double least = std::min(contrastRatio(plate, background), contrastRatio(plate, ink));
        if (least >= glyphContrast) return plate;
        if (least > bestLeast) best = plate, bestLeast = least;
    }
    return best;
}

MenuColours menuColours(bool dark) {
    if (dark) return readable({{45, 45, 48}, {235, 235, 235}, {160, 160, 165}, {53, 132, 228}, {255, 255, 255}});
    return readable({{246, 246, 246}, {24, 24, 24}, {96, 96, 100}, {48, 140, 198}, {255, 255, 255}});
}

MenuColours readable(MenuColours colours) {
    colours.highlight = withContrast(colours.highlight, colours.highlightedText, textContrast);
    colours.secondaryText = withContrast(colours.secondaryText, colours.window, textContrast);
    return colours;
}

}  // namespace corvane
