#include "TerminalScript.h"

#include "Patterns.h"

namespace corvane {

std::string shellQuoted(std::string_view text) {
    const auto isPlain = [](char c) {
        return patterns::isAlnum(c) || c == '-' || c == '_' || c == '.' || c == '/' || c == '=' || c == ':';
    };
    bool plain = !text.empty();
    for (char c : text) plain = plain && isPlain(c);
    if (plain) return std::string(text);
    std::string out = "'";
    for (char c : text) {
        if (c == '\'') out += "'\\''";
        else out += c;
    }
    out += '\'';
    return out;
}

std::string terminalCommand(std::string_view cliPath, const std::vector<std::string>& arguments) {
    std::string out = shellQuoted(cliPath);
    for (const auto& argument : arguments) {
        out += ' ';
        out += shellQuoted(argument);
    }
    return out;
}

std::string appleScriptLiteral(std::string_view text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '\\') out += "\\\\";
        else if (c == '"') out += "\\\"";
        else out += c;
    }
    out += '"';
    return out;
}

std::string appleScriptOpeningTerminal(std::string_view command) {
    return "tell application \"Terminal\"\n    activate\n    do script " + appleScriptLiteral(command) + "\nend tell";
}

std::string appleScriptSelectingTerminalTab(std::string_view tty) {
    return "tell application \"Terminal\"\n"
           "    repeat with w in windows\n"
           "        repeat with t in tabs of w\n"
           "            if tty of t is " +
           appleScriptLiteral(tty) +
           " then\n"
           "                set selected tab of w to t\n"
           "                set frontmost of w to true\n"
           "                activate\n"
           "                return true\n"
           "            end if\n"
           "        end repeat\n"
           "    end repeat\n"
           "    return false\n"
           "end tell";
}

std::string terminalFailureGuidance(std::int64_t code) {
    switch (code) {
    case -1743:
        return "Terminal control was denied. You can allow Corvane in System Settings > Privacy & Security > "
               "Automation.";
    case -1712:
        return "Terminal did not respond in time. Open Terminal and retry.";
    case -600:
    case -10814:
        return "Terminal could not be found or started. Open Terminal yourself and retry.";
    default:
        return "Terminal could not be controlled (Apple Events code " + std::to_string(code) +
               "). Retry and use Copy Diagnostics if it persists.";
    }
}

namespace {

// The words that start the terminal, before the command it runs.
std::optional<std::vector<std::string>> terminalPrefix(const std::optional<std::string>& terminalVariable,
                                                       const std::function<bool(std::string_view program)>& isOnPath) {
    if (terminalVariable) {
        std::vector<std::string> words;
        std::string word;
        for (char c : *terminalVariable) {
            if (c == ' ' || c == '\t') {
                if (!word.empty()) words.push_back(std::move(word));
                word.clear();
            } else {
                word += c;
            }
        }
        if (!word.empty()) words.push_back(std::move(word));
        if (!words.empty() && (words.front().front() == '/' || isOnPath(words.front()))) {
            words.push_back("-e");
            return words;
        }
    }

    struct Candidate {
        const char* program;
        std::vector<std::string> prefix;
    };
    const Candidate candidates[] = {
        {"x-terminal-emulator", {"x-terminal-emulator", "-e"}},
        {"gnome-terminal", {"gnome-terminal", "--"}},
        {"konsole", {"konsole", "-e"}},
        {"xfce4-terminal", {"xfce4-terminal", "-x"}},
        {"kitty", {"kitty"}},
        {"alacritty", {"alacritty", "-e"}},
        {"wezterm", {"wezterm", "start", "--"}},
        {"foot", {"foot"}},
        {"xterm", {"xterm", "-e"}},
    };
    for (const auto& candidate : candidates)
        if (isOnPath(candidate.program)) return candidate.prefix;
    return std::nullopt;
}

std::optional<std::vector<std::string>> withCommand(std::optional<std::vector<std::string>> prefix,
                                                    std::initializer_list<std::string_view> command) {
    if (prefix) prefix->insert(prefix->end(), command.begin(), command.end());
    return prefix;
}

}  // namespace

std::optional<std::vector<std::string>> linuxTerminalInvocation(
    const std::optional<std::string>& terminalVariable, const std::function<bool(std::string_view program)>& isOnPath,
    std::string_view commandLine) {
    return withCommand(terminalPrefix(terminalVariable, isOnPath), {"sh", "-c", commandLine});
}

std::optional<std::vector<std::string>> linuxTerminalScriptInvocation(
    const std::optional<std::string>& terminalVariable, const std::function<bool(std::string_view program)>& isOnPath,
    std::string_view scriptPath) {
    return withCommand(terminalPrefix(terminalVariable, isOnPath), {"sh", scriptPath});
}

std::string terminalScriptText(std::string_view commandLine) {
    return "#!/bin/sh\nrm -f -- \"$0\"\n" + std::string(commandLine) + "\n";
}

}  // namespace corvane
