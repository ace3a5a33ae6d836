#include "QtMainLoop.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include "CorvaneMenubar/TempFolder.h"
#include "headless/InotifyDirectoryWatcher.h"

#include <fstream>
#include <thread>
#include <vector>

namespace corvane {
namespace {

// Serves Qt events until `done` holds or `ms` passed.
template <typename Done>
void spin(Done done, int ms = 2000) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

TEST(QtMainLoopTest, PostsInOrderFromAnyThreadAndKeepsRunningInsideANestedLoop) {
    QtMainLoop loop;
    std::vector<int> order;
    std::thread poster([&] {
        for (int i = 0; i < 50; ++i) loop.post([&order, i] { order.push_back(i); });
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
    EXPECT_GE(fired, 3);
    EXPECT_TRUE(timer->repeats());
    EXPECT_DOUBLE_EQ(timer->interval(), 0.005);
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
    spin([&] { return oneShot > 0 && !self; });
    spin([] { return false; }, 50);
    EXPECT_EQ(selfCancelling, 1);
    EXPECT_EQ(cancelled, 0);
    EXPECT_EQ(oneShot, 1);
    EXPECT_FALSE(once->repeats());

    // A handle outliving its loop, and posts after the loop is gone, do nothing.
    int late = 0;
    auto orphan = loop->repeating(0.001, [&] { ++late; });
    loop.reset();
    orphan.reset();
    spin([] { return false; }, 30);
    EXPECT_EQ(late, 0);
}

// The shell watches folders with the inotify watcher posting into this loop: a write made while a
// menu's nested loop runs is reported inside it, on the GUI thread.
TEST(QtMainLoopTest, FolderWritesReachTheGuiThreadInsideANestedLoop) {
    testing::TempFolder folder;
    QtMainLoop loop;
    InotifyDirectoryWatcher watcher(loop);
    int events = 0;
    bool onGuiThread = true;
    auto watch = watcher.watch(folder.path(), [&] {
        ++events;
        onGuiThread = onGuiThread && QThread::currentThread() == QCoreApplication::instance()->thread();
    });
    ASSERT_TRUE(watch);
    QEventLoop nested;
    QTimer::singleShot(10, &nested, [&] { std::ofstream(folder / "snapshot.json") << "{}"; });
    QTimer::singleShot(300, &nested, &QEventLoop::quit);
    nested.exec();
    EXPECT_GE(events, 1);
    EXPECT_TRUE(onGuiThread);

    watch.reset();
    const int stopped = events;
    std::ofstream(folder / "later.json") << "{}";
    spin([] { return false; }, 100);
    EXPECT_EQ(events, stopped);
}

TEST(QtMainLoopTest, ClocksAdvance) {
    QtMainLoop loop;
    const double start = loop.uptime();
    const Instant wall = loop.now();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_GE(loop.uptime() - start, 0.015);
    EXPECT_GE(secondsBetween(wall, loop.now()), 0.015);
}

}  // namespace
}  // namespace corvane
