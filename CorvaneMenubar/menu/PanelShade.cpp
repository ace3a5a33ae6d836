#include "PanelShade.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace corvane {
namespace {

bool contains(std::string_view haystack, std::string_view needle) {
    auto lower = [](std::string_view text) {
        std::string out(text);
        for (auto& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return out;
    };
    return lower(haystack).find(lower(needle)) != std::string::npos;
}

// Each ":"-separated name of XDG_CURRENT_DESKTOP, compared without case.
bool desktopIs(std::string_view desktop, std::string_view name) {
    std::size_t start = 0;
    while (start <= desktop.size()) {
        const auto end = std::min(desktop.find(':', start), desktop.size());
        const auto part = desktop.substr(start, end - start);
        if (part.size() == name.size() && contains(part, name)) return true;
        start = end + 1;
    }
    return false;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    while (start <= text.size()) {
        const auto end = std::min(text.find(separator, start), text.size());
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

std::string_view trim(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
    return text;
}

std::optional<double> number(std::string_view text) {
    text = trim(text);
    if (text.empty() || text.size() > 40) return std::nullopt;
    const std::string copy(text);
    char* end = nullptr;
    const double value = std::strtod(copy.c_str(), &end);
    if (end != copy.c_str() + copy.size() || !std::isfinite(value)) return std::nullopt;
    return value;
}

std::optional<std::uint8_t> byte(std::optional<double> value, double scale) {
    if (!value || *value < 0 || *value > scale) return std::nullopt;
    return static_cast<std::uint8_t>(std::lround(*value / scale * 255.0));
}

}  // namespace

std::optional<std::string_view> iniValue(std::string_view text, std::string_view group, std::string_view key) {
    bool inGroup = false;
    for (auto line : split(text, '\n')) {
        line = trim(line);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            inGroup = line.size() == group.size() + 2 && line.substr(1, group.size()) == group && line.back() == ']';
            continue;
        }
        if (!inGroup) continue;
        const auto equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        if (trim(line.substr(0, equals)) == key) return trim(line.substr(equals + 1));
    }
    return std::nullopt;
}

Rgb panelInk(bool darkPanel) { return darkPanel ? Rgb{242, 242, 242} : Rgb{26, 26, 26}; }

PanelShade panelShade(const PanelFacts& facts) {
    if (facts.background) {
        const bool dark = contrastRatio(panelInk(true), *facts.background) >= contrastRatio(panelInk(false), *facts.background);
        return {dark, PanelShadeSource::background};
    }
    if (facts.plasmaStyleDark) return {*facts.plasmaStyleDark, PanelShadeSource::plasmaStyle};
    if (facts.xfceDarkMode) return {*facts.xfceDarkMode, PanelShadeSource::xfceDarkMode};
    // Plasma's Breeze draws a light panel; every GNOME top bar is dark.
    if (desktopIs(facts.desktop, "KDE")) return {false, PanelShadeSource::desktopDefault};
    if (desktopIs(facts.desktop, "GNOME")) return {true, PanelShadeSource::desktopDefault};
    return {true, PanelShadeSource::fallback};
}

std::optional<Rgb> parseColour(std::string_view text) {
    text = trim(text);
    if (!text.empty() && text.front() == '#') {
        text.remove_prefix(1);
        if (text.size() != 6 && text.size() != 3) return std::nullopt;
        if (!std::all_of(text.begin(), text.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); }))
            return std::nullopt;
        const unsigned long value = std::strtoul(std::string(text).c_str(), nullptr, 16);
        if (text.size() == 3)
            return Rgb{static_cast<std::uint8_t>(((value >> 8) & 0xf) * 17), static_cast<std::uint8_t>(((value >> 4) & 0xf) * 17),
                       static_cast<std::uint8_t>((value & 0xf) * 17)};
        return Rgb{static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
    }
    // CSS's rgb(…) and rgba(…) hold what KDE writes bare.
    for (std::string_view function : {"rgba(", "rgb("}) {
        if (text.substr(0, function.size()) == function && text.back() == ')') {
            text = text.substr(function.size(), text.size() - function.size() - 1);
            break;
        }
    }
    const auto parts = split(text, ',');
    if (parts.size() != 3 && parts.size() != 4) return std::nullopt;
    const auto red = byte(number(parts[0]), 255), green = byte(number(parts[1]), 255), blue = byte(number(parts[2]), 255);
    if (!red || !green || !blue) return std::nullopt;
    return Rgb{*red, *green, *blue};
}

void readXfcePanel(const std::map<std::string, std::string>& channel, PanelFacts& facts) {
    const auto at = [&channel](const std::string& key) -> std::optional<std::string_view> {
        const auto found = channel.find(key);
        if (found == channel.end()) return std::nullopt;
        return std::string_view(found->second);
    };
    if (const auto dark = at("/panels/dark-mode")) facts.xfceDarkMode = *dark == "true";
    // The tray plugin's number, then the panel that lists it.
    std::optional<std::string> trayId;
    for (const auto& [key, value] : channel) {
        constexpr std::string_view prefix = "/plugins/plugin-";
        if (key.rfind(prefix, 0) != 0 || (value != "systray" && value != "statusnotifier")) continue;
        const auto id = std::string_view(key).substr(prefix.size());
        if (!id.empty() && id.find('/') == std::string_view::npos) trayId = std::string(id);
        break;
    }
    if (!trayId) return;
    for (const auto& [key, value] : channel) {
        constexpr std::string_view prefix = "/panels/panel-";
        constexpr std::string_view suffix = "/plugin-ids";
        if (key.rfind(prefix, 0) != 0 || key.size() <= prefix.size() + suffix.size() ||
            key.compare(key.size() - suffix.size(), suffix.size(), suffix) != 0)
            continue;
        const auto ids = split(value, ',');
        if (std::none_of(ids.begin(), ids.end(), [&](std::string_view id) { return trim(id) == *trayId; })) continue;
        const std::string panel = key.substr(0, key.size() - suffix.size());
        // Style 1 is "solid colour": the panel is drawn in background-rgba (doubles 0 to 1).
        if (at(panel + "/background-style") != std::optional<std::string_view>("1")) return;
        const auto rgba = at(panel + "/background-rgba");
        if (!rgba) return;
        const auto parts = split(*rgba, ',');
        if (parts.size() < 3) return;
        const auto red = byte(number(parts[0]), 1), green = byte(number(parts[1]), 1), blue = byte(number(parts[2]), 1);
        if (red && green && blue) facts.background = Rgb{*red, *green, *blue};
        return;
    }
}

bool motionReduced(std::optional<bool> portalAnimations, std::optional<bool> kdeAnimationsOff) {
    return portalAnimations == false || kdeAnimationsOff == true;
}

std::optional<bool> readKdeAnimationsOff(std::string_view kdeglobals) {
    const auto factor = iniValue(kdeglobals, "KDE", "AnimationDurationFactor");
    if (!factor) return std::nullopt;
    const std::string text(trim(*factor));
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size()) return std::nullopt;
    return value <= 0.0;
}

void readKdePanel(std::string_view kdeglobals, std::string_view plasmarc, PanelFacts& facts) {
    // Plasma styles named dark or light draw their panel so whatever the colours; the default
    // (Breeze) and most others draw it in the colour scheme's window colours.
    if (const auto style = iniValue(plasmarc, "Theme", "name"); style && (contains(*style, "dark") || contains(*style, "light"))) {
        facts.plasmaStyleDark = contains(*style, "dark");
        return;
    }
    if (const auto colour = iniValue(kdeglobals, "Colors:Window", "BackgroundNormal")) facts.background = parseColour(*colour);
}

void readWaybarStyle(std::string_view css, PanelFacts& facts) {
    // The last rule for the bar's window wins, as in the style sheet.
    std::size_t at = 0;
    while ((at = css.find("window#waybar", at)) != std::string_view::npos) {
        at += 13;
        const auto open = css.find('{', at);
        if (open == std::string_view::npos) return;
        // Only the bar itself ("window#waybar {"), not a state of it ("window#waybar.empty").
        if (!trim(css.substr(at, open - at)).empty()) continue;
        const auto close = css.find('}', open);
        const auto block = css.substr(open + 1, (close == std::string_view::npos ? css.size() : close) - open - 1);
        for (auto declaration : split(block, ';')) {
            const auto colon = declaration.find(':');
            if (colon == std::string_view::npos) continue;
            const auto property = trim(declaration.substr(0, colon));
            if (property != "background" && property != "background-color") continue;
            if (auto colour = parseColour(declaration.substr(colon + 1))) facts.background = colour;
        }
    }
}

}  // namespace corvane
