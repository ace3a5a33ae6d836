#include "platform/headless/HeadlessMainLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace corvane {
namespace {

// Runs the loop, quitting it from outside after 10 s should it never return; false on that hang.
bool runGuarded(HeadlessMainLoop& loop) {
    std::promise<void> done;
    std::atomic<bool> timedOut{false};
    std::thread watchdog([&, finished = done.get_future()] {
        if (finished.wait_for(std::chrono::seconds(10)) == std::future_status::timeout) timedOut = true, loop.quit();
    });
    loop.run();
    done.set_value();
    watchdog.join();
    return !timedOut;
}

TEST(HeadlessMainLoop, RunsPostedJobsFirstThenTimersInDueOrder) {
    HeadlessMainLoop loop;
    std::vector<std::string> order;
    auto late = loop.oneShot(0.06, [&] { order.push_back("late"), loop.quit(); });
    auto early = loop.oneShot(0.02, [&] { order.push_back("early"); });
    auto middle = loop.oneShot(0.04, [&] { order.push_back("middle"); });
    auto cancelled = loop.oneShot(0.03, [&] { order.push_back("cancelled"); });
    cancelled.reset();
    loop.post([&] { order.push_back("posted"); });
    const double up = loop.uptime();
    EXPECT_TRUE(runGuarded(loop));
    EXPECT_EQ(order, (std::vector<std::string>{"posted", "early", "middle", "late"}));
    EXPECT_GE(loop.uptime() - up, 0.059);
}

TEST(HeadlessMainLoop, RepeatingTimerStopsWhenItsHandleIsDestroyedInsideItsJob) {
    HeadlessMainLoop loop;
    int ticks = 0;
    std::unique_ptr<TimerHandle> timer, quitLater;
    timer = loop.repeating(0.005, [&] {
        if (++ticks < 3) return;
        timer.reset();
        quitLater = loop.oneShot(0.03, [&] { loop.quit(); });  // room for stray ticks to show
    });
    EXPECT_TRUE(runGuarded(loop));
    EXPECT_EQ(ticks, 3);
}

TEST(HeadlessMainLoop, QuitBeforeRunReturnsAtOnceAndLaterPostsAreDropped) {
    HeadlessMainLoop loop;
    bool ran = false;
    loop.quit();
    loop.post([&] { ran = true; });
    EXPECT_TRUE(runGuarded(loop));
    EXPECT_FALSE(ran);
}

// Intervals far out of range neither overflow the clock arithmetic (which made a timer due at
// once, forever) nor keep the loop from serving posts and quitting.
TEST(HeadlessMainLoop, TimersAtAnyIntervalWaitInsteadOfFiring) {
    HeadlessMainLoop loop;
    int fired = 0;
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    std::vector<std::unique_ptr<TimerHandle>> timers;
    for (double seconds : {1e10, 1e300, inf, 9.3e9}) {
        timers.push_back(loop.repeating(seconds, [&] { ++fired; }));
        timers.push_back(loop.oneShot(seconds, [&] { ++fired; }));
    }
    auto odd = loop.oneShot(nan, [&] { ++fired; });  // not a delay: runs at once
    auto stop = loop.oneShot(0.05, [&] { loop.quit(); });
    EXPECT_TRUE(runGuarded(loop));
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(timers.front()->interval(), 1e10);
}

}  // namespace
}  // namespace corvane
