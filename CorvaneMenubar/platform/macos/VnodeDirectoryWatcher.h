#pragma once

#include "seams/DirectoryWatcher.h"

namespace corvane::mac {

// Watches a folder with a DISPATCH_SOURCE_TYPE_VNODE source on a descriptor opened with
// O_EVTONLY (which does not keep the volume from being unmounted). The source runs on the main
// queue and reports writes to the folder: entries created, removed or renamed, which is how the
// CLI replaces its snapshot and request files. When the folder itself is deleted or renamed away,
// the path is opened afresh (every second until it exists again), so a recreated folder is
// watched too.
class VnodeDirectoryWatcher final : public DirectoryWatcher {
public:
    std::unique_ptr<DirectoryWatch> watch(const std::string& path, Job onEvent) override;
};

}  // namespace corvane::mac
