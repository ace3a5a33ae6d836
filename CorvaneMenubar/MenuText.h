#pragma once

// Titles shortened to the menu's width, and the two-line title of status rows.

#include <optional>
#include <string>
#include <string_view>

#include "NativeMenu.h"
#include "TextMeasure.h"

namespace corvane {

// Titles wider than this many points are shortened, so that one long session or status title
// cannot stretch the whole menu across the screen.
inline constexpr double fittingWidthLimit = 256.0;

// `text` when it measures at most `fittingWidthLimit` in `font`; otherwise its longest prefix
// (whole characters, see `graphemeClusters`) that still fits with "…" appended, found by
// bisection, plus "…" — just "…" when not even one character fits.
std::string fittingText(std::string_view text, FontRole font, const TextMeasure& measure);

// The title that status rows (and a startable CLI update) show: the title fitted in the 13-point
// menu font; then, when there is a subtitle that is not empty, a line feed and the subtitle's
// lines, each fitted in the 11-point system font, joined by line feeds, in the secondary colour.
AttributedTitle statusTitle(std::string_view title, const std::optional<std::string>& subtitle,
                            const TextMeasure& measure);
// How many lines `statusTitle` shows.
int statusLineCount(const std::optional<std::string>& subtitle);

}  // namespace corvane
