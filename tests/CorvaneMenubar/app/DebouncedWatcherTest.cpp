#include "app/DebouncedWatcher.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fakes/FakeDirectoryWatcher.h"
#include "fakes/FakeMainLoop.h"

namespace corvane {
namespace {

struct Rig {
    FakeMainLoop loop;
    FakeDirectoryWatcher fs;
    int changes = 0;
    std::unique_ptr<DebouncedWatcher> watch(const std::string& path) {
        return DebouncedWatcher::make(fs, loop, path, [this] { ++changes; });
    }
};

TEST(DebouncedWatcher, FoldsBurstsOfEventsIntoOneChangeEach) {
    struct Row { std::vector<double> eventTimes; int changes; };  // seconds after the start, then a quiet spell
    const std::vector<Row> rows = {{{0.0, 0.02, 0.05, 0.09, 0.13}, 1}, {{0.0, 0.15}, 2}, {{}, 0}};
    for (const auto& row : rows) {
        Rig rig;
        auto watcher = rig.watch("/w");
        ASSERT_NE(watcher, nullptr);
        double at = 0;
        for (double t : row.eventTimes) {
            rig.loop.advance(t - at);
            at = t;
            rig.fs.trigger("/w");
        }
        rig.loop.advance(5.0);
        EXPECT_EQ(rig.changes, row.changes) << &row - rows.data();
    }

    Rig rig;  // the change comes only once the quiet time has passed
    auto watcher = rig.watch("/w");
    rig.fs.trigger("/w");
    rig.loop.advance(0.099);
    EXPECT_EQ(rig.changes, 0);
    rig.loop.advance(0.002);
    EXPECT_EQ(rig.changes, 1);
}

TEST(DebouncedWatcher, UnopenablePathGivesNoWatcherAndDestroyingStopsTheWatch) {
    Rig rig;
    rig.fs.unopenable.insert("/gone");
    EXPECT_EQ(rig.watch("/gone"), nullptr);

    auto watcher = rig.watch("/w");
    rig.fs.trigger("/w");
    watcher.reset();  // drops the pending change too
    rig.loop.advance(1.0);
    EXPECT_EQ(rig.changes, 0);
    EXPECT_EQ(rig.fs.trigger("/w"), 0u);
    EXPECT_EQ(rig.loop.activeTimerCount(), 0u);
}

TEST(DebouncedWatcher, TheChangeMayReplaceItsOwnWatcher) {
    // A redraw started by the change can swap the watched folders from inside the call.
    Rig rig;
    std::unique_ptr<DebouncedWatcher> watcher;
    watcher = DebouncedWatcher::make(rig.fs, rig.loop, "/a", [&] { watcher = rig.watch("/b"); });
    rig.fs.trigger("/a");
    rig.loop.advance(0.2);
    EXPECT_EQ(rig.fs.watchedPaths(), std::vector<std::string>{"/b"});
}

}  // namespace
}  // namespace corvane
