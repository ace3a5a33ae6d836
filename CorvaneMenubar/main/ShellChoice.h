#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

enum class ShellKind { headless, desktop };

struct ShellChoice {
    ShellKind kind = ShellKind::headless;
    // When a desktop was asked for or expected but the headless shell runs instead: one sentence
    // saying why, for stderr. Empty otherwise.
    std::string notice;
    bool operator==(const ShellChoice&) const = default;
};

// What the choice looks at.
struct ShellChoiceInputs {
    bool headlessFlag = false;      // "--headless"
    bool loginItemOnly = false;     // "--unregister-login-item": needs no display
    std::string_view desktopShell;  // the built desktop shell's name; empty when none was built
    bool isMacOS = false;           // a Mac always has a display for its menu bar
    // The process environment (DISPLAY, WAYLAND_DISPLAY); absent names read as unset.
    std::function<std::optional<std::string>(std::string_view name)> environment;
};

// "--headless" runs the headless shell. Otherwise the desktop shell runs when one was built and a
// display is present (macOS: always; elsewhere a non-empty DISPLAY or WAYLAND_DISPLAY), or when
// only the login item is touched; otherwise the headless shell runs, with a notice saying why.
ShellChoice chooseShell(const ShellChoiceInputs& inputs);

// An argument the system, not the user, put on the command line: LaunchServices adds
// "-psn_0_<number>" (the process serial number) when it launches a quarantined download the first
// time. The entry point drops these before reading its options.
bool isLaunchServicesArgument(std::string_view argument);

}  // namespace corvane
