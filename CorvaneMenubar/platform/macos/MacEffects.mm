#import "MacEffects.h"

#import "AppKitText.h"
#include "TerminalScript.h"

namespace corvane::mac {

NSDictionary<NSString*, id>* executeTerminalScript(NSString* script, NSAppleEventDescriptor* __autoreleasing* result) {
    NSAppleScript* appleScript = [[NSAppleScript alloc] initWithSource:script];
    if (!appleScript) return @{NSAppleScriptErrorNumber : @(appleScriptSyntaxErrorCode)};
    NSDictionary<NSString*, id>* errorInfo = nil;
    NSAppleEventDescriptor* answer = [appleScript executeAndReturnError:&errorInfo];
    if (errorInfo) return errorInfo;
    if (result) *result = answer;
    return nil;
}

std::int64_t appleEventErrorNumber(NSDictionary<NSString*, id>* errorInfo) {
    id number = errorInfo[NSAppleScriptErrorNumber];
    if (![number isKindOfClass:[NSNumber class]]) return appleEventErrorCode(std::optional<std::int64_t>());
    return appleEventErrorCode(std::optional<std::int64_t>([number longLongValue]));
}

OsVersion runningOsVersion() {
    NSOperatingSystemVersion version = NSProcessInfo.processInfo.operatingSystemVersion;
    return OsVersion{version.majorVersion, version.minorVersion, version.patchVersion};
}

void MacEffects::openUrl(const std::string& url) {
    NSURL* target = [NSURL URLWithString:toNS(url)];
    if (target) [NSWorkspace.sharedWorkspace openURL:target];
}

void MacEffects::openFile(const std::string& path) {
    [NSWorkspace.sharedWorkspace openURL:[NSURL fileURLWithPath:toNS(path)]];
}

void MacEffects::copyText(const std::string& text) {
    NSPasteboard* pasteboard = NSPasteboard.generalPasteboard;
    [pasteboard clearContents];
    [pasteboard setString:toNS(text) forType:NSPasteboardTypeString];
}

std::optional<TerminalError> MacEffects::openTerminal(const std::string& commandLine) {
    NSDictionary<NSString*, id>* error = executeTerminalScript(toNS(appleScriptOpeningTerminal(commandLine)), nullptr);
    if (!error) return std::nullopt;
    return TerminalError{appleEventErrorNumber(error)};
}

SessionFocus MacEffects::focusSession(const std::string& tty, std::int32_t appPid) {
    NSRunningApplication* app = [NSRunningApplication runningApplicationWithProcessIdentifier:appPid];
    std::optional<std::string> bundle;
    if (app) bundle = fromNS(app.bundleIdentifier);
    switch (focusStep(bundle, app ? app.terminated : false)) {
        case FocusStep::notRunning:
            return SessionFocus{};
        case FocusStep::activateApp: {
            const auto options = activationOptions(runningOsVersion());
            [app activateWithOptions:options.ignoringOtherApps ? NSApplicationActivateIgnoringOtherApps
                                                        : static_cast<NSApplicationActivationOptions>(0)];
            return SessionFocus{true, std::nullopt};
        }
        case FocusStep::selectTerminalTab: {
            NSAppleEventDescriptor* answer = nil;
            NSDictionary<NSString*, id>* error =
                executeTerminalScript(toNS(appleScriptSelectingTerminalTab(tty)), &answer);
            std::optional<std::int64_t> code;
            if (error) code = appleEventErrorNumber(error);
            return terminalTabOutcome(code, answer && answer.booleanValue);
        }
    }
    return SessionFocus{};
}

void MacEffects::showAlert(const std::string& message, const std::string& informative) {
    NSAlert* alert = [[NSAlert alloc] init];
    alert.alertStyle = NSAlertStyleWarning;
    alert.messageText = toNS(message);
    alert.informativeText = toNS(informative);
    [alert addButtonWithTitle:@"OK"];
    // Above every app's windows even when the activation was not granted: the alert blocks the
    // menu until it is answered, so it must never open behind the front app.
    [alert.window setLevel:NSModalPanelWindowLevel];
    [alert runModal];
}

void MacEffects::activateApp() {
    // `activateIgnoringOtherApps:` activates an accessory app over the front app on every
    // supported macOS. Its macOS 14 successor `NSApp.activate` only asks (the system may refuse
    // while another app is active) and needs the macOS 14 SDK.
    [NSApp activateIgnoringOtherApps:YES];
}

}  // namespace corvane::mac
