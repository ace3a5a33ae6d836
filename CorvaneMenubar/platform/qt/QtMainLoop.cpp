#include "QtMainLoop.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>
#include <utility>

namespace corvane {

struct QtMainLoop::Core {
    std::mutex mutex;
    QObject* context = nullptr;  // guarded by mutex; null once the loop is gone
};

namespace {
// Qt timers count whole milliseconds in an int; longer delays are clamped (a day is far beyond
// any timer the app sets).
int toMilliseconds(double seconds) {
    if (!(seconds > 0)) return 0;
    return static_cast<int>(std::min(std::ceil(seconds * 1000.0), 86'400'000.0));
}

class QtTimerHandle : public TimerHandle {
public:
    QtTimerHandle(QTimer* timer, std::shared_ptr<bool> cancelled, double seconds, bool repeats)
        : timer_(timer), cancelled_(std::move(cancelled)), seconds_(seconds), repeats_(repeats) {}
    ~QtTimerHandle() override {
        *cancelled_ = true;
        // The handle may be destroyed from inside the timer's own timeout: stop it now and let
        // the event loop free it once the signal has returned.
        if (timer_) {
            timer_->stop();
            timer_->deleteLater();
        }
    }
    double interval() const override { return seconds_; }
    bool repeats() const override { return repeats_; }

private:
    QPointer<QTimer> timer_;
    std::shared_ptr<bool> cancelled_;
    double seconds_;
    bool repeats_;
};
}  // namespace

QtMainLoop::QtMainLoop() : core_(std::make_shared<Core>()) {
    core_->context = new QObject();
}

QtMainLoop::~QtMainLoop() {
    QObject* context = nullptr;
    {
        std::lock_guard lock(core_->mutex);
        std::swap(context, core_->context);
    }
    // Deleting the context discards its queued jobs and its timers (handles see them vanish).
    delete context;
}

void QtMainLoop::post(Job job) {
    std::lock_guard lock(core_->mutex);
    if (!core_->context) return;
    QMetaObject::invokeMethod(core_->context, std::move(job), Qt::QueuedConnection);
}

std::unique_ptr<TimerHandle> QtMainLoop::schedule(double seconds, bool repeats, Job job) {
    auto cancelled = std::make_shared<bool>(false);
    auto shared = std::make_shared<Job>(std::move(job));
    QTimer* timer = nullptr;
    if (core_->context) {
        timer = new QTimer(core_->context);
        timer->setTimerType(Qt::PreciseTimer);
        timer->setSingleShot(!repeats);
        // A zero-interval repeating timer would spin the loop.
        timer->setInterval(repeats ? std::max(1, toMilliseconds(seconds)) : toMilliseconds(seconds));
        QObject::connect(timer, &QTimer::timeout, timer, [shared, cancelled] {
            if (*cancelled) return;
            auto keep = shared;  // the job may destroy its own handle
            (*keep)();
        });
        timer->start();
    }
    return std::make_unique<QtTimerHandle>(timer, std::move(cancelled), seconds, repeats);
}

std::unique_ptr<TimerHandle> QtMainLoop::repeating(double intervalSeconds, Job job) {
    return schedule(intervalSeconds, true, std::move(job));
}

std::unique_ptr<TimerHandle> QtMainLoop::oneShot(double delaySeconds, Job job) {
    return schedule(delaySeconds, false, std::move(job));
}

double QtMainLoop::uptime() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Instant QtMainLoop::now() const {
    return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

}  // namespace corvane
