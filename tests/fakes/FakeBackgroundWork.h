#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

#include "seams/BackgroundWork.h"

namespace corvane {

// Background work under the test's control: jobs are held until the test releases them with
// `runNext`/`runAll`. Serial queues made by this fake hold their jobs too (so their bound can be
// seen) until `runSerial`.
class FakeBackgroundWork : public BackgroundWork {
public:
    void run(WorkPriority priority, Job job) override;
    std::unique_ptr<SerialWorkQueue> makeSerialQueue(std::size_t limit = serialQueueLimit) override;

    std::size_t heldCount() const { return held_.size(); }
    // Priorities of every job handed to `run`, in order.
    const std::vector<WorkPriority>& priorities() const { return priorities_; }
    // Runs the oldest held job; false when none is held.
    bool runNext();
    // Runs held jobs (and jobs they hand over) until none is held; returns how many ran.
    std::size_t runAll();

    // Runs the oldest job of every serial queue made by this fake; returns how many ran.
    std::size_t runSerial();

    struct SerialState {
        std::size_t limit = 0;
        std::deque<Job> jobs;
    };

private:
    std::deque<Job> held_;
    std::vector<WorkPriority> priorities_;
    std::vector<std::shared_ptr<SerialState>> queues_;
};

}  // namespace corvane
