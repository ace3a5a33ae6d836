#pragma once

#include <memory>
#include <string>

#include "MainLoop.h"

namespace corvane {

// A live watch on one folder. Destroying it stops the watch: once the destructor has returned
// (on the main thread) no further event is delivered, even one already queued.
class DirectoryWatch {
public:
    virtual ~DirectoryWatch() = default;
};

// Watches folders for writes and reports each raw change on the main thread. No debouncing here:
// `DebouncedWatcher` folds bursts portably, so a shell (and a fake) reports every event it gets.
//
// AppKit: `open(path, O_EVTONLY)` and a `DISPATCH_SOURCE_TYPE_VNODE` source for
// `DISPATCH_VNODE_WRITE` on the main queue whose cancel handler closes the descriptor. Qt/Linux:
// an inotify descriptor (entries created, deleted, moved, files written) behind a
// `QSocketNotifier`.
class DirectoryWatcher {
public:
    virtual ~DirectoryWatcher() = default;

    // Starts watching `path` (called on the main thread). Returns null when the path cannot be
    // opened for watching (missing, not permitted). `onEvent` runs on the main thread for every
    // change notification of the folder (a write, an entry created, removed or renamed), possibly
    // several for one write.
    virtual std::unique_ptr<DirectoryWatch> watch(const std::string& path, Job onEvent) = 0;
};

}  // namespace corvane
