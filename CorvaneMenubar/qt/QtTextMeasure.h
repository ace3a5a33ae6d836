#pragma once

#include "TextMeasure.h"

namespace corvane {

// Widths in the fonts the Qt shell's menus draw with (see QtMenuLook), in device-independent
// pixels, which Qt's menus use as points.
class QtTextMeasure final : public TextMeasure {
public:
    double width(std::string_view utf8, FontRole role) const override;
};

}  // namespace corvane
