#include "InotifyDirectoryWatcher.h"
#include "SystemDirectoryWatcher.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "HostPlatform.h"

namespace corvane {

namespace {
constexpr std::uint32_t watchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE |
                                    IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

}  // namespace

// What the reader thread and the main thread share for one watch.
struct InotifyWatchState {
    std::shared_ptr<Job> onEvent;
    bool alive = true;  // main thread only
    std::atomic<bool> deliveryPending{false};
};
using WatchState = InotifyWatchState;

// The one inotify instance of the watcher, its reader thread, and which watches each kernel
// watch descriptor serves (several watches of one folder share the kernel's descriptor).
class InotifyDirectoryWatcher::Instance {
public:
    Instance(MainLoop& loop, int inotifyFd, int stopRead, int stopWrite)
        : loop_(loop), inotifyFd_(inotifyFd), stopRead_(stopRead), stopWrite_(stopWrite) {
        reader_ = std::thread([this] { readEvents(); });
    }

    ~Instance() {
        const char stop = 1;
        while (::write(stopWrite_, &stop, 1) < 0 && errno == EINTR) {
        }
        reader_.join();
        ::close(inotifyFd_);
        ::close(stopRead_);
        ::close(stopWrite_);
    }

    // The kernel's descriptor for `path`, now also serving `state`; -1 when it cannot be watched.
    int add(const std::string& path, const std::shared_ptr<WatchState>& state) {
        const int wd = ::inotify_add_watch(inotifyFd_, path.c_str(), watchMask);
        if (wd < 0) return -1;
        std::lock_guard lock(mutex_);
        watches_[wd].push_back(state);
        return wd;
    }

    void remove(int wd, const std::shared_ptr<WatchState>& state) {
        std::lock_guard lock(mutex_);
        auto found = watches_.find(wd);
        if (found == watches_.end()) return;
        std::erase(found->second, state);
        if (!found->second.empty()) return;
        watches_.erase(found);
        ::inotify_rm_watch(inotifyFd_, wd);
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
            std::vector<int> changed;
            bool overflowed = false;
            for (;;) {
                const ssize_t n = ::read(inotifyFd_, buffer, sizeof buffer);
                if (n < 0 && errno == EINTR) continue;
                if (n <= 0) break;  // EAGAIN: drained
                for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= n;) {
                    const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                    // A queue overflow names no watch: every watch may have missed a change.
                    if (event->mask & IN_Q_OVERFLOW) overflowed = true;
                    else changed.push_back(event->wd);
                    at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
                }
            }
            deliver(changed, overflowed);
        }
    }

    void deliver(std::vector<int>& changed, bool all) {
        std::sort(changed.begin(), changed.end());
        changed.erase(std::unique(changed.begin(), changed.end()), changed.end());
        std::vector<std::shared_ptr<WatchState>> states;
        {
            std::lock_guard lock(mutex_);
            for (const auto& [wd, served] : watches_)
                if (all || std::binary_search(changed.begin(), changed.end(), wd))
                    states.insert(states.end(), served.begin(), served.end());
        }
        for (auto& state : states) {
            if (state->deliveryPending.exchange(true)) continue;
            loop_.post([state] {
                state->deliveryPending.store(false);
                if (!state->alive) return;
                auto job = state->onEvent;  // survives the handler stopping this watch
                if (*job) (*job)();
            });
        }
    }

    MainLoop& loop_;
    const int inotifyFd_;
    const int stopRead_;
    const int stopWrite_;
    std::mutex mutex_;
    std::map<int, std::vector<std::shared_ptr<WatchState>>> watches_;
    std::thread reader_;
};

namespace {

class InotifyWatch : public DirectoryWatch {
public:
    InotifyWatch(std::shared_ptr<InotifyDirectoryWatcher::Instance> instance, int wd, std::shared_ptr<WatchState> state)
        : instance_(std::move(instance)), wd_(wd), state_(std::move(state)) {}

    ~InotifyWatch() override {
        state_->alive = false;  // a delivery already posted finds the watch gone
        instance_->remove(wd_, state_);
    }

private:
    std::shared_ptr<InotifyDirectoryWatcher::Instance> instance_;
    int wd_;
    std::shared_ptr<WatchState> state_;
};

}  // namespace

InotifyDirectoryWatcher::InotifyDirectoryWatcher(MainLoop& loop) : loop_(loop) {}
InotifyDirectoryWatcher::~InotifyDirectoryWatcher() = default;

std::unique_ptr<DirectoryWatch> InotifyDirectoryWatcher::watch(const std::string& path, Job onEvent) {
    if (!instance_) {
        const int fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (fd < 0) return nullptr;
        int stop[2];
        if (!openPipe(stop, false)) {
            ::close(fd);
            return nullptr;
        }
        instance_ = std::make_shared<Instance>(loop_, fd, stop[0], stop[1]);
    }
    auto state = std::make_shared<WatchState>();
    state->onEvent = std::make_shared<Job>(std::move(onEvent));
    const int wd = instance_->add(path, state);
    if (wd < 0) return nullptr;
    return std::make_unique<InotifyWatch>(instance_, wd, std::move(state));
}

std::unique_ptr<DirectoryWatcher> makeSystemDirectoryWatcher(MainLoop& loop) {
    return std::make_unique<InotifyDirectoryWatcher>(loop);
}

}  // namespace corvane
