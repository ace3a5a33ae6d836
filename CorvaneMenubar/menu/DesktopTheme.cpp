#include "DesktopTheme.h"

#include <algorithm>
#include <cctype>

#include "PanelShade.h"

namespace corvane {
namespace {

bool mentionsDark(std::string_view name) {
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return lower.find("dark") != std::string::npos;
}

bool isDark(const Rgb& window) { return relativeLuminance(window) < 0.18; }

}  // namespace

std::optional<bool> desktopIsDark(const DesktopTheme& theme) {
    if (theme.colorScheme == 1u) return true;
    if (theme.colorScheme == 2u) return false;
    if (theme.kdeWindow) return isDark(*theme.kdeWindow);
    if (theme.gtkPreferDark == true) return true;
    if (!theme.gtkThemeName.empty()) return mentionsDark(theme.gtkThemeName);
    return std::nullopt;
}

void readGtkSettings(std::string_view settingsIni, DesktopTheme& theme) {
    if (const auto name = iniValue(settingsIni, "Settings", "gtk-theme-name")) theme.gtkThemeName = std::string(name->substr(0, 200));
    if (const auto prefer = iniValue(settingsIni, "Settings", "gtk-application-prefer-dark-theme"))
        theme.gtkPreferDark = *prefer == "1" || *prefer == "true";
}

void readKdeColours(std::string_view kdeglobals, DesktopTheme& theme) {
    if (const auto colour = iniValue(kdeglobals, "Colors:Window", "BackgroundNormal")) {
        theme.kdeWindow = parseColour(*colour);
        return;
    }
    // A scheme chosen by name only (its colours not copied in): Breeze Dark's or Breeze's window.
    if (const auto scheme = iniValue(kdeglobals, "General", "ColorScheme"))
        theme.kdeWindow = mentionsDark(*scheme) ? Rgb{32, 35, 38} : Rgb{239, 240, 241};
}

MenuColours popupColours(const MenuColours& toolkit, std::optional<bool> desktopDark) {
    if (!desktopDark || isDark(toolkit.window) == *desktopDark) return readable(toolkit);
    return menuColours(*desktopDark);
}

}  // namespace corvane
