#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

// Texts for running the CLI where the user can see it, and for finding a session's terminal tab.
// Pure text building; running them belongs to the platform shell.

// Terminal's bundle identifier on macOS; a focus request for any other app just activates it.
inline constexpr std::string_view terminalAppBundleIdentifier = "com.apple.Terminal";

// `text` unchanged when it is non-empty and made only of ASCII letters, digits and - _ . / = :;
// otherwise wrapped in single quotes with each inner single quote written '\'' (so the empty text
// becomes '').
std::string shellQuoted(std::string_view text);

// The shell command line that runs the CLI at `cliPath` with `arguments`, each word quoted.
std::string terminalCommand(std::string_view cliPath, const std::vector<std::string>& arguments);

// An AppleScript string literal of `text` (backslashes doubled, double quotes escaped).
std::string appleScriptLiteral(std::string_view text);

// The script that opens a new Terminal window running `command`.
std::string appleScriptOpeningTerminal(std::string_view command);

// The script that selects the Terminal tab whose tty equals `tty` and brings its window to the
// front; its result is true when such a tab was found and false otherwise.
std::string appleScriptSelectingTerminalTab(std::string_view tty);

// What to tell the user when Terminal could not be scripted, by the Apple Events error number.
std::string terminalFailureGuidance(std::int64_t code);

// The argument vector that opens a terminal emulator running `commandLine` (through `sh -c`) on
// Linux, or nothing when no terminal is available. `terminalVariable` is $TERMINAL (empty or
// absent: not set); `isOnPath` says whether a program name can be found on PATH. Tried in order:
//   $TERMINAL            → $TERMINAL -e sh -c LINE   (the common convention; a value with
//                          arguments, like "foot --app-id x", is split on spaces)
//   x-terminal-emulator  → x-terminal-emulator -e sh -c LINE   (Debian's alternatives entry)
//   gnome-terminal       → gnome-terminal -- sh -c LINE
//   konsole              → konsole -e sh -c LINE
//   xfce4-terminal       → xfce4-terminal -x sh -c LINE
//   kitty                → kitty sh -c LINE
//   alacritty            → alacritty -e sh -c LINE
//   wezterm              → wezterm start -- sh -c LINE
//   foot                 → foot sh -c LINE
//   xterm                → xterm -e sh -c LINE
// A $TERMINAL whose program is not on PATH (and is not an absolute path) is skipped.
std::optional<std::vector<std::string>> linuxTerminalInvocation(
    const std::optional<std::string>& terminalVariable, const std::function<bool(std::string_view program)>& isOnPath,
    std::string_view commandLine);

// The same terminal running the script file at `scriptPath` as "sh SCRIPT" instead. Some
// launchers (x-terminal-emulator wrappers, terminals whose -e takes one string) join the words
// after -e and split them again on spaces, which breaks "sh -c LINE" whenever the line has a
// space; a script path of plain characters survives that. Nothing when no terminal is available.
std::optional<std::vector<std::string>> linuxTerminalScriptInvocation(
    const std::optional<std::string>& terminalVariable, const std::function<bool(std::string_view program)>& isOnPath,
    std::string_view scriptPath);

// The text of the script file that runs `commandLine` in a terminal: it removes itself first
// (the shell has it open), then runs the line.
std::string terminalScriptText(std::string_view commandLine);

}  // namespace corvane
