// The virtual-time loop every app test stands on: its ordering and cancellation must match the
// real loops', or tests of the poll cycle would pass against behaviour no shell has.
#include "fakes/FakeMainLoop.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "fakes/FakeAppearance.h"
#include "fakes/FakeBackgroundWork.h"
#include "fakes/FakeDefaults.h"
#include "fakes/FakeEffects.h"
#include "fakes/FakeLoginItem.h"

namespace corvane {
namespace {

TEST(FakeMainLoop, FiresTimersInDueOrderAtTheirDueTimes) {
    FakeMainLoop loop;
    const double start = loop.uptime();
    std::vector<std::string> fired;
    auto at = [&](const char* name) { return [&, name] { fired.push_back(std::string(name) + "@" + std::to_string(int((loop.uptime() - start) * 10 + 0.5))); }; };
    auto every3 = loop.repeating(0.3, at("r"));
    auto once5 = loop.oneShot(0.5, at("a"));
    auto once3 = loop.oneShot(0.3, at("b"));  // same due time as the repeating one: created later, runs later
    loop.post([&] { fired.push_back("posted"); });
    loop.advance(1.0);
    EXPECT_EQ(fired, (std::vector<std::string>{"posted", "r@3", "b@3", "a@5", "r@6", "r@9"}));
    EXPECT_DOUBLE_EQ(loop.uptime() - start, 1.0);
    EXPECT_EQ(loop.activeTimerCount(), 1u);
    EXPECT_EQ(every3->interval(), 0.3);
    EXPECT_TRUE(every3->repeats());
    EXPECT_FALSE(once5->repeats());
}

TEST(FakeMainLoop, DestroyingAHandleCancelsEvenFromInsideAJob) {
    FakeMainLoop loop;
    int ticks = 0;
    std::unique_ptr<TimerHandle> timer;
    timer = loop.repeating(1.0, [&] {
        if (++ticks == 2) timer.reset();
    });
    auto other = loop.oneShot(0.5, [&] { ticks += 100; });
    other.reset();
    loop.advance(10.0);
    EXPECT_EQ(ticks, 2);
    EXPECT_EQ(loop.activeTimerCount(), 0u);
}

TEST(FakeMainLoop, PostsFromOtherThreadsRunOnRunPending) {
    FakeMainLoop loop;
    int ran = 0;
    std::thread a([&] { for (int i = 0; i < 50; ++i) loop.post([&] { ++ran; }); });
    std::thread b([&] { for (int i = 0; i < 50; ++i) loop.post([&] { ++ran; }); });
    a.join();
    b.join();
    EXPECT_EQ(ran, 0);
    EXPECT_EQ(loop.runPending(), 100u);
    EXPECT_EQ(ran, 100);
}

TEST(FakeMainLoop, WallClockFollowsUptime) {
    FakeMainLoop loop;
    const Instant before = loop.now();
    loop.advance(2.5);
    EXPECT_DOUBLE_EQ(secondsBetween(before, loop.now()), 2.5);
}

}  // namespace
}  // namespace corvane
