#include "platform/qt/QtMainLoop.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace corvane {
namespace {

// The folder watcher posts from its own thread, also while a menu's nested loop runs.
TEST(QtMainLoopTest, PostsInOrderFromAnyThreadToTheGuiThreadAndKeepsRunningInsideANestedLoop) {
    QtMainLoop loop;
    const double start = loop.uptime();
    const Instant wall = loop.now();
    std::vector<int> order;
    bool onGuiThread = true;
    std::thread poster([&] {
        for (int i = 0; i < 50; ++i)
            loop.post([&order, &onGuiThread, i] {
                order.push_back(i);
                onGuiThread = onGuiThread && QThread::currentThread() == QCoreApplication::instance()->thread();
            });
    });
    poster.join();
    EXPECT_TRUE(order.empty()) << "post never runs the job inside the call";

    // A menu's nested event loop: jobs and timers still run inside it.
    int fired = 0;
    auto timer = loop.repeating(0.005, [&] { ++fired; });
    QEventLoop nested;
    QTimer::singleShot(200, &nested, &QEventLoop::quit);
    nested.exec();
    ASSERT_EQ(order.size(), 50u);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(order[i], i);
    EXPECT_TRUE(onGuiThread);
    EXPECT_GE(fired, 3);
    // Both clocks count seconds.
    EXPECT_GE(loop.uptime() - start, 0.15);
    EXPECT_GE(secondsBetween(wall, loop.now()), 0.15);
}

TEST(QtMainLoopTest, HandlesCancelTimersAlsoFromInsideTheirOwnJobAndMayOutliveTheLoop) {
    auto loop = std::make_unique<QtMainLoop>();
    int selfCancelling = 0, cancelled = 0, oneShot = 0;
    std::unique_ptr<TimerHandle> self;
    self = loop->repeating(0.002, [&] {
        ++selfCancelling;
        self.reset();
    });
    auto gone = loop->oneShot(0.001, [&] { ++cancelled; });
    gone.reset();
    auto once = loop->oneShot(0, [&] { ++oneShot; });
    EXPECT_TRUE(QTest::qWaitFor([&] { return oneShot > 0 && !self; }));
    QTest::qWait(50);
    EXPECT_EQ(selfCancelling, 1);
    EXPECT_EQ(cancelled, 0);
    EXPECT_EQ(oneShot, 1);

    // A handle outliving its loop, and posts after the loop is gone, do nothing.
    int late = 0;
    auto orphan = loop->repeating(0.001, [&] { ++late; });
    loop.reset();
    orphan.reset();
    QTest::qWait(30);
    EXPECT_EQ(late, 0);
}

}  // namespace
}  // namespace corvane
