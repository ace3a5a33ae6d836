#include "ClientDiagnostic.h"

#include <array>
#include <utility>

#include <nlohmann/json.hpp>

#include "Patterns.h"
#include "WordTable.h"

namespace corvane {
namespace {

constexpr WordTable<DiagnosticOperation, diagnosticOperationCount> operationWords{{
    {DiagnosticOperation::cliRun, "cli.run"},
    {DiagnosticOperation::menuAnalytics, "menu.analytics"},
    {DiagnosticOperation::menuPoll, "menu.poll"},
    {DiagnosticOperation::claudeDesktopRegistry, "claude.desktop-registry"},
    {DiagnosticOperation::terminalOpen, "terminal.open"},
    {DiagnosticOperation::terminalFocus, "terminal.focus"},
    {DiagnosticOperation::updatePersistence, "update.persistence"},
}};

constexpr WordTable<DiagnosticOutcome, 5> outcomeWords{{
    {DiagnosticOutcome::available, "available"},
    {DiagnosticOutcome::missing, "missing"},
    {DiagnosticOutcome::denied, "denied"},
    {DiagnosticOutcome::failed, "failed"},
    {DiagnosticOutcome::notNeeded, "not-needed"},
}};

std::string safeDomain(std::string_view domain) {
    for (std::string_view known : {posixErrorDomain, cocoaErrorDomain, osStatusErrorDomain, machErrorDomain})
        if (domain == known) return std::string(domain);
    return "other";
}

bool isPosix(std::string_view domain) { return domain == posixErrorDomain; }
bool isCocoa(std::string_view domain) { return domain == cocoaErrorDomain; }

}  // namespace

std::string_view wireWord(DiagnosticOperation operation) { return wordIn(operationWords, operation); }
std::string_view wireWord(DiagnosticOutcome outcome) { return wordIn(outcomeWords, outcome); }
std::optional<DiagnosticOperation> diagnosticOperationFromWord(std::string_view word) { return valueIn(operationWords, word); }
std::optional<DiagnosticOutcome> diagnosticOutcomeFromWord(std::string_view word) { return valueIn(outcomeWords, word); }

ClientDiagnostic ClientDiagnostic::system(DiagnosticOperation operation, const SystemError& error) {
    // The POSIX error is the error itself when it is one, else its underlying error.
    std::optional<ErrorCode> posix;
    if (isPosix(error.domain))
        posix = ErrorCode{error.domain, error.code};
    else if (error.underlying)
        posix = error.underlying;

    bool denied;
    if (posix && isPosix(posix->domain) && (posix->code == 1 || posix->code == 13))
        denied = true;
    else
        denied = isCocoa(error.domain) && (error.code == 257 || error.code == 513);

    const bool notFound = (posix && isPosix(posix->domain) && posix->code == 2) ||
                          (isCocoa(error.domain) && (error.code == 4 || error.code == 260));
    DiagnosticOutcome outcome = denied ? DiagnosticOutcome::denied
                                : notFound ? DiagnosticOutcome::missing
                                           : DiagnosticOutcome::failed;

    ClientDiagnostic result{operation, outcome, safeDomain(error.domain), std::to_string(error.code), {}, {}};
    if (error.underlying) {
        result.underlyingDomain = safeDomain(error.underlying->domain);
        result.underlyingCode = std::to_string(error.underlying->code);
    }
    return result;
}

ClientDiagnostic ClientDiagnostic::appleEvent(std::int64_t code, DiagnosticOperation operation) {
    DiagnosticOutcome outcome = code == -1743                   ? DiagnosticOutcome::denied
                                : (code == -600 || code == -10814) ? DiagnosticOutcome::missing
                                                                   : DiagnosticOutcome::failed;
    return ClientDiagnostic{operation, outcome, std::string("AppleEvents"), std::to_string(code), {}, {}};
}

std::string ClientDiagnostic::summary() const {
    std::string text(wireWord(operation));
    text += ' ';
    text += wireWord(outcome);
    for (const auto* field : {&domain, &code, &underlyingDomain, &underlyingCode}) {
        if (*field) {
            text += ' ';
            text += **field;
        }
    }
    return text;
}

namespace {

// Whether the objects and arrays of the JSON text `text` nest deeper than `limit`; brackets
// inside strings do not count. One pass, no allocation.
bool nestsDeeperThan(std::string_view text, int limit) {
    int depth = 0;
    bool inString = false;
    bool escaped = false;
    for (char c : text) {
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++depth > limit) return true;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return false;
}

}  // namespace

std::optional<ClientDiagnostic> cliFailureDiagnostic(DiagnosticOperation operation,
                                                     const std::optional<std::string>& stderrText) {
    if (!stderrText) return std::nullopt;
    std::string_view rest(*stderrText);
    std::size_t markersSeen = 0;
    // Walk the lines from the last to the first; the last valid marker wins.
    while (!rest.empty() && markersSeen < maxCliMarkerLines) {
        std::size_t cut = rest.rfind('\n');
        std::string_view line = cut == std::string_view::npos ? rest : rest.substr(cut + 1);
        rest = cut == std::string_view::npos ? std::string_view{} : rest.substr(0, cut);
        if (line.substr(0, cliDiagnosticMarker.size()) != cliDiagnosticMarker) continue;
        ++markersSeen;
        const std::string_view body = line.substr(cliDiagnosticMarker.size());
        if (body.size() > maxCliMarkerBytes || nestsDeeperThan(body, maxCliMarkerDepth)) continue;

        nlohmann::json envelope = nlohmann::json::parse(body, nullptr, false);
        if (!envelope.is_object()) continue;
        auto version = envelope.find("version");
        auto failure = envelope.find("failure");
        if (version == envelope.end() || !version->is_number_integer() || *version != 1) continue;
        if (failure == envelope.end() || !failure->is_object()) continue;
        auto outcomeIt = failure->find("outcome");
        auto domainIt = failure->find("domain");
        auto codeIt = failure->find("code");
        if (outcomeIt == failure->end() || !outcomeIt->is_string()) continue;
        if (domainIt == failure->end() || !domainIt->is_string()) continue;
        if (codeIt == failure->end() || !codeIt->is_string()) continue;

        const auto& outcomeWord = outcomeIt->get_ref<const std::string&>();
        const auto& domain = domainIt->get_ref<const std::string&>();
        const auto& code = codeIt->get_ref<const std::string&>();
        auto outcome = diagnosticOutcomeFromWord(outcomeWord);
        if (!outcome || !(*outcome == DiagnosticOutcome::missing || *outcome == DiagnosticOutcome::denied ||
                          *outcome == DiagnosticOutcome::failed))
            continue;
        if (domain != "POSIX" && domain != "Node" && domain != "JavaScript" && domain != "Corvane") continue;
        if (!patterns::isDiagnosticWord(code)) continue;
        return ClientDiagnostic{operation, *outcome, domain, code, {}, {}};
    }
    return std::nullopt;
}

nlohmann::json toJson(const ClientDiagnostic& diagnostic) {
    nlohmann::json value = nlohmann::json::object();
    value["operation"] = wireWord(diagnostic.operation);
    value["outcome"] = wireWord(diagnostic.outcome);
    if (diagnostic.domain) value["domain"] = *diagnostic.domain;
    if (diagnostic.code) value["code"] = *diagnostic.code;
    if (diagnostic.underlyingDomain) value["underlyingDomain"] = *diagnostic.underlyingDomain;
    if (diagnostic.underlyingCode) value["underlyingCode"] = *diagnostic.underlyingCode;
    return value;
}

std::optional<ClientDiagnostic> clientDiagnosticFromJson(const nlohmann::json& value) {
    if (!value.is_object()) return std::nullopt;
    auto text = [&](const char* key) -> std::optional<std::string> {
        auto it = value.find(key);
        if (it == value.end() || !it->is_string()) return std::nullopt;
        return it->get<std::string>();
    };
    auto operationWord = text("operation");
    auto outcomeWord = text("outcome");
    if (!operationWord || !outcomeWord) return std::nullopt;
    auto operation = diagnosticOperationFromWord(*operationWord);
    auto outcome = diagnosticOutcomeFromWord(*outcomeWord);
    if (!operation || !outcome) return std::nullopt;
    for (const char* key : {"domain", "code", "underlyingDomain", "underlyingCode"}) {
        auto it = value.find(key);
        // A null optional field is an absent one, as other JSON readers of these records see it.
        if (it != value.end() && !it->is_string() && !it->is_null()) return std::nullopt;
    }
    return ClientDiagnostic{*operation, *outcome, text("domain"), text("code"), text("underlyingDomain"),
                            text("underlyingCode")};
}

}  // namespace corvane
