#pragma once

#include <cstddef>
#include <memory>

#include "MainLoop.h"

namespace corvane {

// How urgent a background job is. Menu polls run at `utility`; CLI actions the user started run
// at `userInitiated`. Qt: `QThreadPool` priorities (or `QThread::LowPriority`); AppKit: the GCD
// global queues of the same quality-of-service classes.
enum class WorkPriority { utility, userInitiated };

// A serial queue: jobs run one at a time, in order, off the main thread, and at most `limit`
// jobs are held (queued plus the running one). AppKit: `NSOperationQueue` with
// `maxConcurrentOperationCount = 1` (`operationCount` is the pending count); Qt: a
// `QThreadPool` with `maxThreadCount(1)` plus a counter. Used from the main thread only; the jobs
// themselves run elsewhere and report back with `MainLoop::post`.
class SerialWorkQueue {
public:
    // Destroying the queue drops the jobs that have not started and waits for the running one
    // (jobs bound their own running time).
    virtual ~SerialWorkQueue() = default;

    // Queues `job` and returns true, or returns false without queueing when `pendingCount()` has
    // reached the limit.
    virtual bool tryEnqueue(Job job) = 0;

    // Jobs queued and not yet finished, the running one included.
    virtual std::size_t pendingCount() const = 0;

    // Drops every job that has not started; a running job finishes normally.
    virtual void cancelAll() = 0;
};

// Runs work off the main thread. Called from the main thread.
class BackgroundWork {
public:
    // The bound of the click-report queue.
    static constexpr std::size_t serialQueueLimit = 8;

    virtual ~BackgroundWork() = default;

    // Runs `job` on some background thread, concurrently with other jobs, at `priority`. The job
    // must not touch main-thread state; it reports back through `MainLoop::post`.
    virtual void run(WorkPriority priority, Job job) = 0;

    // A new serial queue holding at most `limit` jobs (see `SerialWorkQueue`).
    virtual std::unique_ptr<SerialWorkQueue> makeSerialQueue(std::size_t limit = serialQueueLimit) = 0;

    // Waits until every job handed to `run` has returned, at most `seconds`; true when none is
    // left. Called once at exit, after the termination asked the running processes to stop, so
    // that their runs get to kill what they started before the app leaves. Qt:
    // `QThreadPool::waitForDone`; GCD: `dispatch_group_wait` on a group every job enters. A shell
    // that cannot tell answers false, and the app then leaves without waiting.
    virtual bool waitUntilIdle(double seconds) {
        (void)seconds;
        return false;
    }
};

}  // namespace corvane
