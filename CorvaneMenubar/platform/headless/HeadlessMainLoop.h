#pragma once

#include <memory>

#include "seams/MainLoop.h"

namespace corvane {

// The headless shell's main loop: a queue of posted jobs and a heap of timers, served by `run`
// on the thread that calls it (the main thread). Timers and handles belong to that thread;
// `post`, `quit`, `uptime` and `now` may be called from any thread.
class HeadlessMainLoop : public MainLoop {
public:
    HeadlessMainLoop();
    ~HeadlessMainLoop() override;

    void post(Job job) override;
    std::unique_ptr<TimerHandle> repeating(double intervalSeconds, Job job) override;
    std::unique_ptr<TimerHandle> oneShot(double delaySeconds, Job job) override;
    // Seconds of the monotonic clock (time since boot on Linux).
    double uptime() const override;
    Instant now() const override;

    // Serves jobs and timers until `quit`. Returns at once when `quit` came first. Posted jobs
    // run before due timers; a job posted while `run` sleeps wakes it.
    void run();
    // Makes `run` return after the job it is running (if any). Thread-safe; later posts are
    // dropped.
    void quit();

    struct Core;

private:
    std::shared_ptr<Core> core_;
};

}  // namespace corvane
