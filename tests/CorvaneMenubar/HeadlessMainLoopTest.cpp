#include "headless/HeadlessMainLoop.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

namespace corvane {
namespace {

// Guards every test against a loop that never returns: quits it from outside after 10 s.
class Watchdog {
public:
    explicit Watchdog(HeadlessMainLoop& loop) {
        thread_ = std::thread([this, &loop] {
            if (done_.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::timeout) {
                timedOut_ = true;
                loop.quit();
            }
        });
    }
    ~Watchdog() {
        done_.set_value();
        thread_.join();
    }
    bool timedOut() const { return timedOut_; }

private:
    std::promise<void> done_;
    std::atomic<bool> timedOut_{false};
    std::thread thread_;
};

TEST(HeadlessMainLoop, RunsPostedJobsFirstThenTimersInDueOrder) {
    HeadlessMainLoop loop;
    std::vector<std::string> order;
    auto late = loop.oneShot(0.06, [&] { order.push_back("late"); loop.quit(); });
    auto early = loop.oneShot(0.02, [&] { order.push_back("early"); });
    auto middle = loop.oneShot(0.04, [&] { order.push_back("middle"); });
    auto cancelled = loop.oneShot(0.03, [&] { order.push_back("cancelled"); });
    cancelled.reset();
    loop.post([&] { order.push_back("posted"); });
    Watchdog watchdog(loop);
    loop.run();
    EXPECT_FALSE(watchdog.timedOut());
    EXPECT_EQ(order, (std::vector<std::string>{"posted", "early", "middle", "late"}));
}

TEST(HeadlessMainLoop, RepeatingTimerStopsWhenItsHandleIsDestroyedInsideItsJob) {
    HeadlessMainLoop loop;
    int ticks = 0;
    std::unique_ptr<TimerHandle> timer, quitLater;
    timer = loop.repeating(0.005, [&] {
        if (++ticks == 3) {
            timer.reset();
            quitLater = loop.oneShot(0.03, [&] { loop.quit(); });  // room for stray ticks to show
        }
    });
    EXPECT_EQ(timer->interval(), 0.005);
    EXPECT_TRUE(timer->repeats());
    Watchdog watchdog(loop);
    loop.run();
    EXPECT_FALSE(watchdog.timedOut());
    EXPECT_EQ(ticks, 3);
}

TEST(HeadlessMainLoop, PostsFromManyThreadsAllRunOnTheLoopThread) {
    HeadlessMainLoop loop;
    const auto loopThread = std::this_thread::get_id();
    constexpr int threads = 4, perThread = 200;
    int ran = 0;
    bool allOnLoopThread = true;
    std::vector<std::thread> posters;
    for (int t = 0; t < threads; ++t)
        posters.emplace_back([&] {
            for (int i = 0; i < perThread; ++i)
                loop.post([&] {
                    allOnLoopThread = allOnLoopThread && std::this_thread::get_id() == loopThread;
                    if (++ran == threads * perThread) loop.quit();
                });
        });
    Watchdog watchdog(loop);
    loop.run();
    for (auto& p : posters) p.join();
    EXPECT_FALSE(watchdog.timedOut());
    EXPECT_EQ(ran, threads * perThread);
    EXPECT_TRUE(allOnLoopThread);
}

TEST(HeadlessMainLoop, QuitBeforeRunReturnsAtOnceAndLaterPostsAreDropped) {
    HeadlessMainLoop loop;
    bool ran = false;
    loop.quit();
    loop.post([&] { ran = true; });
    loop.run();
    EXPECT_FALSE(ran);
}

TEST(HeadlessMainLoop, ClocksMoveForward) {
    HeadlessMainLoop loop;
    const double up = loop.uptime();
    const Instant wall = loop.now();
    auto timer = loop.oneShot(0.02, [&] { loop.quit(); });
    loop.run();
    EXPECT_GE(loop.uptime() - up, 0.019);
    EXPECT_GE(secondsBetween(wall, loop.now()), 0.0);
}

}  // namespace
}  // namespace corvane
