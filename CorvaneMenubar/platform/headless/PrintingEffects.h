#pragma once

#include <functional>
#include <string_view>

#include "seams/Effects.h"

namespace corvane {

// Effects of the headless shell: each effect is announced as one compact JSON line (keys in this
// order) and nothing else happens.
//   {"event":"openUrl","url":"…"}
//   {"event":"openFile","path":"…"}
//   {"event":"copy","text":"…"}
//   {"event":"openTerminal","command":"…"}           (always succeeds)
//   {"event":"focus","tty":"…","appPid":123}         (focused as `focusSucceeds` says)
//   {"event":"alert","message":"…","informative":"…"}
//   {"event":"activate"}
// Invalid UTF-8 in a text is replaced by U+FFFD rather than failing; DEL and the C1 controls are
// written as \u escapes like the C0 ones.
class PrintingEffects : public Effects {
public:
    using LineWriter = std::function<void(std::string_view line)>;

    explicit PrintingEffects(LineWriter writeLine, bool focusSucceeds = true)
        : writeLine_(std::move(writeLine)), focusSucceeds_(focusSucceeds) {}

    void openUrl(const std::string& url) override;
    void openFile(const std::string& path) override;
    void copyText(const std::string& text) override;
    std::optional<TerminalError> openTerminal(const std::string& commandLine) override;
    SessionFocus focusSession(const std::string& tty, std::int32_t appPid) override;
    void showAlert(const std::string& message, const std::string& informative) override;
    void activateApp() override;

private:
    LineWriter writeLine_;
    bool focusSucceeds_;
};

}  // namespace corvane
