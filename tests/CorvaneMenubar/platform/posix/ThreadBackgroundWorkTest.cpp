#include "platform/posix/ThreadBackgroundWork.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <vector>

namespace corvane {
namespace {

// A gate the test opens to let blocked jobs finish (they give up after 10 s, so a fault fails the
// test instead of hanging it).
struct Gate {
    std::promise<void> opener;
    std::shared_future<void> opened = opener.get_future().share();
    void wait() const { opened.wait_for(std::chrono::seconds(10)); }
    void release() { opener.set_value(); }
};

bool ready(std::promise<void>& p) {
    return p.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready;
}

// One queue through its life: a running job, queued jobs dropped by cancelAll (the running one
// finishes), the bound of eight counting the running job, and the order of what is left.
TEST(ThreadBackgroundWork, SerialQueueRunsInOrderWithinItsBoundAndCancelsOnlyQueuedJobs) {
    ThreadBackgroundWork work;
    auto queue = work.makeSerialQueue();
    Gate gate;
    std::promise<void> firstStarted, allDone;
    std::mutex orderMutex;
    std::vector<int> order;
    auto job = [&](int i) {
        return [&, i] {
            if (i == 0) firstStarted.set_value(), gate.wait();
            std::lock_guard lock(orderMutex);
            order.push_back(i);
            if (i == 17) allDone.set_value();
        };
    };
    ASSERT_TRUE(queue->tryEnqueue(job(0)));
    ASSERT_TRUE(ready(firstStarted));
    for (int i = 1; i < 4; ++i) EXPECT_TRUE(queue->tryEnqueue(job(i)));
    queue->cancelAll();
    EXPECT_EQ(queue->pendingCount(), 1u);
    for (int i = 11; i < 18; ++i) EXPECT_TRUE(queue->tryEnqueue(job(i))) << i;
    EXPECT_EQ(queue->pendingCount(), 8u);  // the running job counts
    EXPECT_FALSE(queue->tryEnqueue([] {}));
    gate.release();
    ASSERT_TRUE(ready(allDone));
    std::lock_guard lock(orderMutex);
    EXPECT_EQ(order, (std::vector<int>{0, 11, 12, 13, 14, 15, 16, 17}));
}

TEST(ThreadBackgroundWork, RunsJobsConcurrentlyOffTheCallingThreadAndTellsWhenAllReturned) {
    std::atomic<int> ran{0}, waiting{0};
    std::atomic<bool> offCaller{true};
    const auto caller = std::this_thread::get_id();
    Gate gate;
    {
        ThreadBackgroundWork work;
        // Both jobs wait on one gate: they can only finish if they run at the same time.
        std::promise<void> bothWaiting;
        for (auto priority : {WorkPriority::utility, WorkPriority::userInitiated})
            work.run(priority, [&] {
                offCaller = offCaller && std::this_thread::get_id() != caller;
                if (++waiting == 2) bothWaiting.set_value();
                gate.wait();
                ++ran;
            });
        EXPECT_TRUE(ready(bothWaiting));
        EXPECT_FALSE(work.waitUntilIdle(0.05));
        gate.release();
        EXPECT_TRUE(work.waitUntilIdle(10));
        EXPECT_EQ(ran.load(), 2);
        work.run(WorkPriority::utility, [&] { ++ran; });
    }  // destruction joins
    EXPECT_EQ(ran.load(), 3);
    EXPECT_TRUE(offCaller.load());
}

}  // namespace
}  // namespace corvane
