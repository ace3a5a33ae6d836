#pragma once

#include <sys/stat.h>

#include <ctime>

// CMake names the platform's field (cmake/CorvanePlatform.cmake); a build without it is glibc's.
#ifndef CORVANE_STAT_MTIME
#define CORVANE_STAT_MTIME st_mtim
#endif

namespace corvane {

// The modification time of a `stat` record: `st_mtim` on Linux, `st_mtimespec` on macOS.
inline timespec statModificationTime(const struct stat& info) { return info.CORVANE_STAT_MTIME; }

}  // namespace corvane
