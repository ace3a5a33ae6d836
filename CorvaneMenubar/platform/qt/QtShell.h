#pragma once

#include <memory>

#include "app/Shell.h"

namespace corvane {

// The Linux desktop shell on Qt 6 Widgets: a tray icon with the app's own popup, its plain-text
// mirror as the tray's context menu, and, when no tray shows the icon within `trayWaitSeconds`
// (or with `--window`), the same menu in a small ordinary window. One instance runs per user and
// environment: a later start asks it to open its menu and leaves with status 0.
class QtShell : public Shell {
public:
    // How long the icon may wait for a tray host before the window opens.
    static constexpr int trayWaitSeconds = 10;

    explicit QtShell(const ShellOptions& options);
    ~QtShell() override;

    bool prepare(const Variant& variant) override;
    LoginItem& loginItem() override;
    Defaults& defaults() override;
    AppSeams seams() override;
    std::string bundlePath() const override;
    void showAbout() override;
    void systemLog(std::string_view line) override;
    int exec(AppDelegate& app, std::function<void()> terminate) override;
    void quit() override;

    struct Parts;

private:
    void showWindow();

    ShellOptions options_;
    std::unique_ptr<Parts> parts_;
};

}  // namespace corvane
