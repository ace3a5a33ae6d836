#include <gtest/gtest.h>

#include "menu/MenuColours.h"

namespace corvane {
namespace {

TEST(MenuColours, ContrastFollowsTheGuidelinesFormula) {
    struct Row {
        Rgb a, b;
        double ratio;
    };
    const std::vector<Row> rows = {
        {{0, 0, 0}, {255, 255, 255}, 21.0},
        {{118, 118, 118}, {255, 255, 255}, 4.54},  // the lightest grey readable on white
        {{53, 132, 228}, {255, 255, 255}, 3.77},   // a common accent under white text: too light
        {{45, 45, 48}, {45, 45, 48}, 1.0},
    };
    for (const auto& r : rows) {
        EXPECT_NEAR(contrastRatio(r.a, r.b), r.ratio, 0.01);
        EXPECT_NEAR(contrastRatio(r.b, r.a), r.ratio, 0.01);
    }
}

// Every text of the menu reads at 4.5:1 and every glyph at 3:1, on plain and highlighted rows, in
// both themes; an accent too light for white text is darkened just enough.
TEST(MenuColours, BothThemesAndAnyAccentStayReadable) {
    for (const bool dark : {false, true}) {
        SCOPED_TRACE(dark);
        const auto c = menuColours(dark);
        EXPECT_GE(contrastRatio(c.text, c.window), textContrast);
        EXPECT_GE(contrastRatio(c.secondaryText, c.window), textContrast);
        EXPECT_GE(contrastRatio(c.highlightedText, c.highlight), textContrast);
        EXPECT_EQ(relativeLuminance(c.window) < 0.2, dark);
    }
    const Rgb white{255, 255, 255};
    for (const Rgb accent : {Rgb{53, 132, 228}, Rgb{48, 140, 198}, Rgb{255, 200, 0}, Rgb{30, 80, 160}}) {
        const Rgb fixed = withContrast(accent, white, textContrast);
        EXPECT_GE(contrastRatio(fixed, white), textContrast);
        if (contrastRatio(accent, white) >= textContrast) {
            EXPECT_EQ(fixed, accent);
        } else {
            EXPECT_LT(contrastRatio(fixed, white), textContrast + 0.2);  // darkened only as needed
        }
    }
    EXPECT_GE(contrastRatio(withContrast({40, 40, 40}, {30, 30, 30}, glyphContrast), {30, 30, 30}), glyphContrast);
}

}  // namespace
}  // namespace corvane
