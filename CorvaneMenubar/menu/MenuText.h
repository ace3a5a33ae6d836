#pragma once

// Titles shortened to the menu's width, and the two-line title of status rows.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "NativeMenu.h"
#include "TextMeasure.h"

namespace corvane {

// The most bytes of one text that a row shows, in its title, tool tip, lines or custom content.
// A text is no shorter on screen than the menu's width allows anyway; the cap keeps a CLI that
// sends megabytes in one title from slowing every build and every frame.
inline constexpr std::size_t displayTextLimit = 4096;

// `text` when it holds at most `displayTextLimit` bytes; otherwise its longest prefix of whole
// characters (as `measure.clusters` segments them) that fits in the limit with "…" appended,
// plus "…". Costs O(limit), whatever the text's length.
std::string displayText(std::string_view text, const TextMeasure& measure);

// Titles wider than this many points are shortened, so that one long session or status title
// cannot stretch the whole menu across the screen.
inline constexpr double fittingWidthLimit = 256.0;

// `text` (first cut to `displayText`) when it measures at most `fittingWidthLimit` in `font`; otherwise its longest prefix
// (whole characters, as `measure.clusters` segments them) that still fits with "…" appended, found by
// bisection, plus "…" — just "…" when not even one character fits.
std::string fittingText(std::string_view text, FontRole font, const TextMeasure& measure);

// The title that status rows (and a startable CLI update) show: the title fitted in the 13-point
// menu font; then, when there is a subtitle that is not empty, a line feed and the subtitle's
// (cut to `displayText`)
// lines, each fitted in the 11-point system font, joined by line feeds, in the secondary colour.
AttributedTitle statusTitle(std::string_view title, const std::optional<std::string>& subtitle,
                            const TextMeasure& measure);
// The tool tip a menu shows for `item`: its tool tip when that says more than the title (a title
// cut to the menu's width, a status row's other lines); otherwise none.
std::optional<std::string> shownToolTip(const NativeMenuItem& item);

// How many lines `statusTitle` shows.
int statusLineCount(const std::optional<std::string>& subtitle);

}  // namespace corvane
