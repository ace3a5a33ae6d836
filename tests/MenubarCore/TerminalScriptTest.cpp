#include "TerminalScript.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace corvane {
namespace {

TEST(TerminalScript, ShellQuotedLeavesPlainWordsAndQuotesTheRest) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"/usr/local/bin/corvane", "/usr/local/bin/corvane"}, {"--env=staging:1.2_3", "--env=staging:1.2_3"},
        {"", "''"}, {"it's", "'it'\\''s'"}, {"$HOME", "'$HOME'"}, {"caf\xc3\xa9", "'caf\xc3\xa9'"}, {"~", "'~'"},
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(shellQuoted(text), expected) << text;
    EXPECT_EQ(terminalCommand("/Users/me/My Tools/corvane", {"login", "", "--name=it's"}),
              "'/Users/me/My Tools/corvane' login '' '--name=it'\\''s'");
}

// What a shell makes of a command line: the words it passes to the program.
std::vector<std::string> wordsFromShell(const std::string& commandLine) {
    FILE* pipe = ::popen(("/bin/sh -c " + shellQuoted("printf '%s\\0' " + commandLine)).c_str(), "r");
    if (!pipe) return {};
    std::string out;
    char buffer[256];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    ::pclose(pipe);
    std::vector<std::string> words;
    std::istringstream in(out);
    for (std::string word; std::getline(in, word, '\0');) words.push_back(word);
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
    ASSERT_TRUE(literal.front() == '"' && literal.back() == '"') << literal;
    const std::string received = readAppleScriptLiteral(literal);
    EXPECT_EQ(received, command);
    auto expected = arguments;
    expected.insert(expected.begin(), "/bin/echo");
    EXPECT_EQ(wordsFromShell(received), expected);
}

TEST(TerminalScript, ScriptTexts) {
    EXPECT_NE(appleScriptOpeningTerminal("say \"hi\"").find(R"(do script "say \"hi\"")"), std::string::npos);
    // A tty name from the CLI is a script literal, never script text.
    EXPECT_NE(appleScriptSelectingTerminalTab("/dev/a\" & quit").find(R"(if tty of t is "/dev/a\" & quit" then)"),
              std::string::npos);
}

TEST(TerminalScript, FailureGuidanceByCode) {
    const std::string notFound = "Terminal could not be found or started. Open Terminal yourself and retry.";
    const std::vector<std::pair<std::int64_t, std::string>> rows = {
        {-1743, "Terminal control was denied. You can allow Corvane in System Settings > Privacy & Security > "
                "Automation."},
        {-1712, "Terminal did not respond in time. Open Terminal and retry."},
        {-10814, notFound},
        {-2740, "Terminal could not be controlled (Apple Events code -2740). Retry and use Copy Diagnostics if it "
                "persists."},
    };
    for (const auto& [code, text] : rows) EXPECT_EQ(terminalFailureGuidance(code), text) << code;
}

TEST(TerminalScript, LinuxTerminalChoice) {
    using Words = std::vector<std::string>;
    // $TERMINAL first (with its own arguments, an absolute path), else the first installed of the
    // known terminals in order; each is followed by "sh", "-c", LINE.
    const std::vector<std::tuple<std::optional<std::string>, std::set<std::string>, std::optional<Words>>> rows = {
        {"foot", {"foot", "xterm", "x-terminal-emulator"}, Words{"foot", "-e"}},
        {"  kitty  --single-instance ", {"kitty"}, Words{"kitty", "--single-instance", "-e"}},
        {"/opt/term/bin/st", {}, Words{"/opt/term/bin/st", "-e"}}, {"nosuchterm", {"xterm"}, Words{"xterm", "-e"}},
        {"", {"konsole"}, Words{"konsole", "-e"}}, {std::nullopt, {}, std::nullopt},
        {std::nullopt, {"x-terminal-emulator", "gnome-terminal"}, Words{"x-terminal-emulator", "-e"}},
        {std::nullopt, {"gnome-terminal", "xterm"}, Words{"gnome-terminal", "--"}},
        {std::nullopt, {"xfce4-terminal", "kitty"}, Words{"xfce4-terminal", "-x"}}, {std::nullopt, {"kitty", "foot"}, Words{"kitty"}},
        {std::nullopt, {"alacritty", "wezterm"}, Words{"alacritty", "-e"}},
        {std::nullopt, {"wezterm", "foot"}, Words{"wezterm", "start", "--"}}, {std::nullopt, {"foot", "xterm"}, Words{"foot"}},
    };
    const std::string line = "'/usr/bin/corvane' login";
    for (auto [terminal, installed, expected] : rows) {
        if (expected) expected->insert(expected->end(), {"sh", "-c", line});
        const auto isInstalled = [&names = installed](std::string_view program) { return names.contains(std::string(program)); };
        EXPECT_EQ(linuxTerminalInvocation(terminal, isInstalled, line), expected)
            << terminal.value_or("(unset)") << " " << ::testing::PrintToString(installed);
    }
}

}  // namespace
}  // namespace corvane
