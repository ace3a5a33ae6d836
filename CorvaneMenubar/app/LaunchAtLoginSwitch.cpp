#include "LaunchAtLoginSwitch.h"

namespace corvane {

bool LaunchAtLoginSwitch::isEnabled() const { return loginItem_.status() == LoginItemStatus::enabled; }

bool LaunchAtLoginSwitch::registerApp() {
    if (auto error = loginItem_.registerApp()) {
        if (logLine_) logLine_("Launch at Login registration failed: " + *error);
        return false;
    }
    return true;
}

bool LaunchAtLoginSwitch::unregisterApp() {
    const auto status = loginItem_.status();
    if (status == LoginItemStatus::notRegistered || status == LoginItemStatus::notFound) return true;
    return !loginItem_.unregisterApp().has_value();
}

bool LaunchAtLoginSwitch::toggle() {
    if (loginItem_.status() == LoginItemStatus::enabled) {
        if (auto error = loginItem_.unregisterApp()) {
            if (logLine_) logLine_("Launch at Login toggle failed: " + *error);
            return false;
        }
        return true;
    }
    return registerApp();
}

FirstLaunchLaunchAtLogin LaunchAtLoginSwitch::offerOnFirstLaunch(Defaults& defaults, std::string_view bundlePath) {
    const std::string key(firstLaunchAttemptKey);
    if (defaults.boolean(key)) return FirstLaunchLaunchAtLogin::skip;
    const auto action = firstLaunchLaunchAtLoginAction(bundlePath, false, isEnabled());
    switch (action) {
    case FirstLaunchLaunchAtLogin::registerApp:
        if (registerApp()) defaults.setBoolean(key, true);
        break;
    case FirstLaunchLaunchAtLogin::remember:
        defaults.setBoolean(key, true);
        break;
    case FirstLaunchLaunchAtLogin::skip:
        break;
    }
    return action;
}

int LaunchAtLoginSwitch::unregisterForUninstall(Defaults& defaults) {
    forgetFirstLaunchAttempt(defaults);
    defaults.synchronize();
    return unregisterApp() ? 0 : 1;
}

void LaunchAtLoginSwitch::forgetFirstLaunchAttempt(Defaults& defaults) { defaults.remove(firstLaunchAttemptKey); }

}  // namespace corvane
