#pragma once

// Finding the user's installed `corvane` executable and the PATH its children run under. The
// search is pure: every file-system and environment access goes through an injected
// `Environment`, so the whole search runs against a fake in tests. Every failure is silent and
// ends in "not found"; the caller shows the install command.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CliInstall.h"

namespace corvane::CliLocator {

using ::corvane::cliInstallCommand;

struct Environment {
    std::string home;  // the user's home folder, without a trailing slash
    // Whole-file read; nothing when the file is missing or unreadable.
    std::function<std::optional<std::string>(const std::string& path)> readFile;
    std::function<bool(const std::string& path)> isExecutableFile;
    // Entry names of a folder ("." and ".." excluded); empty when it cannot be read.
    std::function<std::vector<std::string>(const std::string& path)> listDirectory;
    // CORVANE_CLI_PATH exactly as set (not trimmed); nothing when unset.
    std::optional<std::string> explicitPath;
};

struct Located {
    std::string cliPath;     // absolute path of the CLI to run
    std::string searchPath;  // colon-separated PATH for every child
    bool operator==(const Located&) const = default;
};

// An explicit CORVANE_CLI_PATH decides alone (absolute and executable, else nothing); then the
// installer's record; then the first folder of the search list holding an executable `corvane`.
std::optional<Located> locate(std::string_view variant, const Environment& environment);

// Folders searched for the CLI: the PATH recorded from the user's login shell, the Homebrew and
// local folders, then nvm's node versions newest first. Only absolute folders without ":" are
// kept (a relative entry would depend on the folder the app started in); repeats dropped.
std::vector<std::string> candidateDirectories(const Environment& environment);

// home/.nvm/versions/node/<version>/bin, newest version first (numeric order, not textual).
std::vector<std::string> nvmBinDirectories(const Environment& environment);

// "v20.11.1" → 20, 11, 1; pieces that are not integers count as 0; "v" → empty.
std::vector<std::int64_t> versionSortKey(std::string_view name);

// location/current/<command> from home/.config/corvane/install-<appEnv>.json, when the record is
// well formed and its command stays inside the version folder. Executability is not checked.
std::optional<std::string> recordedProgram(std::string_view appEnv, const Environment& environment);

// True for a safe relative path: not empty, no ":", no leading "/" or "\", no ".." piece.
bool isInsideVersionFolder(std::string_view name);

// The program with a search path of its folder (its parent when none is given), the searched
// folders and the system folders, repeats and anything but absolute folders dropped.
Located located(const std::string& program, const std::optional<std::string>& folder,
                const std::vector<std::string>& directories);

std::string detectedClientsPath(std::string_view home);

// Keeps the first occurrence of each text, in order.
std::vector<std::string> deduplicated(const std::vector<std::string>& texts);

// The installer's records are a few hundred bytes; a larger one is skipped like a missing one.
inline constexpr std::size_t locatorRecordLimit = 1u << 20;
// Names read from one folder listing (nvm's node versions); the rest are not looked at.
inline constexpr std::size_t locatorListingLimit = 4096;

// The real file system and process environment of this user. Records are read with
// `readBoundedFile`: a FIFO, device or folder at a record's path reads as a missing record.
Environment realLocatorEnvironment();

}  // namespace corvane::CliLocator
