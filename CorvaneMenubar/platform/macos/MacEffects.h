#pragma once

#import <AppKit/AppKit.h>

#include "seams/Effects.h"
#include "app/MacDecisions.h"

namespace corvane::mac {

// Runs an AppleScript and returns its error information, or nil on success. A script whose source
// cannot even be made into a script object answers an error whose number is -2740 (the
// AppleScript syntax error). `result`, when given, receives the script's result. Main thread; it
// blocks while the scripted app answers.
NSDictionary<NSString*, id>* executeTerminalScript(NSString* script, NSAppleEventDescriptor* __autoreleasing* result);

// The Apple Events error number of AppleScript error information (see `appleEventErrorCode`).
std::int64_t appleEventErrorNumber(NSDictionary<NSString*, id>* errorInfo);

// The running macOS version.
OsVersion runningOsVersion();

// The outside world through AppKit: NSWorkspace, NSPasteboard, NSAlert, NSRunningApplication and
// Terminal through NSAppleScript. Main thread only.
class MacEffects final : public Effects {
public:
    void openUrl(const std::string& url) override;
    void openFile(const std::string& path) override;
    void copyText(const std::string& text) override;
    std::optional<TerminalError> openTerminal(const std::string& commandLine) override;
    SessionFocus focusSession(const std::string& tty, std::int32_t appPid) override;
    void showAlert(const std::string& message, const std::string& informative) override;
    void activateApp() override;
};

}  // namespace corvane::mac
