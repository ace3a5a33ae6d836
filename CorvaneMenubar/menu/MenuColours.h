#pragma once

// The colours of the app's own menu where the desktop gives none that fit, and the contrast rule
// they keep: every text at least 4.5:1 against what it is drawn on, every glyph (marks, the
// dismiss button, the lightning bolt) at least 3:1, highlighted rows included.

#include <optional>

#include "Colour.h"

namespace corvane {

inline constexpr double textContrast = 4.5;
inline constexpr double glyphContrast = 3.0;

// `colour` moved towards black (or white, whichever gains contrast faster) in small steps until it
// reaches `ratio` against `against`, keeping its hue as far as possible: a desktop's accent colour
// under white text is darkened only as much as reading needs.
Rgb withContrast(const Rgb& colour, const Rgb& against, double ratio);

struct MenuColours {
    Rgb window;           // the menu's background
    Rgb text;             // titles
    Rgb secondaryText;    // subtitles, section labels, trailing notes, the dismiss button
    Rgb highlight;        // the highlighted row
    Rgb highlightedText;  // every text and glyph on the highlighted row
    bool operator==(const MenuColours&) const = default;
};

// What a picture in the app's colours (a harness app's icon) is drawn on where its ink, the mean
// colour of its opaque pixels, would read below 3:1 against `background` (an app icon on the
// highlight): none when it reads; else the first of the menu's `window` colour, white and black
// that stands at 3:1 from both the background and the ink, or the one that stands out most.
std::optional<Rgb> iconPlate(const Rgb& ink, const Rgb& background, const Rgb& window);

// The menu's colours in a light or a dark desktop theme.
MenuColours menuColours(bool dark);

// `colours` with the highlight adjusted (`withContrast`) so that highlighted text stays readable.
MenuColours readable(MenuColours colours);

}  // namespace corvane
