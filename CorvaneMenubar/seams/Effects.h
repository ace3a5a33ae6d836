#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ClientDiagnostic.h"

namespace corvane {

// Why a terminal could not be opened. On macOS `code` is the Apple Events error number that the
// script reported (-2740 when the script could not even be compiled). Other shells map their own
// failures onto the codes below so that the guidance text and the logged diagnostic read the same.
struct TerminalError {
    std::int64_t code = 0;
    bool operator==(const TerminalError&) const = default;
};

// No terminal program was found (none of the candidates is installed, or none is named).
inline constexpr std::int64_t terminalNotFoundCode = -600;
// A terminal program was found but could not be started (fork or exec failed).
inline constexpr std::int64_t terminalStartFailedCode = -10814;

// The result of bringing an agent session to the front.
struct SessionFocus {
    bool focused = false;  // the session's window (or its app) is now in front
    // What the attempt reported for the log when a terminal tab was looked for (a tab not found,
    // an Apple Events failure, or success); absent when no terminal was involved.
    std::optional<ClientDiagnostic> diagnostic;
    bool operator==(const SessionFocus&) const = default;
};

// The outside world an action can touch. Every method is called on the main thread and may block
// briefly (a modal alert blocks until dismissed; a terminal script blocks while Terminal answers).
// Nothing throws.
class Effects {
public:
    virtual ~Effects() = default;

    // Opens a URL with the user's default handler. Qt: `QDesktopServices::openUrl`; AppKit:
    // `NSWorkspace.openURL`.
    virtual void openUrl(const std::string& url) = 0;

    // Opens a file or folder with its default application (a folder in the file manager). Qt:
    // `QDesktopServices::openUrl(QUrl::fromLocalFile)`; AppKit: `NSWorkspace.openURL` (file URL).
    virtual void openFile(const std::string& path) = 0;

    // Replaces the clipboard's contents with `text` as plain text. Qt: `QClipboard::setText`
    // (also the selection on X11 is left alone); AppKit: `clearContents` + `setString` on the
    // general pasteboard.
    virtual void copyText(const std::string& text) = 0;

    // Opens a new terminal window that runs `commandLine` (a shell command line, already quoted).
    // Absent on success. AppKit: the "do script" AppleScript sent to Terminal. Linux: the first
    // available terminal emulator started detached, running the line from a private script file
    // (`linuxTerminalScriptInvocation`; `sh -c` when none can be written);
    // `terminalNotFoundCode` or `terminalStartFailedCode` on failure.
    virtual std::optional<TerminalError> openTerminal(const std::string& commandLine) = 0;

    // Brings the session on terminal `tty`, hosted by the app with process id `appPid`, to the
    // front. Not focused when no such app runs or its terminal tab was not found. AppKit: the
    // running application by pid; Terminal tabs are selected by tty with AppleScript, other apps
    // are activated. Linux: best effort (the window of the tty's owner on X11).
    virtual SessionFocus focusSession(const std::string& tty, std::int32_t appPid) = 0;

    // Shows a modal alert with a title-like `message` and a longer `informative` text, with one
    // OK button; returns when dismissed. Qt: `QMessageBox`; AppKit: `NSAlert`.
    virtual void showAlert(const std::string& message, const std::string& informative) = 0;

    // Brings this app to the front (before an alert). AppKit: `activateIgnoringOtherApps:` (its
    // successor `NSApp.activate` only asks); Qt: raising the alert's window is enough, so this may
    // do nothing.
    virtual void activateApp() = 0;
};

}  // namespace corvane
