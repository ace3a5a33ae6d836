#include "ShellChoice.h"

namespace corvane {

bool isLaunchServicesArgument(std::string_view argument) { return argument.starts_with("-psn_"); }

ShellChoice chooseShell(const ShellChoiceInputs& inputs) {
    if (inputs.headlessFlag) return {ShellKind::headless, {}};
    if (inputs.desktopShell.empty()) {
        return {ShellKind::headless,
                "Running headless: this build has no desktop shell (on Linux, install Qt 6 and build again)."};
    }
    if (inputs.loginItemOnly || inputs.isMacOS) return {ShellKind::desktop, {}};
    auto present = [&](std::string_view name) {
        auto value = inputs.environment ? inputs.environment(name) : std::nullopt;
        return value && !value->empty();
    };
    if (present("DISPLAY") || present("WAYLAND_DISPLAY")) return {ShellKind::desktop, {}};
    return {ShellKind::headless, "Running headless: no display (neither DISPLAY nor WAYLAND_DISPLAY is set)."};
}

}  // namespace corvane
