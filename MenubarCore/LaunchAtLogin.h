#pragma once

#include <string_view>

namespace corvane {

// What the first launch does about starting at login.
// `registerApp` stands for registering (`register` is a reserved word in C++).
enum class FirstLaunchLaunchAtLogin { registerApp, remember, skip };

// The defaults flag set once the first-launch decision has been carried out.
inline constexpr std::string_view firstLaunchAttemptKey = "registeredLaunchAtLoginOnFirstLaunch";

// The command-line flag (for uninstallers) that unregisters the login item and forgets the
// first-launch attempt, then exits.
inline constexpr std::string_view unregisterLoginItemFlag = "--unregister-login-item";

// Decides the first-launch step: nothing once attempted; just remember when the login item is
// already enabled; register when the app runs from an applications folder (the folder holding
// `bundlePath` ends with "/Applications"); otherwise skip without remembering, so that a later
// launch from an applications folder still registers. On Linux `bundlePath` is the executable's
// path, so a package registers on first launch only when its packager installs it under such a
// folder (or passes that path); a build folder or a download never registers by itself.
FirstLaunchLaunchAtLogin firstLaunchLaunchAtLoginAction(std::string_view bundlePath, bool alreadyAttempted,
                                                        bool currentlyEnabled);

}  // namespace corvane
