#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "menu/TextMeasure.h"

namespace corvane::mac {

// Widths of single-line text in the system's menu and system fonts; characters as the system
// composes them.
class FontTextMeasure final : public TextMeasure {
public:
    double width(std::string_view utf8, FontRole role) const override;
    std::vector<std::string_view> clusters(std::string_view utf8) const override;
};

// The composed character sequences of `utf8` (what the user sees as characters), as consecutive
// pieces of the input that concatenate back to it. Text that is not valid UTF-8 falls back to the
// portable segmentation.
std::vector<std::string_view> composedCharacterSequences(std::string_view utf8);

}  // namespace corvane::mac
