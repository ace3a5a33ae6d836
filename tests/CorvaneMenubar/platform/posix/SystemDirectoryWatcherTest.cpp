#include "platform/posix/SystemDirectoryWatcher.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "support/TempFolder.h"
#include "fakes/FakeMainLoop.h"

namespace corvane {
namespace {

using testing::TempFolder;

// The system's watcher (inotify, kqueue) posts each event to the loop, where it reaches the
// callback; a delivery already posted when its watch is destroyed must not run. A folder that
// does not exist gives no watch.
TEST(SystemDirectoryWatcher, AFileWrittenReachesTheLoopUntilTheWatchIsDestroyed) {
    TempFolder folder;
    FakeMainLoop loop;  // holds each posted delivery until the test runs it
    auto watcher = makeSystemDirectoryWatcher(loop);
    EXPECT_EQ(watcher->watch("/nonexistent/corvane/folder", [] {}), nullptr);
    int events = 0;
    auto watch = watcher->watch(folder.path(), [&] { ++events; });
    ASSERT_NE(watch, nullptr);
    const auto writeAndWaitForPost = [&](const std::string& name) {
        std::ofstream(folder / name) << "x";
        for (int i = 0; i < 500 && loop.pendingJobCount() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return loop.pendingJobCount() > 0;
    };
    ASSERT_TRUE(writeAndWaitForPost("a"));
    loop.runPending();
    EXPECT_GE(events, 1);
    ASSERT_TRUE(writeAndWaitForPost("b"));
    const int delivered = events;
    watch.reset();
    loop.runPending();
    EXPECT_EQ(events, delivered);
}

}  // namespace
}  // namespace corvane
