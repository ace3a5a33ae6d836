#include "platform/qt/QtEffects.h"

#include <gtest/gtest.h>

#include <set>

namespace corvane {
namespace {

// Which terminal is chosen is the terminal script's own table; here $TERMINAL reaches the choice
// and each way of failing carries its code.
TEST(QtEffectsTest, TerminalFollowsTheVariableAndFailuresCarryTheirCodes) {
    struct Case {
        std::optional<std::string> terminal;
        std::set<std::string> installed;
        bool starts;
        std::optional<std::int64_t> error;
        std::vector<std::string> argv;
    };
    const std::string line = "corvane login";
    const std::vector<Case> cases{
        {std::nullopt, {}, true, terminalNotFoundCode, {}},
        {"foot", {"foot", "xterm"}, true, std::nullopt, {"foot", "-e", "sh", "-c", line}},
        {std::nullopt, {"xterm"}, false, terminalStartFailedCode, {"xterm", "-e", "sh", "-c", line}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> started;
        QtEffects effects(
            [&](const std::vector<std::string>& argv) {
                started = argv;
                return c.starts;
            },
            [&] { return c.terminal; }, [&](std::string_view program) { return c.installed.count(std::string(program)) > 0; });
        const auto error = effects.openTerminal(line);
        EXPECT_EQ(error ? std::optional<std::int64_t>(error->code) : std::nullopt, c.error);
        EXPECT_EQ(started, c.argv);
    }
}

TEST(QtEffectsTest, FindsProgramsOnPathAndFocusingFallsBackWithoutAWindowSystem) {
    QtEffects effects;
    EXPECT_TRUE(programIsOnPath("sh", "/nonexistent:/bin:/usr/bin"));
    EXPECT_TRUE(programIsOnPath("/bin/sh", ""));
    EXPECT_FALSE(programIsOnPath("sh", "/nonexistent"));
    EXPECT_FALSE(programIsOnPath("", "/bin"));
    // No X11 window manager offscreen: focusing falls back.
    EXPECT_FALSE(effects.focusSession("pts/999", 999999).focused);
}

}  // namespace
}  // namespace corvane
