#pragma once

// The decisions of the macOS shell, apart from AppKit, so that they run and are tested on every
// platform. The Objective-C++ files under macos/ only carry them out.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "AboutPanel.h"
#include "menu/AgentRowLogic.h"
#include "seams/Effects.h"
#include "seams/LoginItem.h"
#include "menu/NativeMenu.h"

namespace corvane {

// ---- The system -------------------------------------------------------------------------------

// `NSProcessInfo.operatingSystemVersion`.
struct OsVersion {
    std::int64_t major = 0;
    std::int64_t minor = 0;
    std::int64_t patch = 0;
    bool operator==(const OsVersion&) const = default;
};

// The log's "osVersion": "macOS 14.5", or "macOS 14.5.1" when there is a patch level.
std::string macOSVersionText(const OsVersion& version);

// `SMAppService.status` (its raw value) as the login-item seam reports it. A value the service
// may add later counts as "not found": the switch then registers instead of unregistering.
LoginItemStatus loginItemStatusFromService(std::int64_t rawStatus);

// The appearance that `bestMatchFromAppearancesWithNames:` chose among the light and dark system
// appearances is the dark one (the attention icon is drawn light on it).
bool isDarkAppearanceName(std::string_view appearanceName);

// ---- Apple Events and Terminal ---------------------------------------------------------------

// `executeTerminalScript` reports this number when the script text does not compile.
inline constexpr std::int64_t appleScriptSyntaxErrorCode = -2740;
// errOSAGeneralError: an error dictionary that carries no usable number.
inline constexpr std::int64_t appleScriptGeneralErrorCode = -2700;

// The Apple Events error number of an AppleScript error dictionary, from the value found under
// `NSAppleScriptErrorNumber`: absent or not an integer gives the general AppleScript error.
std::int64_t appleEventErrorCode(const std::optional<std::int64_t>& errorNumber);

// How another app is brought to the front: on macOS 14 and later without options (the system
// decides, and ignoring other apps is deprecated there); before, ignoring other apps, or the
// request is refused while another app is active.
struct ActivationOptions {
    bool ignoringOtherApps = false;
    bool operator==(const ActivationOptions&) const = default;
};
ActivationOptions activationOptions(const OsVersion& version);

// What focusing a session does with the app that hosts it (found by process id).
enum class FocusStep {
    notRunning,         // no such process: not focused (the caller may open the fallback command)
    activateApp,        // any app but Terminal, or a Terminal that has terminated: activate it
    selectTerminalTab,  // Terminal: select the tab by tty with AppleScript
};
// `bundleIdentifier` is absent when no running application has the process id.
FocusStep focusStep(const std::optional<std::string>& bundleIdentifier, bool terminated);

// The outcome of the Terminal tab script: a script error (its Apple Events number) is not focused
// and logged as an Apple Events failure; otherwise the script's boolean says whether the tab was
// found, and the search is logged either way ("TAB_NOT_FOUND" when it was not).
SessionFocus terminalTabOutcome(const std::optional<std::int64_t>& scriptError, bool found);

// ---- Menu input -------------------------------------------------------------------------------

// The part of an agent row at `x` points from its left edge in a row `width` wide: the rightmost
// 20 points are the Corvane button, everything from x = 4 up to it the harness part; the 4-point
// inset at the left belongs to neither.
std::optional<AgentTarget> agentTargetAt(double x, double width);

// Which part of a highlighted row Return chooses. Option-Return dismisses a row that offers a
// dismiss part (dismissible rows, status actions with a dismiss action); an agent row keeps its
// main part (the row itself reads Option as "open in Corvane"); everything else is the row.
RowPart keyboardRowPart(const NativeMenuItem& item, bool optionPressed);

// ---- The bundle --------------------------------------------------------------------------------

inline constexpr std::string_view macBundleIdentifier = "com.usecorvane.menubar";
// SMAppService.mainApp needs macOS 13.
inline constexpr std::string_view macMinimumSystemVersion = "13.0";
// The About panel's copyright line (NSHumanReadableCopyright) and the bundle's icon file
// (Corvane.icns, drawn at build time).
inline constexpr std::string_view macCopyright = "Copyright © 2026 Corvane";
inline constexpr std::string_view macIconFile = "Corvane";
// Shown by the system when the app first scripts Terminal.
inline constexpr std::string_view appleEventsUsageDescription =
    "Corvane opens commands and brings your agent sessions to the front in Terminal.";

// One Info.plist entry: a text, or a boolean (`<true/>` / `<false/>`).
struct InfoPlistEntry {
    std::string key;
    std::string text;
    std::optional<bool> boolean;
    bool operator==(const InfoPlistEntry&) const = default;
};

// The app bundle's Info keys, in file order, for a build of `version` (the project version)
// pinned to `environment` (empty: decided at run time, production unless the process environment
// says otherwise). The Info.plist template of the macOS build holds exactly these.
std::vector<InfoPlistEntry> macInfoPlistEntries(std::string_view version, std::string_view environment);

}  // namespace corvane
