#pragma once

// Rules for what comes from outside the app: the CLI's answer, the files it names, the folders
// other local users can reach and the terminal the headless shell draws on. Each rule is one
// place, so that every surface (decoder, shells, log) applies the same one.

#include <cstddef>
#include <string>
#include <string_view>

namespace corvane {

// `text` made safe to print on a terminal: every C0 control (tab and line ends included), DEL,
// every C1 control (U+0080 to U+009F) and every invalid UTF-8 sequence becomes U+FFFD, so no
// text from outside can start an escape sequence (set the clipboard, rename the window, clear
// the screen). Other text is kept byte for byte.
std::string terminalSafeText(std::string_view text);

// JSON text with DEL and the C1 controls (U+0080 to U+009F) inside its strings written as \u
// escapes: the same JSON values, but nothing a terminal showing the lines would act on (JSON
// itself escapes only the C0 controls).
std::string escapeJsonControls(std::string_view json);

// True when `text` holds a NUL byte (which would silently shorten it at the system's edge).
constexpr bool holdsNul(std::string_view text) { return text.find('\0') != std::string_view::npos; }

// `text` as the app puts it on the clipboard: every control character but tab, line feed and
// carriage return (ESC, DEL and the C1 controls included) becomes U+FFFD. Copied text is often
// pasted into a terminal, where an escape sequence in it (the end of a bracketed paste,
// "ESC [201~") would make the rest run as if typed.
std::string clipboardSafeText(std::string_view text);

// URLs longer than this are not opened: no real address comes near it.
inline constexpr std::size_t urlLengthLimit = 8192;
// Paths longer than this are not opened or watched (the system's own PATH_MAX).
inline constexpr std::size_t pathLengthLimit = 4096;

// An absolute path of at most `pathLengthLimit` bytes without a NUL: the least a path named by
// the CLI (a snapshot or request file, a folder to watch, a log) must be.
constexpr bool isPlainAbsolutePath(std::string_view path) {
    return !path.empty() && path.front() == '/' && path.size() <= pathLengthLimit && !holdsNul(path);
}

// A URL the opener may be handed: http or https, or the deep-link scheme of a harness app the
// menu shows sessions of (claude, codex, cursor, chatgpt), scheme compared without case; at most
// `urlLengthLimit` bytes; no NUL, no control character, no space. Everything else (javascript:,
// data:, file:, other apps' handlers, option-like text) is refused.
bool isOpenableUrl(std::string_view url);

// A file or folder path the opener may be handed: absolute, at most `pathLengthLimit` bytes, no
// NUL or control character, and not named like a launcher (".desktop", ".app", ".command",
// ".terminal", ".tool", any case), which an opener would run rather than show.
bool isOpenablePath(std::string_view path);

// True when the path names an executable regular file (links followed): opening one with the
// desktop's opener may run it, so the app does not.
bool isExecutableRegularFile(const std::string& path);

// A terminal device name as a focus request names it: "/dev/ttys003", "/dev/pts/4" or the same
// without "/dev/"; letters, digits, ".", "_", "-" and "/", no ".." piece, at most 64 bytes.
bool isTtyName(std::string_view tty);

// Opens the folder at `path` as a descriptor (close-on-exec) when it can be trusted with the
// app's own files: a real folder (not a link), owned by this user, not writable by group or
// others; with `ownerOnly` nobody else may even read or enter it (mode 0700). With `create` a
// missing folder is made with mode 0700 (its parents too), and with `ownerOnly` a folder of this
// user that others may only read is tightened to 0700 rather than refused. Returns the descriptor, or -1 with
// errno set (EPERM for a folder another user could tamper with, ELOOP for a link, ENOTDIR).
int openTrustedFolder(const std::string& path, bool create, bool ownerOnly);

// The folder for the app's private runtime files (the single-instance lock and socket, the
// scripts it hands a terminal): $XDG_RUNTIME_DIR when it is this user's own folder with mode
// 0700, else "corvane-<uid>" in $TMPDIR (when absolute) or /tmp, made or tightened so; empty
// when neither can be trusted, for a shared temporary folder lets anyone create that name first.
std::string privateRuntimeFolder();

}  // namespace corvane
