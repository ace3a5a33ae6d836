#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "seams/Effects.h"

namespace corvane {

// Records every effect in order; the results of `openTerminal` and `focusSession` are set by the
// test.
class FakeEffects : public Effects {
public:
    struct OpenUrl { std::string url; bool operator==(const OpenUrl&) const = default; };
    struct OpenFile { std::string path; bool operator==(const OpenFile&) const = default; };
    struct CopyText { std::string text; bool operator==(const CopyText&) const = default; };
    struct OpenTerminal { std::string commandLine; bool operator==(const OpenTerminal&) const = default; };
    struct FocusSession { std::string tty; std::int32_t appPid = 0; bool operator==(const FocusSession&) const = default; };
    struct ShowAlert { std::string message, informative; bool operator==(const ShowAlert&) const = default; };
    struct ActivateApp { bool operator==(const ActivateApp&) const = default; };
    using Call = std::variant<OpenUrl, OpenFile, CopyText, OpenTerminal, FocusSession, ShowAlert, ActivateApp>;

    std::vector<Call> calls;
    std::optional<TerminalError> terminalResult;  // absent: opening a terminal succeeds
    SessionFocus focusResult{true, std::nullopt};

    void openUrl(const std::string& url) override { calls.push_back(OpenUrl{url}); }
    void openFile(const std::string& path) override { calls.push_back(OpenFile{path}); }
    void copyText(const std::string& text) override { calls.push_back(CopyText{text}); }
    std::optional<TerminalError> openTerminal(const std::string& commandLine) override {
        calls.push_back(OpenTerminal{commandLine});
        return terminalResult;
    }
    SessionFocus focusSession(const std::string& tty, std::int32_t appPid) override {
        calls.push_back(FocusSession{tty, appPid});
        return focusResult;
    }
    void showAlert(const std::string& message, const std::string& informative) override {
        calls.push_back(ShowAlert{message, informative});
    }
    void activateApp() override { calls.push_back(ActivateApp{}); }
};

}  // namespace corvane
