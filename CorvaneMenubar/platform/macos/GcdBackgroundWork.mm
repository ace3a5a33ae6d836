#import "GcdBackgroundWork.h"

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#include <atomic>
#include <cstdint>

namespace corvane::mac {
namespace {

// The pending count is kept here rather than read from the queue: NSOperationQueue's
// operationCount is deprecated, and a count that drops only when an operation has finished
// (or was cancelled) is exactly the bound's meaning.
class OperationSerialQueue final : public SerialWorkQueue {
public:
    explicit OperationSerialQueue(std::size_t limit) : limit_(limit) {
        queue_ = [[NSOperationQueue alloc] init];
        queue_.maxConcurrentOperationCount = 1;
        queue_.name = @"corvane.serial";
    }
    ~OperationSerialQueue() override {
        [queue_ cancelAllOperations];
        [queue_ waitUntilAllOperationsAreFinished];
    }

    bool tryEnqueue(Job job) override {
        if (pending_->load() >= limit_) return false;
        pending_->fetch_add(1);
        NSBlockOperation* operation = [NSBlockOperation blockOperationWithBlock:^{
            job();
        }];
        auto pending = pending_;
        operation.completionBlock = ^{
            pending->fetch_sub(1);
        };
        [queue_ addOperation:operation];
        return true;
    }

    std::size_t pendingCount() const override { return pending_->load(); }

    void cancelAll() override { [queue_ cancelAllOperations]; }

private:
    std::size_t limit_;
    std::shared_ptr<std::atomic<std::size_t>> pending_ = std::make_shared<std::atomic<std::size_t>>(0);
    NSOperationQueue* queue_ = nil;
};

}  // namespace

struct GcdBackgroundWork::Group {
    dispatch_group_t jobs = dispatch_group_create();
};

GcdBackgroundWork::GcdBackgroundWork() : group_(std::make_unique<Group>()) {}

GcdBackgroundWork::~GcdBackgroundWork() = default;

void GcdBackgroundWork::run(WorkPriority priority, Job job) {
    const bool userInitiated = priority == WorkPriority::userInitiated;
    id<NSObject> activity = nil;
    if (userInitiated)
        activity = [NSProcessInfo.processInfo beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                                                                reason:@"Corvane runs an action you started"];
    const auto qos = userInitiated ? QOS_CLASS_USER_INITIATED : QOS_CLASS_UTILITY;
    dispatch_group_async(group_->jobs, dispatch_get_global_queue(qos, 0), ^{
        job();
        if (activity) [NSProcessInfo.processInfo endActivity:activity];
    });
}

bool GcdBackgroundWork::waitUntilIdle(double seconds) {
    const auto nanoseconds = static_cast<std::int64_t>(seconds * static_cast<double>(NSEC_PER_SEC));
    return dispatch_group_wait(group_->jobs, dispatch_time(DISPATCH_TIME_NOW, nanoseconds)) == 0;
}

std::unique_ptr<SerialWorkQueue> GcdBackgroundWork::makeSerialQueue(std::size_t limit) {
    return std::make_unique<OperationSerialQueue>(limit);
}

}  // namespace corvane::mac
