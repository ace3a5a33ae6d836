#pragma once

// The desktop shell this build carries, if any. The entry point knows only these two functions;
// CMake links their definitions from the one desktop shell folder it builds (qt/ on Linux when Qt 6
// is found, macos/ on Apple) or, when none is built, from nodesktop/.

#include <memory>
#include <string_view>

#include "Shell.h"

namespace corvane {

// The built desktop shell's name ("qt", "appkit"), or empty when this build has none.
std::string_view desktopShellName();

// A new desktop shell for `options`, or null when this build has none. Called only after
// `chooseShell` picked the desktop.
std::unique_ptr<Shell> makeDesktopShell(const ShellOptions& options);

}  // namespace corvane
