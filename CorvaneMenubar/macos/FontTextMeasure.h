#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TextMeasure.h"

namespace corvane::mac {

// Widths of single-line text in the system's menu and system fonts.
class FontTextMeasure final : public TextMeasure {
public:
    double width(std::string_view utf8, FontRole role) const override;
};

// The composed character sequences of `utf8` (what the user sees as characters), as consecutive
// pieces of the input that concatenate back to it. Text that is not valid UTF-8 is one piece.
std::vector<std::string_view> composedCharacterSequences(std::string_view utf8);

}  // namespace corvane::mac
