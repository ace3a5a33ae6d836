#pragma once

#include <memory>
#include <string>

#include "seams/DirectoryWatcher.h"
#include "seams/MainLoop.h"

namespace corvane {

// Folder watches on Linux inotify. Each watch has its own descriptor and a reader thread that
// waits with poll() on it and on a stop pipe; events reach the main thread through
// `MainLoop::post`, at most one delivery pending per watch (a burst read while a delivery waits
// folds into it). Watched: entries created, deleted or moved, files written or their attributes
// changed, and the folder itself deleted or moved.
class InotifyDirectoryWatcher : public DirectoryWatcher {
public:
    // `loop` must outlive every watch.
    explicit InotifyDirectoryWatcher(MainLoop& loop) : loop_(loop) {}

    std::unique_ptr<DirectoryWatch> watch(const std::string& path, Job onEvent) override;

private:
    MainLoop& loop_;
};

}  // namespace corvane
