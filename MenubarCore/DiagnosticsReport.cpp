#include "DiagnosticsReport.h"

#include "MenuDecode.h"
#include "MenuTime.h"
#include "Patterns.h"

namespace corvane {

std::string diagnosticsText(const DiagnosticsInput& input) {
    std::string text = "Corvane menu bar app " + input.appVersion + " (" + input.appEnv + ") / menu contract " +
                       std::to_string(menuContract);
    text += "\nCopied " + iso8601(input.now);
    if (input.lastFailureDetail && !input.lastFailureDetail->empty())
        text += "\nLast poll failure: " + *input.lastFailureDetail;
    if (input.cliVersion)
        text += "\nCorvane CLI " +
                (patterns::isVersionText(*input.cliVersion) ? *input.cliVersion : std::string("unrecognized"));
    if (input.lastPayloadAt) {
        text += "\nLast payload, received " + iso8601(*input.lastPayloadAt) + " (" +
                durationText(secondsBetween(*input.lastPayloadAt, input.now)) + " ago).";
        text += "\nPayload contents omitted from support diagnostics.";
    } else {
        text += "\nNo payload received from `corvane menu` yet.";
    }
    if (!input.clientEvents.empty()) text += "\n" + input.clientEvents;
    return text;
}

}  // namespace corvane
