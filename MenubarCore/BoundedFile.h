#pragma once

// Reading and writing the files that other programs name or share with the app (the CLI's
// snapshot and request files, the installer's records). Such a path may hold anything: a folder,
// a FIFO nobody writes to, a device that never ends, a file of gigabytes. These calls never
// block on the file's type, never read more than their bound and never throw.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

// The whole content of the regular file at `path` (links followed), or nothing when the path is
// missing, is not a regular file, holds more than `limit` bytes, or a read fails. The file is
// opened non-blocking and close-on-exec, so a FIFO or device answers at once.
std::optional<std::string> readBoundedFile(const std::string& path, std::size_t limit);

// Puts `bytes` at `path` (mode `mode`) through a new temporary file beside it and a rename, so no
// existing file is ever truncated or written through. The folder must belong to this user and not
// be writable by everyone. Something already at `path` is replaced only when it is a regular
// file of this user of at most `limit` bytes whose content `mayReplace` accepts: a file the app
// wrote there before, never one it did not create (a link, a FIFO, the user's ~/.bashrc named by
// a hostile CLI). Never blocks; false on any refusal or failure, leaving the place as it was.
bool replaceOwnedFile(const std::string& path, std::string_view bytes, unsigned mode, std::size_t limit,
                      const std::function<bool(std::string_view current)>& mayReplace);

// Creates a new file "<folder>/<prefix><random><suffix>" holding `bytes` with mode `mode`, for
// the app's own use: the folder must be one `openTrustedFolder` trusts for this user alone, and
// the name is new (O_CREAT|O_EXCL|O_NOFOLLOW), so nothing planted there is written through.
// Its path, or nothing on any failure (leaving no file behind).
std::optional<std::string> createPrivateFile(const std::string& folder, std::string_view prefix,
                                             std::string_view suffix, std::string_view bytes, unsigned mode);

}  // namespace corvane
