#pragma once

// Whether the desktop draws its windows and menus dark, which the app's own popup follows. This
// is not the panel's shade (PanelShade.h): a light desktop often has a dark panel (GNOME's top
// bar, LXQt's default) and the tray icon follows the panel alone.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Colour.h"
#include "MenuColours.h"

namespace corvane {

// What the desktop published about its colours; each field absent where it said nothing.
struct DesktopTheme {
    // The settings portal's org.freedesktop.appearance color-scheme: 1 prefers dark, 2 prefers
    // light, 0 has no preference.
    std::optional<std::uint32_t> colorScheme;
    // KDE's colour scheme: the Window background in kdeglobals.
    std::optional<Rgb> kdeWindow;
    // GTK's settings.ini gtk-application-prefer-dark-theme.
    std::optional<bool> gtkPreferDark;
    // The GTK theme: Xfce's xsettings Net/ThemeName, else settings.ini gtk-theme-name.
    std::string gtkThemeName;
    bool operator==(const DesktopTheme&) const = default;
};

// Dark, light, or absent when the desktop said nothing: the portal's preference decides, then
// KDE's window colour, then GTK's dark preference, then a GTK theme named dark ("Adwaita-dark",
// "Arc-Dark", "Adwaita:dark"). A GTK theme that is not named dark says light.
std::optional<bool> desktopIsDark(const DesktopTheme& theme);

// GTK's settings.ini (its [Settings] group) and KDE's kdeglobals.
void readGtkSettings(std::string_view settingsIni, DesktopTheme& theme);
void readKdeColours(std::string_view kdeglobals, DesktopTheme& theme);

// The popup's colours: the toolkit's own (`toolkit`, from the desktop's platform theme, accent
// included) where they are as dark as the desktop, else the menu's own colours for the desktop's
// shade; readable either way.
MenuColours popupColours(const MenuColours& toolkit, std::optional<bool> desktopDark);

}  // namespace corvane
