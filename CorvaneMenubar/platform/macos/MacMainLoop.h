#pragma once

#include <atomic>
#include <memory>

#include "seams/MainLoop.h"

namespace corvane::mac {

// The main thread of the AppKit app. Posted jobs are performed on the main run loop in its common
// modes (FIFO per posting thread), so they run while the menu tracks; timers are NSTimers added
// in the common modes for the same reason. Uptime is the system's, the wall clock the system's.
class MacMainLoop final : public MainLoop {
public:
    MacMainLoop();
    ~MacMainLoop() override;

    void post(Job job) override;
    std::unique_ptr<TimerHandle> repeating(double intervalSeconds, Job job) override;
    std::unique_ptr<TimerHandle> oneShot(double delaySeconds, Job job) override;
    double uptime() const override;
    Instant now() const override;

    // Jobs posted from now on are dropped (at termination).
    void stop() { running_->store(false); }

private:
    std::shared_ptr<std::atomic<bool>> running_ = std::make_shared<std::atomic<bool>>(true);
};

}  // namespace corvane::mac
