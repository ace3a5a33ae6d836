#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace corvane {

// What was attempted. The wire word is the enumeration's raw value in logs and in the contract.
enum class DiagnosticOperation {
    cliRun,
    menuAnalytics,
    menuPoll,
    claudeDesktopRegistry,
    terminalOpen,
    terminalFocus,
    updatePersistence,  // the app's own store of a CLI update under way
};
inline constexpr std::size_t diagnosticOperationCount = 7;

enum class DiagnosticOutcome { available, missing, denied, failed, notNeeded };

std::string_view wireWord(DiagnosticOperation operation);
std::string_view wireWord(DiagnosticOutcome outcome);
std::optional<DiagnosticOperation> diagnosticOperationFromWord(std::string_view word);
std::optional<DiagnosticOutcome> diagnosticOutcomeFromWord(std::string_view word);

// The four platform error domains that may leave the process; everything else is written "other".
// Errors from errno carry "NSPOSIXErrorDomain" on every platform so logs read the same everywhere.
inline constexpr std::string_view posixErrorDomain = "NSPOSIXErrorDomain";
inline constexpr std::string_view cocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::string_view osStatusErrorDomain = "NSOSStatusErrorDomain";
inline constexpr std::string_view machErrorDomain = "NSMachErrorDomain";

// A platform error in portable form: a domain, an integer code and at most one underlying error.
struct ErrorCode {
    std::string domain;
    std::int64_t code = 0;
    bool operator==(const ErrorCode&) const = default;
};

struct SystemError {
    std::string domain;
    std::int64_t code = 0;
    std::optional<ErrorCode> underlying;

    static SystemError posix(int errnum) { return SystemError{std::string(posixErrorDomain), errnum, std::nullopt}; }
    bool operator==(const SystemError&) const = default;
};

// The privacy-safe record of how something outside the app's control ended. It never carries
// paths, messages or payload text: only words, an error domain and codes.
struct ClientDiagnostic {
    DiagnosticOperation operation = DiagnosticOperation::cliRun;
    DiagnosticOutcome outcome = DiagnosticOutcome::failed;
    std::optional<std::string> domain;
    std::optional<std::string> code;
    std::optional<std::string> underlyingDomain;
    std::optional<std::string> underlyingCode;

    bool operator==(const ClientDiagnostic&) const = default;

    // From a platform error: the outcome follows the error (missing, denied or failed); domains
    // are reduced by `safeDomain`; only the first level of nesting is looked at.
    static ClientDiagnostic system(DiagnosticOperation operation, const SystemError& error);
    // From an Apple Events error number (-1743 denied; -600 and -10814 missing; else failed).
    static ClientDiagnostic appleEvent(std::int64_t code, DiagnosticOperation operation);

    // The present fields' words in field order, joined by single spaces.
    std::string summary() const;
};

// The CLI's structured failure on stderr: the last valid "CORVANE_DIAGNOSTIC {json}" line wins;
// invalid marker lines and everything else on stderr are ignored. Only the envelope's version and
// the failure's outcome, domain and code are kept; any other keys, however long or deep, are read
// past, so the cost follows the length of `stderrText`.
std::optional<ClientDiagnostic> cliFailureDiagnostic(DiagnosticOperation operation,
                                                     const std::optional<std::string>& stderrText);

inline constexpr std::string_view cliDiagnosticMarker = "CORVANE_DIAGNOSTIC ";

// JSON form: keys are the field names; optional strings only when present. Decoding requires
// operation and outcome as known wire words; anything malformed gives nothing.
nlohmann::json toJson(const ClientDiagnostic& diagnostic);
std::optional<ClientDiagnostic> clientDiagnosticFromJson(const nlohmann::json& value);

}  // namespace corvane
