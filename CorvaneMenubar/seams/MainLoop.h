#pragma once

#include <functional>
#include <memory>

#include "Instant.h"

namespace corvane {

// A unit of work handed to the main loop or to a background thread.
using Job = std::function<void()>;

// A scheduled timer. Destroying the handle cancels the timer: once the destructor has returned,
// the job never runs again. Handles are created and destroyed on the main thread only. A handle
// may be destroyed from inside its own job (the loop keeps the running job alive until it
// returns), and a handle may outlive the loop that made it (it then does nothing).
class TimerHandle {
public:
    virtual ~TimerHandle() = default;
    // The interval (repeating) or delay (one-shot) the timer was created with, in seconds, so a
    // caller can keep a timer whose interval did not change instead of resetting its phase.
    virtual double interval() const = 0;
    // True for a repeating timer.
    virtual bool repeats() const = 0;
};

// The application's main thread and its clocks. All app state lives on the main thread; work
// comes back to it only through `post` and timers.
//
// Qt: `QMetaObject::invokeMethod(context, job, Qt::QueuedConnection)` and `QTimer` (precise
// type); nested menu event loops keep dispatching both. AppKit: the main dispatch queue or
// `CFRunLoopPerformBlock` in the common modes and `NSTimer`/`CFRunLoopTimer` added in the common
// modes, so jobs and timers run while a menu is tracking.
class MainLoop {
public:
    virtual ~MainLoop() = default;

    // Runs `job` on the main thread soon, after the jobs posted before it (FIFO per poster). Safe
    // to call from any thread, also while the menu is open (event tracking). Never runs the job
    // synchronously inside the call. Jobs posted after the loop has stopped are dropped.
    virtual void post(Job job) = 0;

    // Runs `job` on the main thread every `intervalSeconds` (> 0) until the handle is destroyed.
    // The first run is one interval from now; a late firing does not shift the phase of the next.
    virtual std::unique_ptr<TimerHandle> repeating(double intervalSeconds, Job job) = 0;

    // Runs `job` once on the main thread `delaySeconds` (>= 0) from now, unless the handle is
    // destroyed first. The handle stays valid (and harmless) after the job has run.
    virtual std::unique_ptr<TimerHandle> oneShot(double delaySeconds, Job job) = 0;

    // Monotonic seconds (system uptime on the real shells); only differences are meaningful.
    // Safe from any thread.
    virtual double uptime() const = 0;

    // The wall clock. Safe from any thread.
    virtual Instant now() const = 0;
};

}  // namespace corvane
