#pragma once

#include <optional>
#include <string>

namespace corvane {

// The platform's login-item service for this app, as the menu uses it.
enum class LoginItemStatus { notRegistered, enabled, requiresApproval, notFound };

// AppKit: `SMAppService.mainApp` (`status`, `register`, `unregister`). Qt/Linux: the XDG
// autostart entry `$XDG_CONFIG_HOME/autostart/<app id>.desktop` (written = enabled; a
// `Hidden=true` or missing entry = notRegistered). Called on the main thread; may touch the disk.
class LoginItem {
public:
    virtual ~LoginItem() = default;

    // The current registration as the service reports it now (never cached).
    virtual LoginItemStatus status() const = 0;

    // Registers the app to start at login. Absent on success; otherwise the service's own
    // description of the error (for the system log, never shown in the menu).
    virtual std::optional<std::string> registerApp() = 0;

    // Removes the registration. Absent on success; otherwise the error's description.
    virtual std::optional<std::string> unregisterApp() = 0;
};

}  // namespace corvane
