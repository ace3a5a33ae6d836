#import "VnodeDirectoryWatcher.h"

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>
#include <fcntl.h>
#include <unistd.h>

namespace corvane::mac {
namespace {

class VnodeWatch final : public DirectoryWatch {
public:
    VnodeWatch(dispatch_source_t source, std::shared_ptr<bool> alive) : source_(source), alive_(std::move(alive)) {}
    // Both the event handler and this run on the main queue, so clearing the flag stops even an
    // event that is already queued; the cancel handler closes the descriptor.
    ~VnodeWatch() override {
        *alive_ = false;
        dispatch_source_cancel(source_);
    }

private:
    dispatch_source_t source_;
    std::shared_ptr<bool> alive_;
};

}  // namespace

std::unique_ptr<DirectoryWatch> VnodeDirectoryWatcher::watch(const std::string& path, Job onEvent) {
    const int fd = ::open(path.c_str(), O_EVTONLY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    const uintptr_t mask = DISPATCH_VNODE_WRITE | DISPATCH_VNODE_EXTEND | DISPATCH_VNODE_LINK | DISPATCH_VNODE_RENAME |
                           DISPATCH_VNODE_DELETE;
    dispatch_source_t source =
        dispatch_source_create(DISPATCH_SOURCE_TYPE_VNODE, static_cast<uintptr_t>(fd), mask, dispatch_get_main_queue());
    if (!source) {
        ::close(fd);
        return nullptr;
    }
    auto alive = std::make_shared<bool>(true);
    dispatch_source_set_event_handler(source, ^{
        if (*alive && onEvent) onEvent();
    });
    dispatch_source_set_cancel_handler(source, ^{
        ::close(fd);
    });
    dispatch_resume(source);
    return std::make_unique<VnodeWatch>(source, alive);
}

}  // namespace corvane::mac
