#pragma once

#include <string>

#include "seams/LoginItem.h"

namespace corvane {

// Starting at login on a freedesktop session: the autostart entry
// `<config folder>/autostart/<app id>.desktop`. An entry that exists and is not `Hidden=true` is
// enabled; registering writes it (atomically) with the keys panels need to start a tray app after
// the panel is up; unregistering removes it. Main thread; touches the disk.
class XdgLoginItem : public LoginItem {
public:
    // `configFolder` is $XDG_CONFIG_HOME (or ~/.config); `executable` the absolute path the entry
    // starts; `displayName` its Name.
    XdgLoginItem(std::string configFolder, std::string appId, std::string executable, std::string displayName);

    LoginItemStatus status() const override;
    std::optional<std::string> registerApp() override;
    std::optional<std::string> unregisterApp() override;

    const std::string& entryPath() const { return entryPath_; }

    // The entry's text.
    std::string entryText() const;

private:
    std::string folder_;
    std::string entryPath_;
    std::string executable_;
    std::string displayName_;
};

// $XDG_CONFIG_HOME when it is an absolute path, else $HOME/.config; empty when neither helps.
std::string xdgConfigFolder();

// The desktop id of the app for an environment: "com.usecorvane.Menubar", with the environment's
// name appended outside production ("com.usecorvane.Menubar.staging"), so each environment has
// its own autostart entry and instance lock.
std::string desktopAppId(const std::string& appEnv);

// The path the first-launch rule sees for `executable`: an executable installed under a system or
// user prefix (/usr, /usr/local, /opt, ~/.local) counts as living in an applications folder, so
// the first launch registers it; one run from a build folder or a download does not.
std::string firstLaunchBundlePath(const std::string& executable, const std::string& home);

}  // namespace corvane
