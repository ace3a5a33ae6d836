#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "seams/BackgroundWork.h"

namespace corvane {

// Background work on plain threads: one thread per job (the app runs at most one poll and one
// action at a time) and one worker thread per serial queue. Priorities are not applied: on Linux
// lowering a thread's nice value needs no privilege but raising it back does, and a poll at
// utility priority gains nothing measurable from it.
class ThreadBackgroundWork : public BackgroundWork {
public:
    ThreadBackgroundWork() = default;
    // Waits for every job still running (jobs bound their own running time).
    ~ThreadBackgroundWork() override;

    void run(WorkPriority priority, Job job) override;
    std::unique_ptr<SerialWorkQueue> makeSerialQueue(std::size_t limit = serialQueueLimit) override;
    bool waitUntilIdle(double seconds) override;

private:
    struct Worker {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };
    void reapFinished();

    std::mutex mutex_;
    std::condition_variable finished_;  // a job of `run` returned
    std::vector<Worker> workers_;
};

}  // namespace corvane
