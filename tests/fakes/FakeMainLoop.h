#pragma once

#include <cstddef>
#include <memory>
#include <mutex>

#include "seams/MainLoop.h"

namespace corvane {

// A main loop in virtual time. Nothing runs until the test says so: `runPending` runs posted
// jobs; `advance` moves the clocks forward, firing due timers in due order (ties in creation
// order) with the clocks set to each timer's due time, and runs posted jobs after each firing.
// `post` is thread-safe (background jobs may post from other threads); everything else is for
// the test's thread.
class FakeMainLoop : public MainLoop {
public:
    FakeMainLoop();

    void post(Job job) override;
    std::unique_ptr<TimerHandle> repeating(double intervalSeconds, Job job) override;
    std::unique_ptr<TimerHandle> oneShot(double delaySeconds, Job job) override;
    double uptime() const override;
    Instant now() const override;

    // Runs posted jobs, including those they post, until none is left. Returns how many ran.
    std::size_t runPending();
    // Runs posted jobs, then fires every timer due within `seconds` and finally sets the clocks
    // to the end of the span.
    void advance(double seconds);

    // Timers not yet cancelled (one-shots that fired no longer count).
    std::size_t activeTimerCount() const;
    std::size_t pendingJobCount() const;

    struct Core;

private:
    std::shared_ptr<Core> core_;
};

}  // namespace corvane
