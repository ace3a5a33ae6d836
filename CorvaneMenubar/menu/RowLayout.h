#pragma once

// Where the custom rows draw what: sizes, text boxes, the status mark and the dismiss button, and
// the colour role of each, as plain values. Both desktop shells draw from these, so a header or a
// dismissible status looks the same in the Qt popup and in the AppKit menu. Coordinates are
// points in a flipped space (origin top-left); W is the row's width, which follows the menu's.
//
// Where the menu's own rules give no size, the values are those of a standard macOS menu: a
// 14-point leading inset, 22-point single-line rows, 16 points per extra line of 11-point text,
// an 8-point status dot, a 4-point highlight inset with a 4-point corner radius.

#include <optional>
#include <string>
#include <vector>

#include "MenuModel.h"
#include "NativeMenu.h"
#include "TextMeasure.h"
#include "VectorImage.h"

namespace corvane {

// Colours by role; each shell maps them to its palette (AppKit: the named system colours; Qt:
// the palette roles, the mark colours as fixed sRGB values).
enum class ColourRole {
    label,                      // primary text
    secondaryLabel,             // subtitles, trailing notes, section labels
    selectedMenuItemText,       // any text on a highlighted row
    selectedContentBackground,  // the highlight itself
    systemGreen,                // mark ok
    systemRed,                  // mark problem
    systemOrange,               // mark warn
    systemYellow,               // mark paused
    systemGray,                 // mark muted, and every mark while re-checking
};

enum class TextAlign { leading, trailing };

// One line of text, truncated at its tail to the frame's width.
struct TextSlot {
    std::string text;
    Rect frame;
    FontRole font = FontRole::menu13;
    ColourRole colour = ColourRole::label;
    TextAlign align = TextAlign::leading;
    bool bold = false;  // the header's title
    bool operator==(const TextSlot&) const = default;
};

// A filled circle.
struct MarkSlot {
    Rect frame;
    ColourRole colour = ColourRole::systemGray;
    bool operator==(const MarkSlot&) const = default;
};

struct RowLayout {
    double height = 0;
    // Filled with `selectedContentBackground` (corner radius `highlightRadius`) on a highlighted row.
    std::optional<Rect> highlight;
    std::optional<MarkSlot> mark;
    std::vector<TextSlot> texts;  // in drawing order
    // The dismiss button: the symbol "xmark.circle.fill" (Linux: the icon "window-close"), in
    // the secondary colour, or the selected text colour on a highlighted row.
    std::optional<Rect> dismissButton;
    std::optional<Rect> spinner;  // the CLI update row while installing
    static constexpr double highlightRadius = 4;
    bool operator==(const RowLayout&) const = default;
};

namespace rowmetrics {
inline constexpr double inset = 14;           // leading and trailing text inset
inline constexpr double lineHeight = 22;      // a row of one line
inline constexpr double extraLineHeight = 16;  // each further line of 11-point text
inline constexpr double sectionHeight = 20;
inline constexpr double agentRowHeight = 26;
inline constexpr double cliUpdateRowHeight = 36;
inline constexpr double markSize = 8;
inline constexpr double markGap = 6;          // between the mark and the text
inline constexpr double buttonSize = 16;      // the dismiss button
inline constexpr double gap = 8;              // between a text and what follows it on its line
}  // namespace rowmetrics

ColourRole markColour(StatusMark mark);
ColourRole markColour(ConnectionMark mark);

// The rows hosted as static content; a status row's subtitle lines each get a slot.
RowLayout hostedRowLayout(const HostedRow& row, double width, const TextMeasure& measure);
// A static row with a dismiss button at its right (none while the dismiss is disabled); the
// content's texts end before it.
RowLayout dismissibleRowLayout(const DismissibleRowContent& row, double width, bool highlighted,
                               const TextMeasure& measure);
// A clickable status: its title line, its detail lines, the action's title as a trailing hint on
// the first line while the action is enabled, and a dismiss button when the row offers an enabled
// one.
// Reads the item's attributed title, role and highlight.
RowLayout statusActionRowLayout(const NativeMenuItem& item, double width, const TextMeasure& measure);
// `layout` for a right-to-left language: every frame mirrored across the row's `width`, leading
// and trailing text swapped, so the mark, the texts and the dismiss button all change sides.
RowLayout mirrored(RowLayout layout, double width);
// `layout` with its leading texts starting at `column`, the x where the platform's own menu items
// start their titles, and the mark moving with them: custom and plain rows then share one left
// edge. The texts keep their far ends, so a trailing note or a button stays put. Apply before
// `mirrored`.
RowLayout atTextColumn(RowLayout layout, double column);

// The CLI update row while the update cannot start: title, subtitle and (while installing) the
// spinner.
RowLayout cliUpdateRowLayout(const CliUpdate& update, double width);

}  // namespace corvane
