#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "seams/Effects.h"

namespace corvane {

// The outside world on a Linux desktop: the user's default apps through QDesktopServices, the
// clipboard, the first terminal emulator found (started detached, so it outlives the app, and
// handed a private script file that runs the command line, so that no launcher can split it) and
// QMessageBox alerts. Focusing a session is best effort on X11: the window of the process that
// owns the session's terminal is raised through the window manager; elsewhere the caller falls
// back. GUI thread only.
class QtEffects : public Effects {
public:
    // Starts `argv` detached; false when it could not be started.
    using StartDetached = std::function<bool(const std::vector<std::string>& argv)>;

    // Writes the script a terminal runs; its path, or nothing when it could not.
    using WriteScript = std::function<std::optional<std::string>(const std::string& text)>;

    // Missing operations get the real ones ($TERMINAL and PATH of this process, QProcess, a new
    // file of mode 0700 in the user's private runtime folder).
    explicit QtEffects(StartDetached startDetached = {},
                       std::function<std::optional<std::string>()> terminalVariable = {},
                       std::function<bool(std::string_view program)> isOnPath = {}, WriteScript writeScript = {});

    void openUrl(const std::string& url) override;
    void openFile(const std::string& path) override;
    void copyText(const std::string& text) override;
    std::optional<TerminalError> openTerminal(const std::string& commandLine) override;
    SessionFocus focusSession(const std::string& tty, std::int32_t appPid) override;
    void showAlert(const std::string& message, const std::string& informative) override;
    void activateApp() override;

private:
    StartDetached startDetached_;
    std::function<std::optional<std::string>()> terminalVariable_;
    std::function<bool(std::string_view)> isOnPath_;
    WriteScript writeScript_;
};

// True when `program` names an executable file: an absolute or relative path as is, a bare name
// looked up in the folders of `path` (colon-separated).
bool programIsOnPath(std::string_view program, std::string_view path);

}  // namespace corvane
