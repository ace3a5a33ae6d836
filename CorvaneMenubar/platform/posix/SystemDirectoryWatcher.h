#pragma once

#include <memory>

#include "seams/DirectoryWatcher.h"
#include "seams/MainLoop.h"

namespace corvane {

// The headless shell's folder watcher for this system: inotify on Linux
// (InotifyDirectoryWatcher), kqueue on macOS (KqueueDirectoryWatcher); CMake compiles one.
// `loop` must outlive the watcher and every watch.
std::unique_ptr<DirectoryWatcher> makeSystemDirectoryWatcher(MainLoop& loop);

}  // namespace corvane
