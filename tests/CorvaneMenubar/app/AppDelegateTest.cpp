#include "app/AppDelegate.h"

#include <atomic>
#include <deque>
#include <filesystem>
#include <fcntl.h>
#include <functional>
#include <fstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/TempFolder.h"
#include "MenuTime.h"
#include "fakes/FakeAppearance.h"
#include "fakes/FakeBackgroundWork.h"
#include "fakes/FakeDefaults.h"
#include "fakes/FakeDirectoryWatcher.h"
#include "fakes/FakeEffects.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakeMainLoop.h"
#include "menu/MemoryMenu.h"
#include "platform/headless/MemoryStatusItem.h"
#include "menu/MenuTreeJson.h"

namespace corvane {
namespace {

using Json = nlohmann::json;

Json answer(Json items = Json::array()) {
    return {{"contract", 1}, {"appEnv", "production"}, {"cliVersion", "1.4.0"}, {"icon", "running"},
            {"refreshSeconds", 30},  {"watchPaths", Json::array()}, {"items", std::move(items)},
            {"more", Json::array()}};
}

Json actionRow(const std::string& title, const std::string& argument) {
    return {{"type", "action"}, {"title", title}, {"run", {"sessions", argument}}};
}

ProcessRunner::Result exited(int code, std::string out, std::string err = {}) {
    return ProcessRunner::Outcome{std::move(out), std::move(err), code, false};
}
ProcessRunner::Result answered(const Json& json) { return exited(0, json.dump() + "\n"); }

void writeFile(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

void setModified(const std::string& path, Instant at) {
    auto us = at.time_since_epoch().count();
    timespec times[2] = {{us / 1'000'000, (us % 1'000'000) * 1000}, {us / 1'000'000, (us % 1'000'000) * 1000}};
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

// The delegate on fakes in virtual time. Background hops are held until `finishPoll`.
struct Harness {
    testing::TempFolder temp;
    FakeMainLoop loop;
    FakeBackgroundWork work;
    FakeDirectoryWatcher watcher;
    MemoryStatusItem statusItem;
    MemoryMenuFactory factory;
    FixedWidthTextMeasure measure;
    FakeEffects effects;
    FakeLoginItem loginItem;
    FakeDefaults defaults;
    FakeAppearance appearance;
    std::unique_ptr<ClientLog> log;
    std::shared_ptr<ActionRunner> runner;
    std::shared_ptr<AppDelegate> app;

    std::string cliPath = temp / "corvane";
    bool cliInstalled = true;
    std::deque<ProcessRunner::Result> answers;  // next results of the menu run; default: `answer()`
    std::vector<MenuRun> runs;
    bool hang = false;  // the menu run blocks until it is cancelled
    std::atomic<bool> hanging{false};
    std::function<void()> onCancelled;  // called on the hop once a hanging run sees its cancellation

    Harness() {
        writeFile(cliPath, "#!/bin/sh\n");
        ::chmod(cliPath.c_str(), 0755);
        log = std::make_unique<ClientLog>(temp / "logs", "1.0.0", "production", "Test OS");
        runner = ActionRunner::create(loop, work, effects);
        AppOperations operations;
        operations.locateCli = [this]() -> std::optional<CliLocator::Located> {
            if (!cliInstalled) return std::nullopt;
            return CliLocator::Located{cliPath, "/usr/bin"};
        };
        operations.runMenu = [this](const CliLocator::Located&, const MenuRun& run, const RunCancellation& cancel) {
            runs.push_back(run);
            if (hang) {
                hanging = true;
                while (!cancel.requested()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
                if (onCancelled) onCancelled();
            }
            if (answers.empty()) return answered(answer());
            auto next = answers.front();
            answers.pop_front();
            return next;
        };
        operations.isRunning = [](std::int32_t) { return true; };
        AppSeams seams{loop,     work,    watcher,    statusItem, factory, measure,
                       effects, loginItem, defaults, appearance};
        app = AppDelegate::create(seams, Variant{}, *log, runner, std::move(operations));
    }

    void launch() {
        app->applicationDidFinishLaunching();
        finishPoll();
    }
    // Runs the oldest held hop (a process run) and hands its result back.
    bool finishPoll() {
        bool ran = work.runNext();
        loop.runPending();
        return ran;
    }
    // Runs hops until none is held.
    void settle() {
        do {
            finishPoll();
        } while (work.heldCount() > 0);
    }
    Json menu() const { return menuTreeJson(*statusItem.menu()); }
    std::string menuText() const { return menu().dump(); }
    std::size_t refreshLines() const { return log->recentRefreshes().size(); }
};

// Triggers that arrive during the run queue the first; it refreshes after the result's render.
TEST(AppDelegate, LaunchRunsTheFirstPollOffTheMainThreadAndQueuesTriggersMeanwhile) {
    Harness h;
    h.app->applicationDidFinishLaunching();
    EXPECT_TRUE(std::holds_alternative<appstate::Checking>(*h.app->renderedState()));
    EXPECT_EQ(h.work.priorities(), std::vector<WorkPriority>{WorkPriority::utility});
    h.app->pollCycle().refresh(PollTrigger::timer);
    h.app->pollCycle().refresh(PollTrigger::directoryChange);
    EXPECT_EQ(h.app->pollCycle().queuedPollTrigger(), PollTrigger::timer);
    h.finishPoll();
    ASSERT_EQ(h.runs.size(), 1u);
    EXPECT_EQ(h.runs[0].arguments, std::vector<std::string>{"menu"});
    EXPECT_EQ(h.runs[0].refreshId.size(), 36u);
    EXPECT_FALSE(h.app->pollCycle().queuedPollTrigger());
    EXPECT_TRUE(h.app->pollCycle().pollInFlight());
    EXPECT_EQ(h.app->pollCycle().pollTrigger(), PollTrigger::timer);
}

TEST(AppDelegate, EachFailureIsWordedAndCountedAndTheStreakRetriesOnce) {
    struct Case {
        const char* name;
        std::optional<ProcessRunner::Result> result;  // absent: no CLI
        std::string detail;                           // empty: not a failure
        std::string firstRow;
    };
    ProcessRunner::Outcome timedOut{"", "", -1, true};
    std::string marker = "CORVANE_DIAGNOSTIC {\"version\":1,\"failure\":{\"outcome\":\"failed\",\"domain\":\"Corvane\","
                         "\"code\":\"SIM_FAILURE\"}}\n";
    ClientDiagnostic spawn{DiagnosticOperation::menuPoll, DiagnosticOutcome::missing, "NSPOSIXErrorDomain", "2",
                           std::nullopt, std::nullopt};
    Json newer = answer();
    newer["contract"] = 2;
    const std::string unresponsive = "The Corvane CLI isn't responding";
    const Case cases[] = {
        {"spawn", ProcessRunner::Failure{spawn}, "corvane menu couldn't start: " + spawn.summary(), unresponsive},
        {"timeout", timedOut, "corvane menu didn't answer within 90 seconds", unresponsive},
        {"exit with a CLI diagnostic", exited(3, "", "noise\n" + marker),
         "corvane menu exited 3: menu.poll failed Corvane SIM_FAILURE. Reopen the menu to retry.", unresponsive},
        {"bare exit", exited(1, "", "boom"), "corvane menu exited 1: menu.poll failed exit 1. Reopen the menu to retry.",
         unresponsive},
        {"garbage", exited(0, "not json"), "corvane menu answered with something unreadable. Reopen the menu to retry.",
         unresponsive},
        {"answer over the output limit", ProcessRunner::Outcome{"", "", -1, false, true},
         "corvane menu answered with more than 16 MB. Reopen the menu to retry.", unresponsive},
        {"no CLI", std::nullopt, "", "The Corvane CLI isn't installed"},
        {"contract 2", answered(newer), "", "This app is too old for the installed Corvane CLI"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Harness h;
        h.cliInstalled = c.result.has_value();
        if (c.result) h.answers = {*c.result, *c.result, *c.result};
        h.launch();
        EXPECT_EQ(h.app->pollCycle().lastFailureDetail().value_or(""), c.detail);
        h.loop.advance(4.9);
        EXPECT_EQ(h.work.heldCount(), 0u);
        h.loop.advance(0.1);
        // Only a failure retries, 5 s after the first of a streak.
        ASSERT_EQ(h.work.heldCount(), c.detail.empty() ? 0u : 1u);
        if (c.detail.empty()) {
            EXPECT_EQ(h.menu()[0].value("toolTip", "").rfind(c.firstRow, 0), 0u) << h.menuText();
            continue;
        }
        EXPECT_EQ(h.app->pollCycle().pollTrigger(), PollTrigger::retry);
        h.finishPoll();
        EXPECT_EQ(h.app->pollCycle().consecutivePollFailures(), 2);
        auto text = h.menuText();
        EXPECT_NE(text.find(c.firstRow), std::string::npos);
        EXPECT_NE(text.find(c.detail), std::string::npos) << text;
        // The second failure of the streak schedules no retry of its own.
        h.loop.advance(10);
        EXPECT_EQ(h.work.heldCount(), 0u);
    }
}

struct SnapshotHarness : Harness {
    std::string snapshotPath = temp / "snapshot.json";
    std::string requestPath = temp / "refresh";
    std::string openPath = temp / "open";
    Json announced = answer(Json::array({actionRow("From process", "a")}));

    SnapshotHarness() {
        announced["snapshotFiles"] = {{"snapshot", snapshotPath}, {"refreshRequest", requestPath}, {"openRequest", openPath}};
        announced["snapshotIdentity"] = {{"apiUrl", "https://api"}, {"webUrl", "https://app"}};
        answers = {answered(announced), answered(announced), answered(announced)};
    }
    void writeSnapshot(const std::string& bootId, int sequence, const std::string& title) {
        Json file = announced;
        file["items"] = Json::array({actionRow(title, "b")});
        Instant now = loop.now();
        file["snapshot"] = {{"version", 1}, {"bootId", bootId}, {"pid", 1}, {"sequence", sequence},
                            {"writtenAt", iso8601(plusSeconds(now, -2))}, {"staleAfter", iso8601(plusSeconds(now, 600))},
                            {"readStartedAt", iso8601(plusSeconds(now, -3))}, {"apiUrl", "https://api"},
                            {"webUrl", "https://app"}};
        writeFile(snapshotPath, file.dump());
    }
};

// Two openings 3 s apart start one process run unless the snapshot asks for another. Whatever
// sits at the snapshot's or the open request's path (here a FIFO or a huge file) counts as no
// snapshot: nothing blocks or throws and the poll goes on.
TEST(AppDelegate, MenuOpeningsWithinFiveSecondsRunOnceUnlessTheSnapshotAsksForAnotherRun) {
    namespace fs = std::filesystem;
    for (std::string kind : {"no source", "refresh pending", "FIFO", "huge"}) {
        SCOPED_TRACE(kind);
        SnapshotHarness h;
        const std::string& path = h.snapshotPath;
        std::optional<SnapshotSkip> skip = SnapshotSkip::missing;
        if (kind == "no source") {
            h.answers = {answered(answer()), answered(answer())};
            skip.reset();
        } else if (kind == "refresh pending") {
            h.writeSnapshot("boot", 1, "From snapshot");
            writeFile(h.requestPath, "");
            setModified(h.requestPath, plusSeconds(h.loop.now(), 30));
            skip = SnapshotSkip::refreshPending;
        } else {
            ::mkfifo(h.openPath.c_str(), 0600);
            if (kind == "FIFO") ::mkfifo(path.c_str(), 0600);
            if (kind == "huge") writeFile(path, "{"), fs::resize_file(path, snapshotSizeLimit + 1);
        }
        h.launch();
        h.loop.advance(10);
        h.statusItem.reportMenuWillOpen();
        h.settle();
        EXPECT_EQ(h.runs.size(), 2u);
        EXPECT_EQ(h.app->pollCycle().pollSnapshotSkip(), skip);
        h.statusItem.reportMenuDidClose();
        h.loop.advance(3);
        h.statusItem.reportMenuWillOpen();
        h.settle();
        EXPECT_EQ(h.runs.size(), skip == SnapshotSkip::refreshPending ? 3u : 2u);
        EXPECT_TRUE(std::holds_alternative<appstate::Payload>(*h.app->renderedState()));
        if (skip != SnapshotSkip::refreshPending) continue;
        // The opening told the CLI that somebody is looking.
        std::ifstream request(h.openPath);
        EXPECT_TRUE(parseMenuTime(std::string(std::istreambuf_iterator<char>(request), {})));
    }
}

// The snapshot is read and drawn at once (a menu that is opening shows it), without a process;
// the payload counts as read at the read's time.
TEST(AppDelegate, ASnapshotIsDrawnAtOnceWithoutAProcessAndLoggedOncePerGeneration) {
    SnapshotHarness h;
    h.launch();
    h.writeSnapshot("boot-1", 4, "From snapshot");
    std::size_t linesBefore = h.refreshLines();

    h.loop.advance(20);
    h.app->pollCycle().refresh(PollTrigger::timer);
    EXPECT_NE(h.menuText().find("From snapshot"), std::string::npos);
    EXPECT_EQ(h.app->pollCycle().lastSuccessAt(), h.loop.now());
    h.app->pollCycle().refresh(PollTrigger::directoryChange);
    EXPECT_EQ(h.work.heldCount(), 0u);
    EXPECT_EQ(h.refreshLines(), linesBefore + 1);
    EXPECT_NE(h.log->recentRefreshes().back().find("\"outcome\":\"drawn\""), std::string::npos);
    EXPECT_EQ(h.runs.size(), 1u);
    // A snapshot drawn later than it was read counts from the read.
    const auto readAt = plusSeconds(h.loop.now(), -1);
    h.app->pollCycle().draw(MenuSnapshot{*h.app->pollCycle().lastPayload(), {}}, PollTrigger::timer, readAt,
                            h.loop.uptime());
    EXPECT_EQ(h.app->pollCycle().lastSuccessAt(), readAt);

    setModified(h.cliPath, plusSeconds(h.loop.now(), -7200));
    h.app->pollCycle().refresh(PollTrigger::timer);
    EXPECT_EQ(h.app->pollCycle().pollSnapshotSkip(), SnapshotSkip::cliChanged);
}

TEST(AppDelegate, AnOpenMenuIsRewrittenInPlaceAndAStructuralChangeWaitsForTheClose) {
    Harness h;
    Json first = answer({actionRow("Sync", "a"), actionRow("Open", "b")});
    Json sameShape = answer({actionRow("Sync", "c"), actionRow("Open", "d")});
    Json longer = answer({actionRow("Sync", "c"), actionRow("Open", "d"), actionRow("Doctor", "e")});
    h.answers = {answered(first), answered(sameShape), answered(longer)};
    h.launch();
    h.loop.advance(10);

    auto live = h.statusItem.menu();
    h.statusItem.reportMenuWillOpen();
    auto before = live->items();
    auto removedBefore = h.factory.counters().itemsRemoved;
    h.finishPoll();
    EXPECT_EQ(live->items(), before);
    EXPECT_EQ(h.factory.counters().itemsRemoved, removedBefore);

    h.app->pollCycle().pollNow(PollTrigger::timer, std::nullopt);
    h.finishPoll();
    EXPECT_EQ(live->count(), before.size());
    h.statusItem.reportMenuDidClose();
    h.loop.runPending();
    EXPECT_EQ(live->count(), before.size() + 1);
    EXPECT_NE(h.menuText().find("Doctor"), std::string::npos);
}

TEST(AppDelegate, TheUpdatePresentationIsRestoredPersistedAndARetryStartsItAgain) {
    Harness h;
    h.runner->runCommand = [](const CliLocator::Located&, const Arguments&, bool, std::shared_ptr<RunCancellation>) {
        return exited(1, "", "");
    };
    CliUpdatePresentation failed;
    failed.update = CliUpdate{CliUpdatePhase::failed, "1.5.0", "1.4.0", "It broke", false, {"update", "--background"},
                              "/tmp/update.log"};
    failed.startedAt = h.loop.now();
    failed.sourceVersion = "1.4.0";
    h.defaults.setData(h.app->updatePresentationKey(), encodeCliUpdatePresentation(failed));
    h.launch();
    EXPECT_EQ(h.app->updatePresentation(), failed);
    EXPECT_EQ(h.app->renderedIconState(), IconState::attention);

    // Choosing the update row starts an installation, which is written back at the next render.
    auto generation = h.app->updateGeneration();
    h.app->perform(cliUpdateAction(*failed.update));
    h.loop.runPending();
    EXPECT_EQ(h.app->updateGeneration(), generation + 1);
    auto stored = decodeCliUpdatePresentation(h.defaults.data(h.app->updatePresentationKey()).value_or(""));
    ASSERT_TRUE(stored);
    EXPECT_TRUE(stored->isInstalling());

    // Its launcher fails; the run state's "Retry" starts the update the way its row does.
    h.work.runAll();
    h.loop.runPending();
    ASSERT_FALSE(h.app->updatePresentation().isInstalling());
    h.app->perform(MenuAction{"Retry", verb::RetryRun{}, std::nullopt, std::nullopt, true});
    EXPECT_TRUE(h.app->updatePresentation().isInstalling());
    EXPECT_EQ(h.app->updateGeneration(), generation + 2);

    // A stored value that does not decode starts empty, is logged under its own operation (not
    // a CLI run's streak), never shown, and dropped so the next launch does not report it again.
    Harness broken;
    broken.defaults.setData(broken.app->updatePresentationKey(), "{not json");
    broken.launch();
    EXPECT_FALSE(broken.app->updatePresentation().update);
    EXPECT_FALSE(broken.defaults.data(broken.app->updatePresentationKey()));
    ASSERT_EQ(broken.log->recent().size(), 1u);
    EXPECT_NE(broken.log->recent().back().find("\"operation\":\"update.persistence\""), std::string::npos);
}

TEST(AppDelegate, OnlyAPollStartedAfterTheUpdateBeganConfirmsIt) {
    Harness h;
    Json updated = answer();
    updated["cliVersion"] = "1.5.0";
    h.answers = {answered(answer()), answered(updated), answered(updated)};
    h.runner->runCommand = [](const CliLocator::Located&, const Arguments&, bool, std::shared_ptr<RunCancellation>) {
        return exited(0, "");
    };
    h.launch();
    h.app->pollCycle().pollNow(PollTrigger::timer, std::nullopt);  // in flight when the update starts
    CliUpdate offer{CliUpdatePhase::available, "1.5.0", "1.4.0", std::nullopt, false, {"update", "--background"},
                    "/tmp/update.log"};
    h.app->perform(cliUpdateAction(offer));
    ASSERT_TRUE(h.app->updatePresentation().isInstalling());
    h.finishPoll();
    EXPECT_TRUE(h.app->updatePresentation().isInstalling()) << "an answer from before the update moved it";
    h.app->pollCycle().pollNow(PollTrigger::timer, std::nullopt);
    h.work.runAll();
    h.loop.runPending();
    ASSERT_TRUE(h.app->updatePresentation().update);
    EXPECT_EQ(h.app->updatePresentation().update->phase, CliUpdatePhase::succeeded);
}

TEST(AppDelegate, TerminationFlushesTheLogStopsTimersWatchersTheRunningPollAndRemovesTheStatusItem) {
    Harness h;
    Json watching = answer();
    watching["watchPaths"] = {h.temp.path()};
    h.answers = {answered(watching)};
    h.launch();
    EXPECT_EQ(h.watcher.watchedPaths(), std::vector<std::string>{h.temp.path()});
    // A repeated failure is written only by the flush, which comes before any wait.
    const ClientDiagnostic failure{DiagnosticOperation::cliRun, DiagnosticOutcome::failed, "exit", "3", {}, {}};
    h.log->record("1", h.loop.now(), failure);
    h.log->record("2", h.loop.now(), failure);
    std::size_t linesWhenStopped = 0;
    h.onCancelled = [&] { linesWhenStopped = h.log->recent().size(); };
    // A poll whose process hangs is stopped, and waited for, before termination returns.
    h.hang = true;
    h.app->pollCycle().pollNow(PollTrigger::timer, std::nullopt);
    std::thread hop([&] { h.work.runNext(); });
    while (!h.hanging) std::this_thread::yield();
    const std::size_t linesBefore = h.log->recent().size();
    h.app->applicationWillTerminate();
    hop.join();
    EXPECT_GT(h.log->recent().size(), linesBefore);
    EXPECT_EQ(linesWhenStopped, h.log->recent().size());
    EXPECT_TRUE(h.statusItem.removed());
    EXPECT_TRUE(h.watcher.watchedPaths().empty());
    EXPECT_EQ(h.loop.activeTimerCount(), 0u);
}

// The timer runs at the CLI's interval held within 1 s and a day; the payload keeps the CLI's
// own number. Asking again for the same interval keeps the timer's phase.
TEST(AppDelegate, TheRefreshTimerIntervalIsHeldWithinBounds) {
    const std::pair<double, double> rows[] = {{30, 30}, {1e10, longestRefreshSeconds}, {0.001, 1}, {-5, 60}};
    for (const auto& [asked, used] : rows) {
        SCOPED_TRACE(asked);
        Harness h;
        Json asking = answer();
        asking["refreshSeconds"] = asked;
        h.answers = {answered(asking)};
        h.launch();
        ASSERT_TRUE(h.app->pollCycle().lastPayload());
        EXPECT_EQ(h.app->pollCycle().lastPayload()->refreshSeconds, asked);
        h.loop.advance(used / 2);
        h.app->pollCycle().scheduleRefresh(asked);
        h.loop.advance(used / 2 - 0.25);
        EXPECT_EQ(h.work.heldCount(), 0u);
        h.loop.advance(0.5);
        EXPECT_EQ(h.work.heldCount(), 1u);
        EXPECT_EQ(h.app->pollCycle().pollTrigger(), PollTrigger::timer);
    }
}

// Renders that would build the same menu (a staleness tick, an opening, an answer with the same
// rows) leave it alone.
TEST(AppDelegate, RendersThatChangeNothingLeaveTheMenuAlone) {
    Harness h;
    h.launch();
    h.factory.resetCounters();
    h.loop.advance(stalenessSeconds);
    h.statusItem.reportMenuWillOpen();
    h.finishPoll();
    h.statusItem.reportMenuDidClose();
    h.loop.runPending();
    EXPECT_EQ(h.runs.size(), 2u);
    EXPECT_EQ(h.factory.counters().updates, 0u);
}

TEST(AppDelegate, TheStaleRowsAgeIsCurrentAtEachOpeningAndWhileOpen) {
    Harness h;
    h.launch();  // refreshSeconds 30: stale after 60 s without an answer
    const auto staleText = [&](double age) { return "No answer for " + durationText(age); };
    h.loop.advance(100);  // the polls of the timer stay unanswered
    h.statusItem.reportMenuWillOpen();
    EXPECT_NE(h.menuText().find(staleText(100)), std::string::npos) << h.menuText();
    auto rows = h.statusItem.menu()->items();
    h.loop.advance(200);
    EXPECT_NE(h.menuText().find(staleText(300)), std::string::npos) << h.menuText();
    EXPECT_EQ(h.statusItem.menu()->items(), rows) << "rewritten in place";
}

}  // namespace
}  // namespace corvane
