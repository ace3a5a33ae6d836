#include "LaunchAtLogin.h"

namespace corvane {

namespace {
// The path without its last component ("/a/b.app" → "/a"); trailing slashes are not a component.
std::string_view parentFolder(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos) return {};
    return path.substr(0, slash);
}
}  // namespace

FirstLaunchLaunchAtLogin firstLaunchLaunchAtLoginAction(std::string_view bundlePath, bool alreadyAttempted,
                                                        bool currentlyEnabled) {
    if (alreadyAttempted) return FirstLaunchLaunchAtLogin::skip;
    if (currentlyEnabled) return FirstLaunchLaunchAtLogin::remember;
    if (parentFolder(bundlePath).ends_with("/Applications")) return FirstLaunchLaunchAtLogin::registerApp;
    return FirstLaunchLaunchAtLogin::skip;
}

}  // namespace corvane
