#pragma once

#include <string_view>

namespace corvane {

// Shown to users when no CLI is found (the baked "not installed" row copies it).
inline constexpr std::string_view cliInstallCommand = "npm install -g @usecorvane/cli && corvane init";

}  // namespace corvane
