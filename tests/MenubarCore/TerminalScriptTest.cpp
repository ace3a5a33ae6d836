#include "TerminalScript.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

namespace corvane {
namespace {

TEST(TerminalScript, ShellQuotedLeavesPlainWordsAndQuotesTheRest) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"/usr/local/bin/corvane", "/usr/local/bin/corvane"},
        {"--env=staging:1.2_3", "--env=staging:1.2_3"},
        {"", "''"},
        {"two words", "'two words'"},
        {"it's", "'it'\\''s'"},
        {"'", "''\\'''"},
        {"$HOME", "'$HOME'"},
        {"a\"b\\c", "'a\"b\\c'"},
        {"caf\xc3\xa9", "'caf\xc3\xa9'"},  // non-ASCII letters are quoted
        {"~", "'~'"},
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(shellQuoted(text), expected) << text;
    EXPECT_EQ(terminalCommand("/Users/me/My Tools/corvane", {"login", "", "--name=it's"}),
              "'/Users/me/My Tools/corvane' login '' '--name=it'\\''s'");
    EXPECT_EQ(terminalCommand("corvane", {}), "corvane");
}

// What a shell makes of a command line: the words it passes to the program.
std::vector<std::string> wordsFromShell(const std::string& commandLine) {
    const std::string script = "printf '%s\\0' " + commandLine;
    std::string quotedScript = shellQuoted(script);
    FILE* pipe = ::popen(("/bin/sh -c " + quotedScript).c_str(), "r");
    if (!pipe) return {};
    std::string out;
    char buffer[256];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    ::pclose(pipe);
    std::vector<std::string> words;
    size_t start = 0;
    for (size_t i = 0; i < out.size(); ++i)
        if (out[i] == '\0') {
            words.push_back(out.substr(start, i - start));
            start = i + 1;
        }
    return words;
}

// Reads an AppleScript string literal back (the inverse of the escaping AppleScript applies).
std::string readAppleScriptLiteral(const std::string& literal) {
    std::string out;
    for (size_t i = 1; i + 1 < literal.size(); ++i) {
        if (literal[i] == '\\') ++i;
        out += literal[i];
    }
    return out;
}

TEST(TerminalScript, ArgumentsReachTheShellUnchangedThroughTheScriptLiteral) {
    const std::vector<std::string> arguments = {"plain", "", "two words", "it's", "say \"hi\"", "back\\slash",
                                                "$(whoami) `id` ; rm -rf x", "tab\there", "*", "new\nline"};
    const std::string command = terminalCommand("/bin/echo", arguments);
    const std::string literal = appleScriptLiteral(command);
    ASSERT_EQ(literal.front(), '"');
    ASSERT_EQ(literal.back(), '"');
    const std::string received = readAppleScriptLiteral(literal);
    EXPECT_EQ(received, command);
    auto words = wordsFromShell(received);
    ASSERT_FALSE(words.empty());
    EXPECT_EQ(words.front(), "/bin/echo");
    words.erase(words.begin());
    EXPECT_EQ(words, arguments);
}

TEST(TerminalScript, ScriptTexts) {
    EXPECT_EQ(appleScriptLiteral("a\\\"b"), "\"a\\\\\\\"b\"");
    EXPECT_EQ(appleScriptOpeningTerminal("'/a b/corvane' login"),
              "tell application \"Terminal\"\n"
              "    activate\n"
              "    do script \"'/a b/corvane' login\"\n"
              "end tell");
    EXPECT_EQ(appleScriptSelectingTerminalTab("/dev/ttys003"),
              "tell application \"Terminal\"\n"
              "    repeat with w in windows\n"
              "        repeat with t in tabs of w\n"
              "            if tty of t is \"/dev/ttys003\" then\n"
              "                set selected tab of w to t\n"
              "                set frontmost of w to true\n"
              "                activate\n"
              "                return true\n"
              "            end if\n"
              "        end repeat\n"
              "    end repeat\n"
              "    return false\n"
              "end tell");
}

TEST(TerminalScript, FailureGuidanceByCode) {
    const std::string notFound = "Terminal could not be found or started. Open Terminal yourself and retry.";
    const std::vector<std::pair<std::int64_t, std::string>> rows = {
        {-1743, "Terminal control was denied. You can allow Corvane in System Settings > Privacy & Security > "
                "Automation."},
        {-1712, "Terminal did not respond in time. Open Terminal and retry."},
        {-600, notFound},
        {-10814, notFound},
        {-1, "Terminal could not be controlled (Apple Events code -1). Retry and use Copy Diagnostics if it persists."},
        {-2740, "Terminal could not be controlled (Apple Events code -2740). Retry and use Copy Diagnostics if it "
                "persists."},
    };
    for (const auto& [code, text] : rows) EXPECT_EQ(terminalFailureGuidance(code), text) << code;
}

TEST(TerminalScript, LinuxTerminalChoice) {
    struct Row {
        const char* name;
        std::optional<std::string> terminal;
        std::set<std::string> installed;
        std::optional<std::vector<std::string>> expectedPrefix;  // before "sh", "-c", LINE
    };
    const std::vector<Row> rows = {
        {"$TERMINAL first", "foot", {"foot", "xterm", "x-terminal-emulator"}, {{"foot", "-e"}}},
        {"$TERMINAL with its own arguments", "  kitty  --single-instance ", {"kitty"},
         {{"kitty", "--single-instance", "-e"}}},
        {"$TERMINAL absolute path", "/opt/term/bin/st", {}, {{"/opt/term/bin/st", "-e"}}},
        {"$TERMINAL not installed falls through", "nosuchterm", {"xterm"}, {{"xterm", "-e"}}},
        {"empty $TERMINAL falls through", "", {"konsole"}, {{"konsole", "-e"}}},
        {"Debian alternative before desktop terminals", std::nullopt, {"x-terminal-emulator", "gnome-terminal"},
         {{"x-terminal-emulator", "-e"}}},
        {"gnome-terminal", std::nullopt, {"gnome-terminal", "xterm"}, {{"gnome-terminal", "--"}}},
        {"xfce4-terminal", std::nullopt, {"xfce4-terminal", "kitty"}, {{"xfce4-terminal", "-x"}}},
        {"kitty", std::nullopt, {"kitty", "alacritty"}, {{"kitty"}}},
        {"alacritty", std::nullopt, {"alacritty", "wezterm"}, {{"alacritty", "-e"}}},
        {"wezterm", std::nullopt, {"wezterm", "foot"}, {{"wezterm", "start", "--"}}},
        {"foot", std::nullopt, {"foot", "xterm"}, {{"foot"}}},
        {"xterm last", std::nullopt, {"xterm"}, {{"xterm", "-e"}}},
        {"nothing installed", std::nullopt, {}, std::nullopt},
    };
    const std::string line = "'/usr/bin/corvane' login";
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        const auto result = linuxTerminalInvocation(
            r.terminal, [&](std::string_view program) { return r.installed.contains(std::string(program)); }, line);
        if (!r.expectedPrefix) {
            EXPECT_EQ(result, std::nullopt);
            continue;
        }
        auto expected = *r.expectedPrefix;
        expected.insert(expected.end(), {"sh", "-c", line});
        EXPECT_EQ(result, expected);
    }
}

}  // namespace
}  // namespace corvane
