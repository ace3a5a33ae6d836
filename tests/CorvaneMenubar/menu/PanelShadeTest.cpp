#include <gtest/gtest.h>

#include "menu/PanelShade.h"

namespace corvane {
namespace {

// The panels the tray app was seen on, with what each lets an app read about it.
TEST(PanelShade, EveryPanelGetsAnInkThatReadsAtThreeToOne) {
    struct Row {
        const char* panel;
        PanelFacts facts;
        Rgb drawnBackground;  // what the panel really is, as seen in screenshots
        PanelShade expected;
    };
    using S = PanelShadeSource;
    const Row rows[] = {
        {"xfce dark mode", {"XFCE", true, std::nullopt, std::nullopt, "xfce4-panel"}, {0x35, 0x35, 0x35}, {true, S::xfceDarkMode}},
        {"xfce light", {"XFCE", false, std::nullopt, std::nullopt, "xfce4-panel"}, {0xf6, 0xf5, 0xf4}, {false, S::xfceDarkMode}},
        {"xfce solid light colour in dark mode", {"XFCE", true, Rgb{0xd0, 0xd0, 0xd0}, std::nullopt, ""}, {0xd0, 0xd0, 0xd0},
         {false, S::background}},
        {"waybar default", {"sway", std::nullopt, Rgb{43, 48, 59}, std::nullopt, "waybar"}, {0x20, 0x22, 0x26}, {true, S::background}},
        {"waybar light style", {"sway", std::nullopt, Rgb{0xf0, 0xf0, 0xf0}, std::nullopt, "waybar"}, {0xf0, 0xf0, 0xf0},
         {false, S::background}},
        {"LXQt", {"LXQt", std::nullopt, std::nullopt, std::nullopt, "lxqt-panel"}, {0x20, 0x22, 0x26}, {true, S::fallback}},
        {"GNOME top bar, light theme", {"ubuntu:GNOME", std::nullopt, std::nullopt, std::nullopt, ""}, {0, 0, 0},
         {true, S::desktopDefault}},
        {"Plasma Breeze", {"KDE", std::nullopt, Rgb{239, 240, 241}, std::nullopt, ""}, {239, 240, 241}, {false, S::background}},
        {"Plasma Breeze Dark", {"KDE", std::nullopt, Rgb{49, 54, 59}, std::nullopt, ""}, {49, 54, 59}, {true, S::background}},
        {"Plasma style breeze-dark", {"KDE", std::nullopt, std::nullopt, true, ""}, {49, 54, 59}, {true, S::plasmaStyle}},
        {"Plasma with nothing written", {"KDE", std::nullopt, std::nullopt, std::nullopt, ""}, {239, 240, 241},
         {false, S::desktopDefault}},
        {"unknown, mid grey", {"", std::nullopt, Rgb{0x80, 0x80, 0x80}, std::nullopt, ""}, {0x80, 0x80, 0x80}, {false, S::background}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.panel);
        const auto shade = panelShade(row.facts);
        EXPECT_EQ(shade, row.expected);
        EXPECT_GE(contrastRatio(panelInk(shade.dark), row.drawnBackground), 3.0);
    }
}

TEST(PanelShade, ReadsTheDesktopsSettings) {
    struct Row {
        const char* what;
        std::map<std::string, std::string> xfconf;
        std::string kdeglobals, plasmarc, css;
        PanelFacts expected;
    };
    const std::map<std::string, std::string> twoPanels = {
        {"/panels/dark-mode", "true"},
        {"/panels/panel-1/plugin-ids", "1,2"},
        {"/panels/panel-1/background-style", "1"},
        {"/panels/panel-1/background-rgba", "1,1,1,1"},
        {"/panels/panel-2/plugin-ids", "3,7"},
        {"/panels/panel-2/background-style", "1"},
        {"/panels/panel-2/background-rgba", "0.2,0.4,0.6,1"},
        {"/plugins/plugin-7", "systray"},
        {"/plugins/plugin-7/square-icons", "true"},
    };
    auto withStyle = [&](const char* style) {
        auto channel = twoPanels;
        channel["/panels/panel-2/background-style"] = style;
        return channel;
    };
    PanelFacts xfceDark;
    xfceDark.xfceDarkMode = true;
    PanelFacts tray;
    tray.xfceDarkMode = true;
    tray.background = Rgb{51, 102, 153};
    PanelFacts breeze;
    breeze.background = Rgb{239, 240, 241};
    PanelFacts breezeDarkStyle;
    breezeDarkStyle.plasmaStyleDark = true;
    PanelFacts waybar;
    waybar.background = Rgb{43, 48, 59};
    PanelFacts lightBar;
    lightBar.background = Rgb{0xf0, 0xf0, 0xf0};
    const Row rows[] = {
        {"the tray's panel's solid colour, not the first panel's", twoPanels, "", "", "", tray},
        {"a theme-drawn panel: only dark mode", withStyle("0"), "", "", "", xfceDark},
        {"a colour out of range", [&] { auto c = twoPanels; c["/panels/panel-2/background-rgba"] = "2,0,0,1"; return c; }(), "", "", "",
         xfceDark},
        {"no tray plugin", {{"/panels/dark-mode", "true"}, {"/panels/panel-1/background-style", "1"}}, "", "", "", xfceDark},
        {"Breeze", {}, "[General]\nColorScheme=BreezeLight\n[Colors:Window]\nBackgroundNormal=239,240,241\n", "", "", breeze},
        {"a dark Plasma style wins over the colours", {}, "[Colors:Window]\nBackgroundNormal=239,240,241\n",
         "[Theme]\nname=breeze-dark\n", "", breezeDarkStyle},
        {"another group's key", {}, "[Colors:View]\nBackgroundNormal=0,0,0\n", "", "", {}},
        {"waybar's default style", {}, "", "",
         "window#waybar {\n  background-color: rgba(43, 48, 59, 0.5);\n  color: #ffffff;\n}\nwindow#waybar.hidden { opacity: 0.2; }", waybar},
        {"the last rule wins; states of the bar are not the bar", {}, "", "",
         "window#waybar { background: #000; }\nwindow#waybar { background: #f0f0f0 }\nwindow#waybar.empty { background: #000; }",
         lightBar},
        {"an unreadable colour", {}, "", "", "window#waybar { background: linear-gradient(red, blue); }", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        PanelFacts facts;
        readXfcePanel(row.xfconf, facts);
        readKdePanel(row.kdeglobals, row.plasmarc, facts);
        readWaybarStyle(row.css, facts);
        EXPECT_EQ(facts, row.expected);
    }
}

TEST(PanelShade, KdeAnimationSpeedInstantReducesMotion) {
    const std::pair<const char*, std::optional<bool>> rows[] = {{"[KDE]\nAnimationDurationFactor=0\n", true},
        {"[KDE]\nAnimationDurationFactor=0.5\n", false}, {"[KDE]\nAnimationDurationFactor=fast\n", std::nullopt},
        {"[General]\nAnimationDurationFactor=0\n", std::nullopt}};
    for (const auto& [kdeglobals, off] : rows) EXPECT_EQ(readKdeAnimationsOff(kdeglobals), off) << kdeglobals;
    EXPECT_TRUE(motionReduced(std::nullopt, true));
    EXPECT_FALSE(motionReduced(true, false));
}

}  // namespace
}  // namespace corvane
