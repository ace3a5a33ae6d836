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

// Reads a marker's envelope as the JSON parser walks it, keeping only what the app uses:
// "version" and the three words of "failure". Extra keys (a long cause, a stack, nested details)
// are walked past and never stored, so a valid envelope is read whatever else it carries; the
// line itself is bounded by the stderr tail the runner keeps. The walk keeps no recursion, so
// deep nesting costs only its length. A key given twice counts with its last value.
class MarkerEnvelope final : public nlohmann::json_sax<nlohmann::json> {
public:
    // Longer words than this cannot pass the checks that follow (a code is at most 32 characters).
    static constexpr std::size_t longestWord = 64;

    bool null() override { return value(nullptr); }
    bool boolean(bool) override { return value(nullptr); }
    bool number_integer(number_integer_t number) override { return value(nullptr, number == 1); }
    bool number_unsigned(number_unsigned_t number) override { return value(nullptr, number == 1); }
    bool number_float(number_float_t, const string_t&) override { return value(nullptr); }
    bool string(string_t& text) override { return value(&text); }
    bool binary(binary_t&) override { return value(nullptr); }
    bool start_object(std::size_t) override {
        if (depth_ == 0) rootIsObject_ = true;
        const bool opensFailure = slot_ == Slot::failure;
        value(nullptr);
        if (opensFailure) {
            failureIsObject_ = true;
            inFailure_ = true;
            outcome_ = domain_ = code_ = std::nullopt;
        }
        ++depth_;
        return true;
    }
    bool end_object() override {
        if (--depth_ == 1) inFailure_ = false;
        return true;
    }
    bool start_array(std::size_t) override {
        value(nullptr);
        ++depth_;
        return true;
    }
    bool end_array() override {
        --depth_;
        return true;
    }
    bool key(string_t& name) override {
        slot_ = Slot::none;
        if (depth_ == 1) {
            if (name == "version") slot_ = Slot::version;
            if (name == "failure") slot_ = Slot::failure;
        } else if (depth_ == 2 && inFailure_) {
            if (name == "outcome") slot_ = Slot::outcome;
            if (name == "domain") slot_ = Slot::domain;
            if (name == "code") slot_ = Slot::code;
        }
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

    // The envelope's outcome, domain and code when it is an object with version 1 and a failure
    // object holding the three as words; the words are checked by the caller.
    std::optional<std::array<std::string, 3>> words() const {
        if (!rootIsObject_ || !versionIsOne_ || !failureIsObject_ || !outcome_ || !domain_ || !code_)
            return std::nullopt;
        return std::array<std::string, 3>{*outcome_, *domain_, *code_};
    }

private:
    enum class Slot { none, version, failure, outcome, domain, code };

    // A value at the current depth: it fills the field its key named (`text` for a string,
    // `isOne` for an integer equal to 1) and nothing else.
    bool value(string_t* text, bool isOne = false) {
        const Slot slot = std::exchange(slot_, Slot::none);
        auto word = [&]() -> std::optional<std::string> {
            if (!text || text->size() > longestWord) return std::nullopt;
            return std::move(*text);
        };
        switch (slot) {
            case Slot::version: versionIsOne_ = isOne; break;
            case Slot::failure: failureIsObject_ = false; break;  // start_object sets it again
            case Slot::outcome: outcome_ = word(); break;
            case Slot::domain: domain_ = word(); break;
            case Slot::code: code_ = word(); break;
            case Slot::none: break;
        }
        return true;
    }

    int depth_ = 0;
    Slot slot_ = Slot::none;
    bool rootIsObject_ = false;
    bool versionIsOne_ = false;
    bool failureIsObject_ = false;
    bool inFailure_ = false;
    std::optional<std::string> outcome_, domain_, code_;
};

}  // namespace

std::optional<ClientDiagnostic> cliFailureDiagnostic(DiagnosticOperation operation,
                                                     const std::optional<std::string>& stderrText) {
    if (!stderrText) return std::nullopt;
    std::string_view rest(*stderrText);
    // Walk the lines from the last to the first; the last valid marker wins. Every line is
    // looked at once, so the cost follows the length of stderr (whose tail the runner bounds).
    while (!rest.empty()) {
        std::size_t cut = rest.rfind('\n');
        std::string_view line = cut == std::string_view::npos ? rest : rest.substr(cut + 1);
        rest = cut == std::string_view::npos ? std::string_view{} : rest.substr(0, cut);
        if (line.substr(0, cliDiagnosticMarker.size()) != cliDiagnosticMarker) continue;
        const std::string_view body = line.substr(cliDiagnosticMarker.size());

        MarkerEnvelope envelope;
        if (!nlohmann::json::sax_parse(body.begin(), body.end(), &envelope)) continue;
        const auto words = envelope.words();
        if (!words) continue;
        const auto& [outcomeWord, domain, code] = *words;
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
