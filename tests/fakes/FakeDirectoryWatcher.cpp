#include "FakeDirectoryWatcher.h"

#include <algorithm>
#include <utility>

namespace corvane {

namespace {
class FakeWatch : public DirectoryWatch {
public:
    FakeWatch(std::vector<std::shared_ptr<FakeDirectoryWatcher::Entry>>& live,
              std::shared_ptr<FakeDirectoryWatcher::Entry> entry)
        : live_(live), entry_(std::move(entry)) {}
    ~FakeWatch() override { std::erase(live_, entry_); }

private:
    std::vector<std::shared_ptr<FakeDirectoryWatcher::Entry>>& live_;
    std::shared_ptr<FakeDirectoryWatcher::Entry> entry_;
};
}  // namespace

std::unique_ptr<DirectoryWatch> FakeDirectoryWatcher::watch(const std::string& path, Job onEvent) {
    if (unopenable.contains(path)) return nullptr;
    auto entry = std::make_shared<Entry>(Entry{path, std::make_shared<Job>(std::move(onEvent))});
    live_.push_back(entry);
    return std::make_unique<FakeWatch>(live_, entry);
}

std::size_t FakeDirectoryWatcher::trigger(const std::string& path) {
    std::vector<std::shared_ptr<Entry>> targets;
    for (const auto& e : live_)
        if (e->path == path) targets.push_back(e);
    std::size_t delivered = 0;
    for (const auto& e : targets) {
        // A handler may stop other watches; only deliver to those still live.
        if (std::find(live_.begin(), live_.end(), e) == live_.end()) continue;
        auto job = e->onEvent;
        if (*job) (*job)();
        ++delivered;
    }
    return delivered;
}

std::vector<std::string> FakeDirectoryWatcher::watchedPaths() const {
    std::vector<std::string> paths;
    for (const auto& e : live_) paths.push_back(e->path);
    return paths;
}

}  // namespace corvane
