#include "PrintingEffects.h"

#include <nlohmann/json.hpp>

#include "UntrustedInput.h"

namespace corvane {

namespace {
// nlohmann::ordered_json keeps "event" first, which makes the lines easy to scan and grep.
std::string line(const nlohmann::ordered_json& event) {
    return escapeJsonControls(event.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}
}  // namespace

void PrintingEffects::openUrl(const std::string& url) {
    writeLine_(line({{"event", "openUrl"}, {"url", url}}));
}

void PrintingEffects::openFile(const std::string& path) {
    writeLine_(line({{"event", "openFile"}, {"path", path}}));
}

void PrintingEffects::copyText(const std::string& text) {
    writeLine_(line({{"event", "copy"}, {"text", text}}));
}

std::optional<TerminalError> PrintingEffects::openTerminal(const std::string& commandLine) {
    writeLine_(line({{"event", "openTerminal"}, {"command", commandLine}}));
    return std::nullopt;
}

SessionFocus PrintingEffects::focusSession(const std::string& tty, std::int32_t appPid) {
    writeLine_(line({{"event", "focus"}, {"tty", tty}, {"appPid", appPid}}));
    return SessionFocus{focusSucceeds_, std::nullopt};
}

void PrintingEffects::showAlert(const std::string& message, const std::string& informative) {
    writeLine_(line({{"event", "alert"}, {"message", message}, {"informative", informative}}));
}

void PrintingEffects::activateApp() {
    writeLine_(line({{"event", "activate"}}));
}

}  // namespace corvane
