#pragma once

// Plain facts about a path on this machine: its kind, its folder, its modification time. Each
// answers "no" or nothing when the path cannot be examined, and none of them throws.

#include <optional>
#include <string>

#include "Instant.h"

namespace corvane {

// A regular file (links followed) that this process may execute.
bool isExecutableFile(const std::string& path);

// A folder (links followed).
bool isDirectory(const std::string& path);

// The folder part of `path`: "." for a bare name, "/" for a file at the root.
std::string parentFolder(const std::string& path);

// The modification time of a file, or nothing.
std::optional<Instant> modifiedTime(const std::string& path);

// The CLI's file stamp: the symlink-resolved path, "@", and its modification time in seconds
// since 1970 as a decimal number. Absent for an empty path or one without readable attributes.
// Two stamps differ when the executable was replaced or moved.
std::optional<std::string> cliFileStamp(const std::string& path);

}  // namespace corvane
