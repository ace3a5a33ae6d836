#include <gtest/gtest.h>

#include "menu/DesktopTheme.h"
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

// A harness icon on the highlight: drawn as it is where it reads, else on a plate that stands out
// from the highlight and from the icon.
TEST(MenuColours, IconPlateOnlyWhereTheIconWouldNotRead) {
    struct Row {
        Rgb ink, background, window;
        std::optional<Rgb> plate;
    };
    const Rgb light{246, 246, 246}, dark{45, 45, 48}, blue{39, 113, 159}, white{255, 255, 255};
    const std::vector<Row> rows = {
        {{40, 40, 40}, light, light, std::nullopt},  // a dark glyph on the light menu
        {{52, 101, 164}, blue, light, light},         // a blue app icon on a blue highlight: the window
        {{220, 220, 220}, blue, dark, std::nullopt},  // a pale icon reads on the highlight
        {{70, 90, 120}, {60, 80, 110}, dark, white},  // the dark window would not stand out
    };
    for (const auto& r : rows) EXPECT_EQ(iconPlate(r.ink, r.background, r.window), r.plate);
}

// The popup's shade: the portal's preference first, then KDE's window, GTK's preference and the
// GTK theme's name; the toolkit's palette is kept where it already agrees.
TEST(MenuColours, PopupFollowsTheDesktopsShade) {
    struct Row {
        std::optional<std::uint32_t> portal;
        std::string kdeglobals, gtkIni, xsettingsTheme;
        std::optional<bool> dark;
    };
    const std::string breezeDark = "[Colors:Window]\nBackgroundNormal=32,35,38\n";
    const std::vector<Row> rows = {
        {std::nullopt, "", "", "", std::nullopt},            // nothing said: the toolkit's palette stays
        {0u, "", "", "", std::nullopt},
        {1u, "", "[Settings]\ngtk-theme-name=Adwaita\n", "", true},  // the portal wins
        {2u, breezeDark, "", "", false},
        {std::nullopt, breezeDark, "", "Adwaita", true},
        {std::nullopt, "[General]\nColorScheme=BreezeDark\n", "", "Adwaita", true},  // the scheme's name only
        {std::nullopt, "[General]\nColorScheme=BreezeLight\n", "", "Adwaita-dark", false},
        {std::nullopt, "", "[Settings]\ngtk-application-prefer-dark-theme=1\n", "", true},
        {std::nullopt, "", "[Settings]\ngtk-theme-name=Arc-Dark\n", "", true},
        {std::nullopt, "", "[Settings]\ngtk-theme-name=Arc-Dark\n", "Greybird", false},  // Xfce's xsettings
        {std::nullopt, "", "", "Adwaita:dark", true},
    };
    for (const auto& r : rows) {
        DesktopTheme theme{r.portal, std::nullopt, std::nullopt, {}};
        readKdeColours(r.kdeglobals, theme);
        readGtkSettings(r.gtkIni, theme);
        if (!r.xsettingsTheme.empty()) theme.gtkThemeName = r.xsettingsTheme;
        EXPECT_EQ(desktopIsDark(theme), r.dark) << r.kdeglobals << r.gtkIni << r.xsettingsTheme;
    }
    const MenuColours toolkit = menuColours(false);
    EXPECT_EQ(popupColours(toolkit, false), toolkit);
    EXPECT_EQ(popupColours(toolkit, std::nullopt), toolkit);
    EXPECT_EQ(popupColours(toolkit, true), menuColours(true));
}

}  // namespace
}  // namespace corvane
