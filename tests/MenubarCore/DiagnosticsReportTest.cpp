#include "DiagnosticsReport.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

// 2025-01-31T09:15:00Z
const Instant copiedAt = instantFromSeconds(1'738'314'900.0);

TEST(DiagnosticsReport, Lines) {
    struct Row { const char* name; DiagnosticsInput input; std::string expected; };
    const std::string head = "Corvane menu bar app 0.3.1 (staging) / menu contract 1\nCopied 2025-01-31T09:15:00Z";
    const std::string noPayload = "\nNo payload received from `corvane menu` yet.";
    const Row rows[] = {
        {"nothing optional", {"0.3.1", "staging", {}, {}, {}, "", copiedAt}, head + noPayload},
        {"empty failure detail", {"0.3.1", "staging", {}, {}, std::string(), "", copiedAt}, head + noPayload},
        {"CLI version with a space", {"0.3.1", "staging", "1.4 beta", {}, {}, "", copiedAt},
         head + "\nCorvane CLI unrecognized" + noPayload},
        {"payload 90 s ago, then the log summary last",
         {"0.3.1", "staging", "1.4.0", plusSeconds(copiedAt, -90), "boom", "line one\nline two", copiedAt},
         head +
             "\nLast poll failure: boom\nCorvane CLI 1.4.0\nLast payload, received 2025-01-31T09:13:30Z (1 minute "
             "ago).\nPayload contents omitted from support diagnostics.\nline one\nline two"},
        {"payload 3 hours ago", {"0.3.1", "staging", {}, plusSeconds(copiedAt, -3 * 3600), {}, "", copiedAt}, head +
             "\nLast payload, received 2025-01-31T06:15:00Z (3 hours ago).\nPayload contents omitted from support "
             "diagnostics."},
    };
    for (const auto& row : rows) EXPECT_EQ(diagnosticsText(row.input), row.expected) << row.name;
}

}  // namespace
}  // namespace corvane
