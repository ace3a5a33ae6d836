#pragma once

#include <memory>

#include "seams/MainLoop.h"

class QObject;

namespace corvane {

// The Qt shell's main loop: posted jobs are queued invocations on an object of the GUI thread and
// timers are precise `QTimer`s, so both keep running inside a menu's nested event loop. Create and
// destroy it on the GUI thread, after `QCoreApplication`; `post`, `uptime` and `now` may be called
// from any thread. Jobs posted after destruction are dropped.
class QtMainLoop : public MainLoop {
public:
    QtMainLoop();
    ~QtMainLoop() override;

    void post(Job job) override;
    std::unique_ptr<TimerHandle> repeating(double intervalSeconds, Job job) override;
    std::unique_ptr<TimerHandle> oneShot(double delaySeconds, Job job) override;
    // Seconds of the monotonic clock (time since boot on Linux).
    double uptime() const override;
    Instant now() const override;

    struct Core;

private:
    std::unique_ptr<TimerHandle> schedule(double seconds, bool repeats, Job job);

    std::shared_ptr<Core> core_;
};

}  // namespace corvane
