// A build without a desktop shell: the entry point always runs the headless shell.

#include "app/DesktopShell.h"

namespace corvane {

std::string_view desktopShellName() { return {}; }

std::unique_ptr<Shell> makeDesktopShell(const ShellOptions&) { return nullptr; }

}  // namespace corvane
