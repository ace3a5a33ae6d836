#pragma once

#include <memory>
#include <string>

#include "seams/DirectoryWatcher.h"
#include "seams/MainLoop.h"

namespace corvane {

// Folder watches on kqueue (macOS and the BSDs): an EVFILT_VNODE filter on the folder's
// descriptor, opened with O_EVTONLY where the system has it so that the watch does not keep a
// volume busy. Each watch has a reader thread waiting in kevent() on the folder and on a stop
// pipe; events reach the main thread through `MainLoop::post`, at most one delivery pending per
// watch. Watched: entries created, deleted or renamed (the folder is written), its attributes,
// and the folder itself deleted, renamed or revoked.
class KqueueDirectoryWatcher : public DirectoryWatcher {
public:
    // `loop` must outlive every watch.
    explicit KqueueDirectoryWatcher(MainLoop& loop) : loop_(loop) {}

    std::unique_ptr<DirectoryWatch> watch(const std::string& path, Job onEvent) override;

private:
    MainLoop& loop_;
};

}  // namespace corvane
