#include "QtEffects.h"

#include <QClipboard>
#include <QGuiApplication>

#include <gtest/gtest.h>

#include <set>

namespace corvane {
namespace {

TEST(QtEffectsTest, TerminalIsTheFirstOneInstalledAndFailuresCarryTheirCodes) {
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
        {std::nullopt, {"konsole", "xterm"}, true, std::nullopt, {"konsole", "-e", "sh", "-c", line}},
        {"foot", {"foot", "xterm"}, true, std::nullopt, {"foot", "-e", "sh", "-c", line}},
        {"missing-term", {"xterm"}, true, std::nullopt, {"xterm", "-e", "sh", "-c", line}},
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

TEST(QtEffectsTest, CopiesPlainTextAndFindsProgramsOnPath) {
    QtEffects effects;
    effects.copyText("claude --resume 'a b'");
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "claude --resume 'a b'");
    EXPECT_TRUE(programIsOnPath("sh", "/nonexistent:/bin:/usr/bin"));
    EXPECT_TRUE(programIsOnPath("/bin/sh", ""));
    EXPECT_FALSE(programIsOnPath("sh", "/nonexistent"));
    EXPECT_FALSE(programIsOnPath("", "/bin"));
    // No X11 window manager offscreen: focusing falls back.
    EXPECT_FALSE(effects.focusSession("pts/999", 999999).focused);
}

}  // namespace
}  // namespace corvane
