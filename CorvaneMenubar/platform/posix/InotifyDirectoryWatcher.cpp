#include "InotifyDirectoryWatcher.h"
#include "SystemDirectoryWatcher.h"

#include <atomic>
#include <cerrno>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "HostPlatform.h"

namespace corvane {

namespace {

constexpr std::uint32_t watchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE |
                                    IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

// What the reader thread and the main thread share for one watch.
struct WatchState {
    std::shared_ptr<Job> onEvent;
    bool alive = true;                       // main thread only
    std::atomic<bool> deliveryPending{false};
};

class InotifyWatch : public DirectoryWatch {
public:
    InotifyWatch(MainLoop& loop, int inotifyFd, int stopRead, int stopWrite, Job onEvent)
        : loop_(loop), inotifyFd_(inotifyFd), stopRead_(stopRead), stopWrite_(stopWrite),
          state_(std::make_shared<WatchState>()) {
        state_->onEvent = std::make_shared<Job>(std::move(onEvent));
        reader_ = std::thread([this] { readEvents(); });
    }

    ~InotifyWatch() override {
        state_->alive = false;  // a delivery already posted finds the watch gone
        const char stop = 1;
        while (::write(stopWrite_, &stop, 1) < 0 && errno == EINTR) {
        }
        reader_.join();
        ::close(inotifyFd_);
        ::close(stopRead_);
        ::close(stopWrite_);
    }

private:
    void readEvents() {
        alignas(inotify_event) char buffer[4096];
        pollfd fds[2] = {{inotifyFd_, POLLIN, 0}, {stopRead_, POLLIN, 0}};
        for (;;) {
            fds[0].revents = fds[1].revents = 0;
            const int ready = ::poll(fds, 2, -1);
            if (ready < 0) {
                if (errno == EINTR) continue;
                return;
            }
            if (fds[1].revents != 0) return;
            if (fds[0].revents & (POLLERR | POLLHUP | POLLNVAL)) return;
            if (!(fds[0].revents & POLLIN)) continue;
            bool any = false;
            for (;;) {
                const ssize_t n = ::read(inotifyFd_, buffer, sizeof buffer);
                if (n > 0) {
                    any = true;
                    continue;
                }
                if (n < 0 && errno == EINTR) continue;
                break;  // EAGAIN: drained
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
    const int inotifyFd_;
    const int stopRead_;
    const int stopWrite_;
    std::shared_ptr<WatchState> state_;
    std::thread reader_;
};

}  // namespace

std::unique_ptr<DirectoryWatch> InotifyDirectoryWatcher::watch(const std::string& path, Job onEvent) {
    const int fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd < 0) return nullptr;
    if (::inotify_add_watch(fd, path.c_str(), watchMask) < 0) {
        ::close(fd);
        return nullptr;
    }
    int stop[2];
    if (!openPipe(stop, false)) {
        ::close(fd);
        return nullptr;
    }
    return std::make_unique<InotifyWatch>(loop_, fd, stop[0], stop[1], std::move(onEvent));
}

std::unique_ptr<DirectoryWatcher> makeSystemDirectoryWatcher(MainLoop& loop) {
    return std::make_unique<InotifyDirectoryWatcher>(loop);
}

}  // namespace corvane
