#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "seams/DirectoryWatcher.h"

namespace corvane {

// Folder watches the test triggers by hand. Paths in `unopenable` fail to watch.
class FakeDirectoryWatcher : public DirectoryWatcher {
public:
    std::set<std::string> unopenable;

    std::unique_ptr<DirectoryWatch> watch(const std::string& path, Job onEvent) override;

    // Delivers one raw event to every live watch of `path`; returns how many got it.
    std::size_t trigger(const std::string& path);
    // Paths watched now, in the order the watches started.
    std::vector<std::string> watchedPaths() const;

    struct Entry {
        std::string path;
        std::shared_ptr<Job> onEvent;
    };

private:
    std::vector<std::shared_ptr<Entry>> live_;
};

}  // namespace corvane
