#pragma once

// Reading and writing the files that other programs name or share with the app (the CLI's
// snapshot and request files, the installer's records). Such a path may hold anything: a folder,
// a FIFO nobody writes to, a device that never ends, a file of gigabytes. These calls never
// block on the file's type, never read more than their bound and never throw.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

// The whole content of the regular file at `path` (links followed), or nothing when the path is
// missing, is not a regular file, holds more than `limit` bytes, or a read fails. The file is
// opened non-blocking and close-on-exec, so a FIFO or device answers at once.
std::optional<std::string> readBoundedFile(const std::string& path, std::size_t limit);

// Replaces the content of the regular file at `path` with `bytes`, creating it with `mode` when
// missing. A link at `path` is not followed and anything but a regular file is left alone (the
// open is non-blocking, so a FIFO cannot hold the caller). False on any failure.
bool replaceRegularFile(const std::string& path, std::string_view bytes, unsigned mode);

}  // namespace corvane
