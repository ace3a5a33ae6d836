#include "headless/SystemDirectoryWatcher.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "DebouncedWatcher.h"
#include "TempFolder.h"
#include "fakes/FakeMainLoop.h"
#include "headless/HeadlessMainLoop.h"

namespace corvane {
namespace {

using testing::TempFolder;

// The system's watcher (inotify, kqueue) and a real loop: a file appearing in the folder reaches
// the debounced callback on the loop's thread. The 10 s fallback only catches a hang.
TEST(SystemDirectoryWatcher, AFileWrittenInTheFolderReachesTheLoopAndAMissingFolderGivesNoWatch) {
    TempFolder folder;
    HeadlessMainLoop loop;
    auto watcher = makeSystemDirectoryWatcher(loop);
    int changes = 0;
    auto watch = DebouncedWatcher::make(*watcher, loop, folder.path(), [&] { ++changes, loop.quit(); });
    ASSERT_NE(watch, nullptr);
    std::thread writer([&] {
        for (int i = 0; i < 5; ++i) std::ofstream(folder / ("f" + std::to_string(i))) << "x";
    });
    auto giveUp = loop.oneShot(10.0, [&] { loop.quit(); });
    loop.run();
    writer.join();
    EXPECT_GE(changes, 1);
    EXPECT_EQ(watcher->watch("/nonexistent/corvane/folder", [] {}), nullptr);
}

TEST(SystemDirectoryWatcher, ADeliveryAlreadyPostedIsDroppedOnceTheWatchIsDestroyed) {
    TempFolder folder;
    FakeMainLoop loop;  // holds the posted delivery until the test runs it
    auto watcher = makeSystemDirectoryWatcher(loop);
    int events = 0;
    auto watch = watcher->watch(folder.path(), [&] { ++events; });
    ASSERT_NE(watch, nullptr);
    std::ofstream(folder / "a") << "x";
    for (int i = 0; i < 500 && loop.pendingJobCount() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_GT(loop.pendingJobCount(), 0u);
    watch.reset();
    loop.runPending();
    EXPECT_EQ(events, 0);
}

}  // namespace
}  // namespace corvane
