#include "KqueueDirectoryWatcher.h"
#include "SystemDirectoryWatcher.h"

#include <atomic>
#include <cerrno>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/event.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

#include "HostPlatform.h"

namespace corvane {

namespace {

#ifndef O_EVTONLY
constexpr int O_EVTONLY = O_RDONLY;  // the BSDs have no event-only open
#endif

constexpr unsigned watchFlags = NOTE_WRITE | NOTE_EXTEND | NOTE_ATTRIB | NOTE_LINK | NOTE_DELETE | NOTE_RENAME |
                                NOTE_REVOKE;

// What the reader thread and the main thread share for one watch.
struct WatchState {
    std::shared_ptr<Job> onEvent;
    bool alive = true;  // main thread only
    std::atomic<bool> deliveryPending{false};
};

class KqueueWatch : public DirectoryWatch {
public:
    KqueueWatch(MainLoop& loop, int queue, int folder, int stopRead, int stopWrite, Job onEvent)
        : loop_(loop), queue_(queue), folder_(folder), stopRead_(stopRead), stopWrite_(stopWrite),
          state_(std::make_shared<WatchState>()) {
        state_->onEvent = std::make_shared<Job>(std::move(onEvent));
        reader_ = std::thread([this] { readEvents(); });
    }

    ~KqueueWatch() override {
        state_->alive = false;  // a delivery already posted finds the watch gone
        const char stop = 1;
        while (::write(stopWrite_, &stop, 1) < 0 && errno == EINTR) {
        }
        reader_.join();
        ::close(queue_);
        ::close(folder_);
        ::close(stopRead_);
        ::close(stopWrite_);
    }

private:
    void readEvents() {
        struct kevent events[8];
        for (;;) {
            const int count = ::kevent(queue_, nullptr, 0, events, 8, nullptr);
            if (count < 0) {
                if (errno == EINTR) continue;
                return;
            }
            bool any = false;
            for (int i = 0; i < count; ++i) {
                if (events[i].filter == EVFILT_READ) return;  // the stop pipe
                if (events[i].filter == EVFILT_VNODE) any = true;
            }
            if (any) deliver();
        }
    }

    void deliver() {
        if (state_->deliveryPending.exchange(true)) return;
        loop_.post([state = state_] {
            state->deliveryPending.store(false);
            if (!state->alive) return;
            auto job = state->onEvent;  // survives the handler stopping this watch
            if (*job) (*job)();
        });
    }

    MainLoop& loop_;
    const int queue_;
    const int folder_;
    const int stopRead_;
    const int stopWrite_;
    std::shared_ptr<WatchState> state_;
    std::thread reader_;
};

}  // namespace

std::unique_ptr<DirectoryWatch> KqueueDirectoryWatcher::watch(const std::string& path, Job onEvent) {
    const int folder = ::open(path.c_str(), O_EVTONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return nullptr;
    const int queue = ::kqueue();
    int stop[2];
    if (queue < 0 || !openPipe(stop, false)) {
        if (queue >= 0) ::close(queue);
        ::close(folder);
        return nullptr;
    }
    ::fcntl(queue, F_SETFD, FD_CLOEXEC);
    struct kevent changes[2];
    EV_SET(&changes[0], folder, EVFILT_VNODE, EV_ADD | EV_CLEAR, watchFlags, 0, nullptr);
    EV_SET(&changes[1], stop[0], EVFILT_READ, EV_ADD, 0, 0, nullptr);
    if (::kevent(queue, changes, 2, nullptr, 0, nullptr) < 0) {
        for (int fd : {queue, folder, stop[0], stop[1]}) ::close(fd);
        return nullptr;
    }
    return std::make_unique<KqueueWatch>(loop_, queue, folder, stop[0], stop[1], std::move(onEvent));
}

std::unique_ptr<DirectoryWatcher> makeSystemDirectoryWatcher(MainLoop& loop) {
    return std::make_unique<KqueueDirectoryWatcher>(loop);
}

}  // namespace corvane
