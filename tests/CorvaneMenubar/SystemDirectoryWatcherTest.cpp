#include "headless/SystemDirectoryWatcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <future>
#include <thread>

#include "DebouncedWatcher.h"
#include "TempFolder.h"
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

// Forwards to a real loop and tells the test when the first job was posted.
class PostSignallingLoop : public MainLoop {
public:
    explicit PostSignallingLoop(HeadlessMainLoop& loop) : loop_(loop) {}
    void post(Job job) override {
        loop_.post(std::move(job));
        if (!signalled_.exchange(true)) posted_.set_value();
    }
    std::unique_ptr<TimerHandle> repeating(double s, Job job) override { return loop_.repeating(s, std::move(job)); }
    std::unique_ptr<TimerHandle> oneShot(double s, Job job) override { return loop_.oneShot(s, std::move(job)); }
    double uptime() const override { return loop_.uptime(); }
    Instant now() const override { return loop_.now(); }
    bool waitForPost() { return posted_.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready; }

private:
    HeadlessMainLoop& loop_;
    std::atomic<bool> signalled_{false};
    std::promise<void> posted_;
};

TEST(SystemDirectoryWatcher, ADeliveryAlreadyPostedIsDroppedOnceTheWatchIsDestroyed) {
    TempFolder folder;
    HeadlessMainLoop loop;
    PostSignallingLoop signalling(loop);
    auto watcher = makeSystemDirectoryWatcher(signalling);
    int events = 0;
    auto watch = watcher->watch(folder.path(), [&] { ++events; });
    ASSERT_NE(watch, nullptr);
    std::ofstream(folder / "a") << "x";
    ASSERT_TRUE(signalling.waitForPost());
    watch.reset();
    loop.post([&] { loop.quit(); });
    loop.run();
    EXPECT_EQ(events, 0);
}

}  // namespace
}  // namespace corvane
