#include "platform/posix/SystemDirectoryWatcher.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <vector>
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

#ifdef __linux__
// inotify instances this process holds (each is an "anon_inode:inotify" descriptor).
int inotifyInstances() {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        count += std::filesystem::read_symlink(entry.path(), error).string() == "anon_inode:inotify";
    }
    return count;
}

// Every watch shares one inotify instance (the app's end-to-end fault table counts them with
// 2,000 folders); two watches of one folder each still get its events.
TEST(SystemDirectoryWatcher, EveryWatchSharesOneInotifyInstance) {
    TempFolder folder;
    FakeMainLoop loop;
    auto watcher = makeSystemDirectoryWatcher(loop);
    const int before = inotifyInstances();
    std::filesystem::create_directory(folder / "7");

    int first = 0, second = 0;
    auto one = watcher->watch(folder / "7", [&] { ++first; });
    auto other = watcher->watch(folder / "7", [&] { ++second; });
    const auto writeAndDeliver = [&](const std::string& name) {
        std::ofstream(folder / ("7/" + name)) << "x";
        for (int i = 0; i < 500 && loop.pendingJobCount() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
        loop.runPending();
    };
    writeAndDeliver("a");
    EXPECT_GE(first, 1);
    EXPECT_GE(second, 1);
    one.reset();  // the other watch of the folder goes on
    writeAndDeliver("b");
    EXPECT_GE(second, 2);
    other.reset();
    watcher.reset();
    EXPECT_EQ(inotifyInstances(), before);
}
#endif

}  // namespace
}  // namespace corvane
