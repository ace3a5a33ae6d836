#include "FakeMainLoop.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <utility>
#include <vector>

namespace corvane {

namespace {
struct FakeTimer {
    double interval = 0, due = 0;  // due: in virtual uptime
    bool repeats = false;
    std::size_t order = 0;
    std::shared_ptr<Job> job;
    bool active = true;
};
}  // namespace

struct FakeMainLoop::Core {
    mutable std::mutex postMutex;
    std::deque<Job> posted;
    double uptime = 1000;
    Instant wallAtUptimeZero = Instant(std::chrono::seconds(1'800'000'000 - 1000));  // now() = this + uptime
    std::size_t nextOrder = 0;
    std::vector<std::shared_ptr<FakeTimer>> timers;

    std::shared_ptr<FakeTimer> nextDue(double limit) const {
        std::shared_ptr<FakeTimer> best;
        for (const auto& t : timers)
            if (t->active && t->due <= limit && (!best || t->due < best->due || (t->due == best->due && t->order < best->order)))
                best = t;
        return best;
    }
};

namespace {
class FakeTimerHandle : public TimerHandle {
public:
    FakeTimerHandle(std::weak_ptr<FakeMainLoop::Core> core, std::shared_ptr<FakeTimer> timer)
        : core_(std::move(core)), timer_(std::move(timer)) {}
    ~FakeTimerHandle() override {
        timer_->active = false;
        if (auto core = core_.lock()) std::erase(core->timers, timer_);
    }
    double interval() const override { return timer_->interval; }
    bool repeats() const override { return timer_->repeats; }

private:
    std::weak_ptr<FakeMainLoop::Core> core_;
    std::shared_ptr<FakeTimer> timer_;
};
}  // namespace

// Uptime starts at 1000 s and the wall clock in 2027, so neither is mistaken for unset.
FakeMainLoop::FakeMainLoop() : core_(std::make_shared<Core>()) {}

void FakeMainLoop::post(Job job) {
    std::lock_guard lock(core_->postMutex);
    core_->posted.push_back(std::move(job));
}

std::unique_ptr<TimerHandle> FakeMainLoop::repeating(double intervalSeconds, Job job) {
    auto timer = std::make_shared<FakeTimer>(FakeTimer{intervalSeconds, core_->uptime + intervalSeconds, true,
                                                       core_->nextOrder++, std::make_shared<Job>(std::move(job)), true});
    core_->timers.push_back(timer);
    return std::make_unique<FakeTimerHandle>(core_, timer);
}

std::unique_ptr<TimerHandle> FakeMainLoop::oneShot(double delaySeconds, Job job) {
    auto handle = repeating(delaySeconds, std::move(job));
    core_->timers.back()->repeats = false;
    return handle;
}

double FakeMainLoop::uptime() const { return core_->uptime; }
Instant FakeMainLoop::now() const {
    return core_->wallAtUptimeZero + std::chrono::microseconds(std::llround(core_->uptime * 1e6));
}

std::size_t FakeMainLoop::runPending() {
    for (std::size_t ran = 0;; ++ran) {
        std::unique_lock lock(core_->postMutex);
        if (core_->posted.empty()) return ran;
        Job job = std::move(core_->posted.front());
        core_->posted.pop_front();
        lock.unlock();  // the job may post more
        if (job) job();
    }
}

void FakeMainLoop::advance(double seconds) {
    const auto core = core_;  // a job may destroy the loop's owner; keep the state alive
    runPending();
    const double end = core->uptime + seconds;
    while (auto timer = core->nextDue(end)) {
        if (timer->due > core->uptime) core->uptime = timer->due;
        auto job = timer->job;  // survives the handle being destroyed inside the job
        if (timer->repeats) timer->due += timer->interval;
        else timer->active = false;
        if (*job) (*job)();
        runPending();
    }
    if (end > core->uptime) core->uptime = end;
}

std::size_t FakeMainLoop::activeTimerCount() const {
    return static_cast<std::size_t>(std::count_if(core_->timers.begin(), core_->timers.end(), [](const auto& t) { return t->active; }));
}

std::size_t FakeMainLoop::pendingJobCount() const {
    std::lock_guard lock(core_->postMutex);
    return core_->posted.size();
}

}  // namespace corvane
