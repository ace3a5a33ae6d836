#include "platform/headless/PrintingEffects.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace corvane {
namespace {

// The integration tests read these lines, so their exact shape is the contract.
TEST(PrintingEffects, EachEffectIsOneJsonLine) {
    std::vector<std::string> lines;
    PrintingEffects effects([&](std::string_view line) { lines.emplace_back(line); }, false);
    effects.openUrl("https://example.com/a?b=\"c\"");
    effects.openFile("/tmp/x y");
    effects.copyText("line1\nline2 \xff");
    effects.copyText("\u009b2J\x7f\u00a0");
    EXPECT_EQ(effects.openTerminal("'/usr/bin/corvane' login"), std::nullopt);
    EXPECT_FALSE(effects.focusSession("/dev/ttys003", 42).focused);
    effects.showAlert("Corvane can't open Terminal", "Paste it.");
    effects.activateApp();
    const std::vector<std::string> expected = {
        R"({"event":"openUrl","url":"https://example.com/a?b=\"c\""})",
        R"({"event":"openFile","path":"/tmp/x y"})",
        "{\"event\":\"copy\",\"text\":\"line1\\nline2 \xef\xbf\xbd\"}",
        "{\"event\":\"copy\",\"text\":\"\\u009b2J\\u007f\u00a0\"}",
        R"({"event":"openTerminal","command":"'/usr/bin/corvane' login"})",
        R"({"event":"focus","tty":"/dev/ttys003","appPid":42})",
        R"({"event":"alert","message":"Corvane can't open Terminal","informative":"Paste it."})",
        R"({"event":"activate"})",
    };
    EXPECT_EQ(lines, expected);
}

}  // namespace
}  // namespace corvane
