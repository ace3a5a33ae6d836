#include "MacDecisions.h"

#include "ActionRunner.h"
#include "TerminalScript.h"
#include "menu/MenuKeys.h"

namespace corvane {

std::string macOSVersionText(const OsVersion& version) {
    std::string text = "macOS " + std::to_string(version.major) + "." + std::to_string(version.minor);
    if (version.patch != 0) text += "." + std::to_string(version.patch);
    return text;
}

LoginItemStatus loginItemStatusFromService(std::int64_t rawStatus) {
    switch (rawStatus) {
        case 0: return LoginItemStatus::notRegistered;
        case 1: return LoginItemStatus::enabled;
        case 2: return LoginItemStatus::requiresApproval;
        default: return LoginItemStatus::notFound;
    }
}

bool isDarkAppearanceName(std::string_view appearanceName) {
    return appearanceName == "NSAppearanceNameDarkAqua" || appearanceName == "NSAppearanceNameVibrantDark" ||
           appearanceName == "NSAppearanceNameAccessibilityHighContrastDarkAqua" ||
           appearanceName == "NSAppearanceNameAccessibilityHighContrastVibrantDark";
}

std::int64_t appleEventErrorCode(const std::optional<std::int64_t>& errorNumber) {
    return errorNumber.value_or(appleScriptGeneralErrorCode);
}

ActivationOptions activationOptions(const OsVersion& version) { return ActivationOptions{version.major < 14}; }

FocusStep focusStep(const std::optional<std::string>& bundleIdentifier, bool terminated) {
    if (!bundleIdentifier) return FocusStep::notRunning;
    if (*bundleIdentifier != terminalAppBundleIdentifier || terminated) return FocusStep::activateApp;
    return FocusStep::selectTerminalTab;
}

SessionFocus terminalTabOutcome(const std::optional<std::int64_t>& scriptError, bool found) {
    if (scriptError) return SessionFocus{false, ClientDiagnostic::appleEvent(*scriptError, DiagnosticOperation::terminalFocus)};
    return SessionFocus{found, terminalTabDiagnostic(found)};
}

std::optional<AgentTarget> agentTargetAt(double x, double width) {
    if (x >= width - 20 && x <= width) return AgentTarget::corvane;
    if (x >= 4 && x < width - 20) return AgentTarget::harness;
    return std::nullopt;
}

RowPart keyboardRowPart(const NativeMenuItem& item, bool optionPressed) {
    const auto chosen = keyActivation(item, MenuKey::enter, optionPressed);
    return chosen ? chosen->part : RowPart::main;
}

std::vector<InfoPlistEntry> macInfoPlistEntries(std::string_view version, std::string_view environment) {
    auto text = [](std::string_view key, std::string_view value) {
        return InfoPlistEntry{std::string(key), std::string(value), std::nullopt};
    };
    auto flag = [](std::string_view key, bool value) { return InfoPlistEntry{std::string(key), {}, value}; };
    return {
        text("CFBundleDevelopmentRegion", "en"),
        text("CFBundleExecutable", "Corvane"),
        text("CFBundleIdentifier", macBundleIdentifier),
        text("CFBundleName", "Corvane"),
        text("CFBundleDisplayName", "Corvane"),
        text("CFBundlePackageType", "APPL"),
        text("CFBundleShortVersionString", version),
        text("CFBundleVersion", version),
        text("CFBundleInfoDictionaryVersion", "6.0"),
        text("LSMinimumSystemVersion", macMinimumSystemVersion),
        flag("LSUIElement", true),
        text("NSPrincipalClass", "NSApplication"),
        flag("NSHighResolutionCapable", true),
        text("CFBundleIconFile", macIconFile),
        text("NSHumanReadableCopyright", macCopyright),
        text("NSAppleEventsUsageDescription", appleEventsUsageDescription),
        text("CorvaneEnvironment", environment),
    };
}

}  // namespace corvane
