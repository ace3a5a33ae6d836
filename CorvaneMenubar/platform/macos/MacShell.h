#pragma once

#include <memory>

#include "app/Shell.h"

namespace corvane::mac {

// The AppKit shell: an accessory app (no Dock icon, no main menu) with one status item, run by
// `runApp`. Its information dictionary is the main bundle's, its OS version "macOS 14.5"-style.
// With `ShellOptions::loginItemOnly` no application object is made (uninstallers run it from a
// script).
std::unique_ptr<Shell> makeAppKitShell(const ShellOptions& options);

}  // namespace corvane::mac
