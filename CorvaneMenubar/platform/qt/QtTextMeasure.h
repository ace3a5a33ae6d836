#pragma once

#include "menu/TextMeasure.h"

namespace corvane {

// Widths and user-perceived characters in the fonts the Qt shell's menus draw with (see QtMenuLook), in device-independent
// pixels, which Qt's menus use as points.
class QtTextMeasure final : public TextMeasure {
public:
    double width(std::string_view utf8, FontRole role) const override;
    // Grapheme clusters as Qt's text engine segments them.
    std::vector<std::string_view> clusters(std::string_view utf8) const override;
};

}  // namespace corvane
