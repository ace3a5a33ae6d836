#pragma once

#include <memory>
#include <string>

#include "seams/DirectoryWatcher.h"
#include "seams/MainLoop.h"

namespace corvane {

// Folder watches on Linux inotify. All watches of one watcher share a single inotify instance and
// one reader thread (a user has only 128 instances, shared with every program they run; each
// watch costs one kernel watch, and watches of the same folder share it). The reader waits with
// poll() on the instance and on a stop pipe; events reach the main thread through
// `MainLoop::post`, at most one delivery pending per watch (a burst read while a delivery waits
// folds into it). Watched: entries created, deleted or moved, files written or their attributes
// changed, and the folder itself deleted or moved. A queue overflow reaches every watch.
class InotifyDirectoryWatcher : public DirectoryWatcher {
public:
    // `loop` must outlive every watch.
    explicit InotifyDirectoryWatcher(MainLoop& loop);
    ~InotifyDirectoryWatcher() override;

    std::unique_ptr<DirectoryWatch> watch(const std::string& path, Job onEvent) override;

    class Instance;  // the shared inotify instance, kept alive by the watcher and every watch

private:
    MainLoop& loop_;
    std::shared_ptr<Instance> instance_;  // made by the first watch
};

}  // namespace corvane
