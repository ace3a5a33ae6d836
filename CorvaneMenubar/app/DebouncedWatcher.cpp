#include "DebouncedWatcher.h"

#include <algorithm>
#include <utility>

namespace corvane {

DebouncedWatcher::DebouncedWatcher(MainLoop& loop, std::string path, Job onChange, double debounceSeconds)
    : loop_(loop),
      path_(std::move(path)),
      onChange_(std::make_shared<const Job>(std::move(onChange))),
      debounceSeconds_(debounceSeconds) {}

std::unique_ptr<DebouncedWatcher> DebouncedWatcher::make(DirectoryWatcher& watcher, MainLoop& loop,
                                                         const std::string& path, Job onChange,
                                                         double debounceSeconds) {
    std::unique_ptr<DebouncedWatcher> result(new DebouncedWatcher(loop, path, std::move(onChange), debounceSeconds));
    // The watch dies with the watcher and never calls back afterwards, so `this` stays valid.
    DebouncedWatcher* self = result.get();
    result->watch_ = watcher.watch(path, [self] { self->eventArrived(); });
    if (!result->watch_) return nullptr;
    return result;
}

void DebouncedWatcher::eventArrived() {
    const double now = loop_.uptime();
    if (!burstStartedAt_) burstStartedAt_ = now;
    const double delay = std::clamp(*burstStartedAt_ + maxDelaySeconds - now, 0.0, debounceSeconds_);
    pending_ = loop_.oneShot(delay, [this] {
        burstStartedAt_.reset();
        auto call = onChange_;  // keeps the callback alive if the call destroys this watcher
        if (*call) (*call)();
    });
}

}  // namespace corvane
