#pragma once

// What every shell's About panel says beyond the app's name and version.

#include <string_view>

namespace corvane {

// The credits: the single word "Privacy", linked to this page.
inline constexpr std::string_view aboutCreditsText = "Privacy";
inline constexpr std::string_view privacyPageUrl = "https://usecorvane.com/privacy";

}  // namespace corvane
