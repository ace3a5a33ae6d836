#include "HeadlessMainLoop.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <queue>
#include <utility>
#include <vector>

namespace corvane {

namespace {
using Clock = std::chrono::steady_clock;

struct Timer {
    Clock::duration interval{};
    bool repeats = false;
    double seconds = 0;
    std::shared_ptr<Job> job;
    bool cancelled = false;  // guarded by Core::mutex
};

struct Scheduled {
    Clock::time_point due;
    std::uint64_t order = 0;
    std::shared_ptr<Timer> timer;
    bool operator>(const Scheduled& other) const {
        return due != other.due ? due > other.due : order > other.order;
    }
};

// Any interval a caller can pass, NaN and infinities included, becomes a duration the clock can
// add without overflow: nothing or negative is zero, anything past a century is a century (a
// timer that far out never fires in practice, and the sum with `Clock::now()` stays in range).
constexpr double longestSeconds = 100.0 * 365 * 24 * 3600;

Clock::duration toDuration(double seconds) {
    if (!(seconds > 0)) return Clock::duration::zero();
    if (!(seconds < longestSeconds)) seconds = longestSeconds;
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

Clock::time_point later(Clock::time_point from, Clock::duration by) {
    if (by > Clock::time_point::max() - from) return Clock::time_point::max();
    return from + by;
}

// The first phase point of a repeating timer after `now`: `due` plus whole intervals, computed
// in one step so that a long stall never turns into a loop over missed firings.
Clock::time_point nextPhase(Clock::time_point due, Clock::duration interval, Clock::time_point now) {
    if (due > now) return due;
    const auto missed = (now - due) / interval + 1;
    if (missed > (Clock::time_point::max() - due) / interval) return Clock::time_point::max();
    return due + missed * interval;
}

// The loop sleeps at most this long at a time, so a far-off timer never hands the condition
// variable a deadline near the clock's end.
constexpr auto longestWait = std::chrono::hours(1);
}  // namespace

struct HeadlessMainLoop::Core {
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Job> posted;
    std::priority_queue<Scheduled, std::vector<Scheduled>, std::greater<>> timers;
    std::uint64_t nextOrder = 0;
    bool quitting = false;

    void schedule(Clock::time_point due, std::shared_ptr<Timer> timer) {
        timers.push(Scheduled{due, nextOrder++, std::move(timer)});
        wake.notify_one();
    }
};

namespace {
class HeadlessTimerHandle : public TimerHandle {
public:
    HeadlessTimerHandle(std::weak_ptr<HeadlessMainLoop::Core> core, std::shared_ptr<Timer> timer)
        : core_(std::move(core)), timer_(std::move(timer)) {}
    ~HeadlessTimerHandle() override {
        if (auto core = core_.lock()) {
            std::lock_guard lock(core->mutex);
            timer_->cancelled = true;
        }
    }
    double interval() const override { return timer_->seconds; }
    bool repeats() const override { return timer_->repeats; }

private:
    std::weak_ptr<HeadlessMainLoop::Core> core_;
    std::shared_ptr<Timer> timer_;
};
}  // namespace

HeadlessMainLoop::HeadlessMainLoop() : core_(std::make_shared<Core>()) {}

HeadlessMainLoop::~HeadlessMainLoop() {
    // Jobs may hold the last references to objects whose destructors post; drop them outside the
    // lock, with the loop already closed for new posts.
    std::deque<Job> posted;
    decltype(core_->timers) timers;
    {
        std::lock_guard lock(core_->mutex);
        core_->quitting = true;
        posted.swap(core_->posted);
        timers.swap(core_->timers);
    }
}

void HeadlessMainLoop::post(Job job) {
    std::lock_guard lock(core_->mutex);
    if (core_->quitting) return;
    core_->posted.push_back(std::move(job));
    core_->wake.notify_one();
}

std::unique_ptr<TimerHandle> HeadlessMainLoop::repeating(double intervalSeconds, Job job) {
    auto timer = std::make_shared<Timer>();
    timer->interval = toDuration(intervalSeconds);
    if (timer->interval == Clock::duration::zero()) timer->interval = std::chrono::milliseconds(1);
    timer->repeats = true;
    timer->seconds = intervalSeconds;
    timer->job = std::make_shared<Job>(std::move(job));
    {
        std::lock_guard lock(core_->mutex);
        core_->schedule(later(Clock::now(), timer->interval), timer);
    }
    return std::make_unique<HeadlessTimerHandle>(core_, timer);
}

std::unique_ptr<TimerHandle> HeadlessMainLoop::oneShot(double delaySeconds, Job job) {
    auto timer = std::make_shared<Timer>();
    timer->interval = toDuration(delaySeconds);
    timer->seconds = delaySeconds;
    timer->job = std::make_shared<Job>(std::move(job));
    {
        std::lock_guard lock(core_->mutex);
        core_->schedule(later(Clock::now(), timer->interval), timer);
    }
    return std::make_unique<HeadlessTimerHandle>(core_, timer);
}

double HeadlessMainLoop::uptime() const {
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

Instant HeadlessMainLoop::now() const {
    return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

void HeadlessMainLoop::run() {
    const auto core = core_;
    std::unique_lock lock(core->mutex);
    while (!core->quitting) {
        if (!core->posted.empty()) {
            Job job = std::move(core->posted.front());
            core->posted.pop_front();
            lock.unlock();
            if (job) job();
            job = nullptr;  // captured state dies outside the lock
            lock.lock();
            continue;
        }
        if (!core->timers.empty()) {
            const Scheduled next = core->timers.top();
            if (next.timer->cancelled) {
                core->timers.pop();
                continue;
            }
            const auto now = Clock::now();
            if (next.due <= now) {
                core->timers.pop();
                if (next.timer->repeats) {
                    // Keep the phase: the next firing is a whole number of intervals after the
                    // first, skipping the ones already missed.
                    core->schedule(nextPhase(later(next.due, next.timer->interval), next.timer->interval, now),
                                   next.timer);
                }
                auto job = next.timer->job;
                lock.unlock();
                if (*job) (*job)();
                job.reset();
                lock.lock();
                continue;
            }
            core->wake.wait_until(lock, std::min(next.due, later(now, longestWait)));
            continue;
        }
        core->wake.wait(lock);
    }
}

void HeadlessMainLoop::quit() {
    std::lock_guard lock(core_->mutex);
    core_->quitting = true;
    core_->wake.notify_all();
}

}  // namespace corvane
