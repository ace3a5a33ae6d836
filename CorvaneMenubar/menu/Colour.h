#pragma once

// Colours as the app reasons about them: sRGB values and the contrast ratio of the Web Content
// Accessibility Guidelines, which decides both the tray icon's ink for a panel and the menu's own
// colours.

namespace corvane {

// An sRGB colour, 0–255 per channel.
struct Rgb {
    int red = 0;
    int green = 0;
    int blue = 0;
    bool operator==(const Rgb&) const = default;
};

// The relative luminance (0 to 1) and the contrast ratio of two colours (1:1 to 21:1).
double relativeLuminance(const Rgb& colour);
double contrastRatio(const Rgb& a, const Rgb& b);

}  // namespace corvane
