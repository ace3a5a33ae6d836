#pragma once

// Text measuring, the one thing the builder must ask the platform about: titles are shortened to
// fit a width in points, and only the shell knows its fonts.

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

enum class FontRole {
    menu,      // the standard menu font at its default size: every native title
    menu13,    // the menu font at 13 points: status titles, CLI update title, agent rows
    system11,  // the system font at 11 points: subtitles under a status title
};

// The user-perceived characters of `utf8`, approximated without Unicode tables: a code point
// together with the combining marks, vowel signs and spacing marks (Indic scripts, Thai, Lao),
// variation selectors, emoji modifiers and tag characters that follow it; Hangul jamo join into
// syllables (L+V+T); CR LF stays together; a zero-width joiner glues the next code point on (emoji
// ZWJ sequences); two regional indicators make one flag. A byte that is not valid UTF-8 is a
// character of its own, so every byte belongs to exactly one piece and the pieces concatenate
// back to the input.
std::vector<std::string_view> graphemeClusters(std::string_view utf8);

class TextMeasure {
public:
    virtual ~TextMeasure() = default;
    // Width in points of `utf8` set on one line in the font of `role`.
    virtual double width(std::string_view utf8, FontRole role) const = 0;
    // The user-perceived characters of `utf8` as the platform segments them: consecutive views
    // into `utf8` that concatenate back to it (Qt: QTextBoundaryFinder with
    // QTextBoundaryFinder::Grapheme; AppKit: rangeOfComposedCharacterSequenceAtIndex:, mapped
    // back to UTF-8 offsets). Titles are shortened only at these boundaries. The default is the
    // portable approximation above, which the headless shell uses.
    virtual std::vector<std::string_view> clusters(std::string_view utf8) const { return graphemeClusters(utf8); }
};

// The measurer of the headless shell and the tests: every character (as `graphemeClusters` counts
// them) is `characterWidth` points wide, in every font role, so widths are predictable.
class FixedWidthTextMeasure final : public TextMeasure {
public:
    explicit FixedWidthTextMeasure(double characterWidth = 7.0) : characterWidth_(characterWidth) {}
    double width(std::string_view utf8, FontRole role) const override;

private:
    double characterWidth_;
};

}  // namespace corvane
