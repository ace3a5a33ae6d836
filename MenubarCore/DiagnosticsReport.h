#pragma once

// The plain-text block "Copy Diagnostics" puts on the clipboard for a support request: versions,
// times, the last poll failure and the client log's support summary. Never any menu content.

#include <optional>
#include <string>

#include "Instant.h"

namespace corvane {

struct DiagnosticsInput {
    std::string appVersion;
    std::string appEnv;
    std::optional<std::string> cliVersion;     // from the last menu answer
    std::optional<Instant> lastPayloadAt;      // when the last menu payload arrived
    std::optional<std::string> lastFailureDetail;
    std::string clientEvents;                  // the client log's support summary
    Instant now;                               // the moment of copying
    bool operator==(const DiagnosticsInput&) const = default;
};

// The report's lines joined by line feeds, without a final line feed. The app version is written
// as given; the CLI version comes from another program and is checked ("unrecognized" otherwise).
std::string diagnosticsText(const DiagnosticsInput& input);

}  // namespace corvane
