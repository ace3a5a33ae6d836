#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "seams/Defaults.h"
#include "LaunchAtLogin.h"
#include "seams/LoginItem.h"

namespace corvane {

// Starting the app at login, over the platform's login-item service: the first-launch offer, the
// menu's switch and the uninstaller's flag. Registration errors go to the system log (the
// injected `logLine`), never to the menu. Main thread only.
class LaunchAtLoginSwitch {
public:
    using LogLine = std::function<void(std::string_view line)>;

    LaunchAtLoginSwitch(LoginItem& loginItem, LogLine logLine)
        : loginItem_(loginItem), logLine_(std::move(logLine)) {}

    // True when the service reports the item enabled (the check mark of the menu's row).
    bool isEnabled() const;

    // Registers the app; on failure logs "Launch at Login registration failed: <error>".
    bool registerApp();

    // Unregisters the app. When it is not registered or the service does not know it, there is
    // nothing to undo: true without asking the service.
    bool unregisterApp();

    // Switches the registration: an enabled item is unregistered (a failure is logged as
    // "Launch at Login toggle failed: <error>"), anything else is registered. True when the
    // switch succeeded; the next render reads the real status either way.
    bool toggle();

    // The first-launch step at start-up: decides with `firstLaunchLaunchAtLoginAction` unless the
    // attempt flag is set, and sets the flag after `remember`, or after `registerApp` only when
    // registering succeeded (so a failed attempt is retried next launch). Returns what was
    // decided (`skip` when the flag was already set).
    FirstLaunchLaunchAtLogin offerOnFirstLaunch(Defaults& defaults, std::string_view bundlePath);

    // The uninstaller's flag: forgets the first-launch attempt, writes the defaults out and
    // unregisters. Returns the process exit status: 0 when unregistering succeeded, else 1.
    int unregisterForUninstall(Defaults& defaults);

    // Removes the first-launch attempt flag.
    static void forgetFirstLaunchAttempt(Defaults& defaults);

private:
    LoginItem& loginItem_;
    LogLine logLine_;
};

}  // namespace corvane
