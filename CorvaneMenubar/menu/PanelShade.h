#pragma once

// Whether the panel that shows the tray icon is dark, decided from what the desktop lets an app
// read about it. A host never recolours a pixmap icon, so the icon's ink must be chosen for the
// panel itself, not for the app's own palette or colour-scheme preference: GNOME's top bar is dark
// in its light theme too, and LXQt's and waybar's default bars are dark whatever the apps use.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Colour.h"

namespace corvane {

// What could be read about the panel. Each field is absent when the desktop does not publish it
// or reading it failed.
struct PanelFacts {
    // XDG_CURRENT_DESKTOP as given ("XFCE", "KDE", "ubuntu:GNOME", "LXQt", "sway"...).
    std::string desktop;
    // xfce4-panel's dark-mode property (xfconf).
    std::optional<bool> xfceDarkMode;
    // A colour the panel is drawn in: xfce4-panel's own background colour when its style is
    // "solid colour", KDE's colour scheme for the panel (Window background).
    std::optional<Rgb> background;
    // KDE's Plasma style is a dark one (breeze-dark), whatever the colour scheme says.
    std::optional<bool> plasmaStyleDark;
    // The process that hosts the tray (owns the StatusNotifierWatcher name): "waybar", ...
    std::string host;
    bool operator==(const PanelFacts&) const = default;
};

enum class PanelShadeSource { background, plasmaStyle, xfceDarkMode, desktopDefault, fallback };

struct PanelShade {
    bool dark = true;
    PanelShadeSource source = PanelShadeSource::fallback;
    bool operator==(const PanelShade&) const = default;
};

// Dark or light: a known background colour decides (the ink that contrasts more wins), then the
// desktop's own switch (Plasma style, xfce's dark mode), then the desktop's default panel
// (Plasma's Breeze and xfce's without dark mode are light, GNOME's top bar is dark). Anything else
// is taken as dark: most panels are (LXQt's, waybar's, GNOME's), so the default icon is light.
PanelShade panelShade(const PanelFacts& facts);

// Motion is reduced when the desktop says so: the portal's `enable-animations` is false, or KDE's
// animations are off (`readKdeAnimationsOff`).
bool motionReduced(std::optional<bool> portalAnimations, std::optional<bool> kdeAnimationsOff);

// The inks the tray icon is drawn in on dark and light panels (0.95 and 0.1 grey, the greys the
// attention icon uses).
Rgb panelInk(bool darkPanel);

// "#rrggbb", "#rgb" and KDE's "r,g,b" (an alpha after it is ignored); absent for anything else.
std::optional<Rgb> parseColour(std::string_view text);

// The value of `key` in `[group]` of an INI text (KDE's and GTK's settings files), or absent.
std::optional<std::string_view> iniValue(std::string_view text, std::string_view group, std::string_view key);

// Reading the desktops' settings (the shell fetches them, these read them):
// xfce4-panel's xfconf channel as "property → value" (arrays joined by ","): the dark-mode switch
// and, for the panel that holds the tray (a "systray" plugin), its solid background colour.
void readXfcePanel(const std::map<std::string, std::string>& channel, PanelFacts& facts);
// KDE: the colour scheme's Window background in kdeglobals, and plasmarc's Plasma style.
void readKdePanel(std::string_view kdeglobals, std::string_view plasmarc, PanelFacts& facts);
// KDE's animation speed is 0 (kdeglobals' AnimationDurationFactor: System Settings' "Animation
// speed: Instant"); absent when not written or not a number.
std::optional<bool> readKdeAnimationsOff(std::string_view kdeglobals);
// waybar: the background of `window#waybar` in its style sheet (#hex, rgb() or rgba()).
void readWaybarStyle(std::string_view css, PanelFacts& facts);

}  // namespace corvane
