#import "MacMainLoop.h"

#import <Foundation/Foundation.h>

#include <chrono>
#include <utility>

// One posted job: performed once on the main thread unless the loop stopped meanwhile.
@interface CorvanePostedJob : NSObject
- (instancetype)initWithJob:(corvane::Job)job running:(std::shared_ptr<std::atomic<bool>>)running;
- (void)perform;
@end

@implementation CorvanePostedJob {
    corvane::Job _job;
    std::shared_ptr<std::atomic<bool>> _running;
}

- (instancetype)initWithJob:(corvane::Job)job running:(std::shared_ptr<std::atomic<bool>>)running {
    if ((self = [super init])) {
        _job = std::move(job);
        _running = std::move(running);
    }
    return self;
}

- (void)perform {
    if (!_running->load() || !_job) return;
    auto job = std::exchange(_job, nullptr);
    job();
}

@end

namespace corvane::mac {
namespace {

class MacTimer final : public TimerHandle {
public:
    MacTimer(double interval, bool repeats, Job job) : interval_(interval), repeats_(repeats) {
        auto shared = std::make_shared<Job>(std::move(job));
        // The block keeps the job alive while it runs, so a handle destroyed from inside its own
        // job (which invalidates the timer) does not destroy the running function.
        timer_ = [NSTimer timerWithTimeInterval:interval
                                        repeats:repeats ? YES : NO
                                          block:^(NSTimer*) {
                                              auto keep = shared;
                                              (*keep)();
                                          }];
        [[NSRunLoop mainRunLoop] addTimer:timer_ forMode:NSRunLoopCommonModes];
    }
    ~MacTimer() override { [timer_ invalidate]; }
    double interval() const override { return interval_; }
    bool repeats() const override { return repeats_; }

private:
    double interval_;
    bool repeats_;
    NSTimer* timer_ = nil;
};

}  // namespace

MacMainLoop::MacMainLoop() = default;

MacMainLoop::~MacMainLoop() { stop(); }

void MacMainLoop::post(Job job) {
    if (!running_->load()) return;
    CorvanePostedJob* posted = [[CorvanePostedJob alloc] initWithJob:std::move(job) running:running_];
    [posted performSelectorOnMainThread:@selector(perform)
                             withObject:nil
                          waitUntilDone:NO
                                  modes:@[ NSRunLoopCommonModes ]];
}

std::unique_ptr<TimerHandle> MacMainLoop::repeating(double intervalSeconds, Job job) {
    return std::make_unique<MacTimer>(intervalSeconds, true, std::move(job));
}

std::unique_ptr<TimerHandle> MacMainLoop::oneShot(double delaySeconds, Job job) {
    return std::make_unique<MacTimer>(delaySeconds, false, std::move(job));
}

double MacMainLoop::uptime() const { return NSProcessInfo.processInfo.systemUptime; }

Instant MacMainLoop::now() const {
    return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

}  // namespace corvane::mac
