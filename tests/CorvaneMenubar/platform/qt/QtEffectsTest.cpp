#include "platform/qt/QtEffects.h"

#include <QTest>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "TerminalScript.h"
#include "support/TempFolder.h"

namespace corvane {
namespace {

// Which terminal is chosen is the terminal script's own table; here $TERMINAL reaches the choice,
// the line goes through the script file when one could be written (removed again when the
// terminal did not start) and each way of failing carries its code.
TEST(QtEffectsTest, TerminalFollowsTheVariableAndFailuresCarryTheirCodes) {
    struct Case {
        std::optional<std::string> terminal;
        std::set<std::string> installed;
        std::optional<std::string> script;
        bool starts;
        std::optional<std::int64_t> error;
        std::vector<std::string> argv;
    };
    const std::string line = "corvane login", script = "/run/user/1/corvane-terminal-1.sh";
    const std::vector<Case> cases{
        {std::nullopt, {}, script, true, terminalNotFoundCode, {}},
        {"foot", {"foot", "xterm"}, script, true, std::nullopt, {"foot", "-e", "sh", script}},
        {"foot", {"foot"}, std::nullopt, true, std::nullopt, {"foot", "-e", "sh", "-c", line}},
        {std::nullopt, {"xterm"}, script, false, terminalStartFailedCode, {"xterm", "-e", "sh", script}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> started;
        std::vector<std::string> written;
        QtEffects effects(
            [&](const std::vector<std::string>& argv) {
                started = argv;
                return c.starts;
            },
            [&] { return c.terminal; }, [&](std::string_view program) { return c.installed.count(std::string(program)) > 0; },
            [&](const std::string& text) {
                written.push_back(text);
                return c.script;
            });
        const auto error = effects.openTerminal(line);
        EXPECT_EQ(error ? std::optional<std::int64_t>(error->code) : std::nullopt, c.error);
        EXPECT_EQ(started, c.argv);
        EXPECT_EQ(written, c.argv.empty() ? std::vector<std::string>{} : std::vector{terminalScriptText(line)});
    }
}

// The real script file through a launcher that joins the words after -e and splits them again
// (as x-terminal-emulator wrappers do): a CLI in a folder with a space still gets its arguments,
// the script is the user's alone while it waits and is gone once it ran.
TEST(QtEffectsTest, TheLineSurvivesALauncherThatSplitsItAgain) {
    testing::TempFolder folder;
    const std::string runtime = folder / "runtime", cli = folder / "my tools/corvane", launcher = folder / "launcher";
    std::filesystem::create_directories(std::filesystem::path(cli).parent_path());
    std::filesystem::create_directory(runtime);
    std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
    std::ofstream(cli) << "#!/bin/sh\nprintf '%s|' \"$@\" > \"$(dirname \"$0\")/../ran\"\n";
    std::ofstream(launcher) << "#!/bin/sh\nshift\nls -l \"$2\" > \"$(dirname \"$0\")/mode\"\nexec $*\n";
    for (const auto& program : {cli, launcher}) std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    QtEffects effects({}, [&] { return launcher; }, [](std::string_view) { return false; });
    EXPECT_EQ(effects.openTerminal(terminalCommand(cli, {"login", "--as", "a b"})), std::nullopt);
    unsetenv("XDG_RUNTIME_DIR");
    ASSERT_TRUE(QTest::qWaitFor([&] { return std::filesystem::exists(folder / "ran"); }, 10000));
    EXPECT_EQ(folder.read("ran"), "login|--as|a b|");
    EXPECT_EQ(folder.read("mode").substr(0, 10), "-rwx------");
    EXPECT_TRUE(std::filesystem::is_empty(runtime));
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
