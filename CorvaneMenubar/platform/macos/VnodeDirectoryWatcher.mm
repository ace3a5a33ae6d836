#import "VnodeDirectoryWatcher.h"

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

namespace corvane::mac {
namespace {

// How long a watch whose folder went away waits before it tries to open the path again.
constexpr double reopenIntervalSeconds = 1.0;

// One watched path. Everything here runs on the main queue.
struct WatchState {
    std::string path;
    Job onEvent;
    bool alive = true;
    dispatch_source_t source = nil;
};

void rearm(const std::shared_ptr<WatchState>& state);

// Opens the folder and starts a vnode source on it; false when the folder cannot be opened.
bool arm(const std::shared_ptr<WatchState>& state) {
    const int fd = ::open(state->path.c_str(), O_EVTONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const uintptr_t mask = DISPATCH_VNODE_WRITE | DISPATCH_VNODE_EXTEND | DISPATCH_VNODE_LINK | DISPATCH_VNODE_RENAME |
                           DISPATCH_VNODE_DELETE | DISPATCH_VNODE_REVOKE;
    dispatch_source_t source =
        dispatch_source_create(DISPATCH_SOURCE_TYPE_VNODE, static_cast<uintptr_t>(fd), mask, dispatch_get_main_queue());
    if (!source) {
        ::close(fd);
        return false;
    }
    std::weak_ptr<WatchState> weak = state;
    // The source owns its handler: the handler must not own the source.
    __unsafe_unretained dispatch_source_t unretained = source;
    dispatch_source_set_event_handler(source, ^{
        auto live = weak.lock();
        if (!live || !live->alive) return;
        const uintptr_t flags = dispatch_source_get_data(unretained);
        if (live->onEvent) live->onEvent();
        // The descriptor follows the folder it was opened on: once that folder is deleted, renamed
        // away or its volume unmounted, nothing at the path would be reported again. Watch the path
        // afresh (the CLI may have replaced the folder, or will recreate it).
        const uintptr_t gone = DISPATCH_VNODE_DELETE | DISPATCH_VNODE_RENAME | DISPATCH_VNODE_REVOKE;
        if ((flags & gone) != 0 && live->source == unretained) {
            dispatch_source_cancel(unretained);
            live->source = nil;
            rearm(live);
        }
    });
    dispatch_source_set_cancel_handler(source, ^{
        ::close(fd);
    });
    state->source = source;
    dispatch_resume(source);
    return true;
}

// Arms the watch again, or tries again later while the path cannot be opened; the change that a
// recreated folder brings is reported once it is watched.
void rearm(const std::shared_ptr<WatchState>& state) {
    if (arm(state)) {
        if (state->onEvent) state->onEvent();
        return;
    }
    std::weak_ptr<WatchState> weak = state;
    const auto delay = static_cast<std::int64_t>(reopenIntervalSeconds * static_cast<double>(NSEC_PER_SEC));
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, delay), dispatch_get_main_queue(), ^{
        if (auto live = weak.lock(); live && live->alive) rearm(live);
    });
}

class VnodeWatch final : public DirectoryWatch {
public:
    explicit VnodeWatch(std::shared_ptr<WatchState> state) : state_(std::move(state)) {}
    // The handlers and this run on the main queue, so clearing the flag stops even an event that
    // is already queued, and a pending retry; the cancel handler closes the descriptor.
    ~VnodeWatch() override {
        state_->alive = false;
        if (state_->source) dispatch_source_cancel(state_->source);
        state_->source = nil;
    }

private:
    std::shared_ptr<WatchState> state_;
};

}  // namespace

std::unique_ptr<DirectoryWatch> VnodeDirectoryWatcher::watch(const std::string& path, Job onEvent) {
    auto state = std::make_shared<WatchState>();
    state->path = path;
    state->onEvent = std::move(onEvent);
    if (!arm(state)) return nullptr;
    return std::make_unique<VnodeWatch>(std::move(state));
}

}  // namespace corvane::mac
