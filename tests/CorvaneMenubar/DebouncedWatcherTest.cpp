#include "DebouncedWatcher.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fakes/FakeDirectoryWatcher.h"
#include "fakes/FakeMainLoop.h"

namespace corvane {
namespace {

// Raw events at the given virtual times (seconds after the start), then a long quiet spell.
struct BurstCase {
    const char* name;
    std::vector<double> eventTimes;
    int expectedChanges;
};

TEST(DebouncedWatcher, FoldsBurstsOfEventsIntoOneChangeEach) {
    const std::vector<BurstCase> cases = {
        {"one event", {0.0}, 1},
        {"burst within the quiet time", {0.0, 0.02, 0.05, 0.09, 0.13}, 1},
        {"two events exactly apart by more than the quiet time", {0.0, 0.15}, 2},
        {"two bursts", {0.0, 0.01, 0.02, 1.0, 1.05}, 2},
        {"no event", {}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeMainLoop loop;
        FakeDirectoryWatcher fs;
        int changes = 0;
        auto watcher = DebouncedWatcher::make(fs, loop, "/w", [&] { ++changes; });
        ASSERT_NE(watcher, nullptr);
        double at = 0;
        for (double t : c.eventTimes) {
            loop.advance(t - at);
            at = t;
            fs.trigger("/w");
        }
        loop.advance(5.0);
        EXPECT_EQ(changes, c.expectedChanges);
    }
}

TEST(DebouncedWatcher, ChangeComesOnlyAfterTheQuietTime) {
    FakeMainLoop loop;
    FakeDirectoryWatcher fs;
    int changes = 0;
    auto watcher = DebouncedWatcher::make(fs, loop, "/w", [&] { ++changes; });
    fs.trigger("/w");
    loop.advance(0.099);
    EXPECT_EQ(changes, 0);
    loop.advance(0.002);
    EXPECT_EQ(changes, 1);
}

TEST(DebouncedWatcher, UnopenablePathGivesNoWatcher) {
    FakeMainLoop loop;
    FakeDirectoryWatcher fs;
    fs.unopenable.insert("/gone");
    EXPECT_EQ(DebouncedWatcher::make(fs, loop, "/gone", [] {}), nullptr);
    EXPECT_TRUE(fs.watchedPaths().empty());
}

TEST(DebouncedWatcher, DestroyingDropsThePendingChangeAndStopsTheWatch) {
    FakeMainLoop loop;
    FakeDirectoryWatcher fs;
    int changes = 0;
    auto watcher = DebouncedWatcher::make(fs, loop, "/w", [&] { ++changes; });
    fs.trigger("/w");
    watcher.reset();
    loop.advance(1.0);
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(fs.trigger("/w"), 0u);
    EXPECT_EQ(loop.activeTimerCount(), 0u);
}

TEST(DebouncedWatcher, TheChangeMayReplaceItsOwnWatcher) {
    // A redraw started by the change can swap the watched folders from inside the call.
    FakeMainLoop loop;
    FakeDirectoryWatcher fs;
    std::unique_ptr<DebouncedWatcher> watcher;
    int changes = 0;
    watcher = DebouncedWatcher::make(fs, loop, "/a", [&] {
        ++changes;
        watcher = DebouncedWatcher::make(fs, loop, "/b", [&] { ++changes; });
    });
    fs.trigger("/a");
    loop.advance(0.2);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(fs.watchedPaths(), std::vector<std::string>{"/b"});
}

}  // namespace
}  // namespace corvane
