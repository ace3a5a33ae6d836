#include "AppDelegate.h"

#include <deque>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "CorvaneMenubar/TempFolder.h"
#include "MenuTime.h"
#include "fakes/FakeAppearance.h"
#include "fakes/FakeBackgroundWork.h"
#include "fakes/FakeDefaults.h"
#include "fakes/FakeDirectoryWatcher.h"
#include "fakes/FakeEffects.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakeMainLoop.h"
#include "headless/MemoryMenu.h"
#include "headless/MenuTreeJson.h"

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
    FakeBackgroundWork work{FakeBackgroundWork::Mode::held};
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
        operations.runMenu = [this](const CliLocator::Located&, const MenuRun& run) {
            runs.push_back(run);
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
    // Runs the held poll (if any) and hands its result to the main thread.
    bool finishPoll() {
        bool ran = work.runNext();
        loop.runPending();
        return ran;
    }
    Json menu() const { return menuTreeJson(*statusItem.menu()); }
    std::string menuText() const { return menu().dump(); }
    std::size_t refreshLines() const { return log->recentRefreshes().size(); }
};

TEST(AppDelegate, LaunchRunsTheFirstPollOffTheMainThreadAndShowsThePayload) {
    Harness h;
    h.app->applicationDidFinishLaunching();
    EXPECT_EQ(h.statusItem.toolTip(), "Corvane");
    EXPECT_TRUE(std::holds_alternative<appstate::Checking>(*h.app->renderedState()));
    ASSERT_EQ(h.work.heldCount(), 1u);
    EXPECT_EQ(h.work.priorities().back(), WorkPriority::utility);
    h.finishPoll();
    ASSERT_EQ(h.runs.size(), 1u);
    EXPECT_EQ(h.runs[0].arguments, std::vector<std::string>{"menu"});
    EXPECT_EQ(h.runs[0].refreshId.size(), 36u);
    EXPECT_TRUE(std::holds_alternative<appstate::Payload>(*h.app->renderedState()));
    EXPECT_EQ(h.app->renderedIconState(), IconState::running);
    EXPECT_EQ(h.refreshLines(), 1u);
    EXPECT_NE(h.log->recentRefreshes().back().find("\"trigger\":\"launch\""), std::string::npos);
}

TEST(AppDelegate, TriggersDuringARunQueueTheFirstAndItRefreshesAfterTheRender) {
    Harness h;
    h.app->applicationDidFinishLaunching();
    h.app->refresh(PollTrigger::timer);
    h.app->refresh(PollTrigger::directoryChange);
    EXPECT_EQ(h.app->queuedPollTrigger(), PollTrigger::timer);
    EXPECT_EQ(h.work.heldCount(), 1u);
    h.work.runNext();
    h.loop.runPending();
    EXPECT_FALSE(h.app->queuedPollTrigger());
    EXPECT_TRUE(h.app->pollInFlight());
    EXPECT_EQ(h.app->pollTrigger(), PollTrigger::timer);
    EXPECT_EQ(h.work.heldCount(), 1u);
}

TEST(AppDelegate, MenuOpeningsWithinFiveSecondsRunOnceUnlessTheSnapshotAsksForAnotherRun) {
    struct Case {
        const char* name;
        bool refreshPending;
        std::size_t runsAfterSecondOpening;
    };
    for (const Case& c : {Case{"no snapshot source", false, 2}, Case{"refresh pending", true, 3}}) {
        SCOPED_TRACE(c.name);
        Harness h;
        Json first = answer();
        std::string snapshotPath = h.temp / "snapshot.json";
        std::string requestPath = h.temp / "refresh-request";
        if (c.refreshPending) {
            first["snapshotFiles"] = {{"snapshot", snapshotPath},
                                      {"refreshRequest", requestPath},
                                      {"openRequest", h.temp / "open-request"}};
            first["snapshotIdentity"] = {{"apiUrl", "https://api"}, {"webUrl", "https://app"}};
            Json file = first;
            Instant now = h.loop.now();
            file["snapshot"] = {{"version", 1},
                                {"bootId", "boot"},
                                {"pid", 1},
                                {"sequence", 1},
                                {"writtenAt", iso8601(now)},
                                {"staleAfter", iso8601(plusSeconds(now, 3600))},
                                {"readStartedAt", iso8601(plusSeconds(now, -60))},
                                {"apiUrl", "https://api"},
                                {"webUrl", "https://app"}};
            writeFile(snapshotPath, file.dump());
            writeFile(requestPath, "");
            setModified(requestPath, plusSeconds(now, -30));
        }
        h.answers = {answered(first), answered(first)};
        h.launch();
        h.loop.advance(10);
        h.statusItem.reportMenuWillOpen();
        h.finishPoll();
        EXPECT_EQ(h.runs.size(), 2u);
        h.statusItem.reportMenuDidClose();
        h.loop.advance(3);
        h.statusItem.reportMenuWillOpen();
        h.finishPoll();
        EXPECT_EQ(h.runs.size(), c.runsAfterSecondOpening);
        if (c.refreshPending) {
            EXPECT_EQ(h.app->pollSnapshotSkip(), SnapshotSkip::refreshPending);
            // The opening told the CLI that somebody is looking.
            std::ifstream request(h.temp / "open-request");
            std::string text((std::istreambuf_iterator<char>(request)), std::istreambuf_iterator<char>());
            EXPECT_TRUE(parseMenuTime(text));
        }
    }
}

TEST(AppDelegate, EachFailureIsWordedAndCountedAndTheStreakRetriesOnce) {
    struct Case {
        const char* name;
        ProcessRunner::Result result;
        std::string detail;
    };
    ProcessRunner::Outcome timedOut{"", "", -1, true};
    std::string marker = "CORVANE_DIAGNOSTIC {\"version\":1,\"failure\":{\"outcome\":\"failed\",\"domain\":\"Corvane\","
                         "\"code\":\"SIM_FAILURE\"}}\n";
    ClientDiagnostic spawn{DiagnosticOperation::menuPoll, DiagnosticOutcome::missing, "NSPOSIXErrorDomain", "2",
                           std::nullopt, std::nullopt};
    const Case cases[] = {
        {"spawn", ProcessRunner::Failure{spawn}, "corvane menu couldn't start: " + spawn.summary()},
        {"timeout", timedOut, "corvane menu didn't answer within 90 seconds"},
        {"exit with a CLI diagnostic", exited(3, "", "noise\n" + marker),
         "corvane menu exited 3: menu.poll failed Corvane SIM_FAILURE. Reopen the menu to retry."},
        {"bare exit", exited(1, "", "boom"), "corvane menu exited 1: menu.poll failed exit 1. Reopen the menu to retry."},
        {"garbage", exited(0, "not json"), "corvane menu answered with something unreadable. Reopen the menu to retry."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Harness h;
        h.answers = {c.result, c.result, c.result};
        h.launch();
        EXPECT_EQ(h.app->lastFailureDetail(), c.detail);
        EXPECT_EQ(h.app->consecutivePollFailures(), 1);
        // One failure right after launch keeps the connecting row.
        EXPECT_TRUE(std::holds_alternative<appstate::Checking>(*h.app->renderedState()));

        h.loop.advance(4.9);
        EXPECT_EQ(h.work.heldCount(), 0u);
        h.loop.advance(0.1);
        ASSERT_EQ(h.work.heldCount(), 1u);
        EXPECT_EQ(h.app->pollTrigger(), PollTrigger::retry);
        h.finishPoll();
        EXPECT_EQ(h.app->consecutivePollFailures(), 2);
        EXPECT_TRUE(std::holds_alternative<appstate::Unresponsive>(*h.app->renderedState()));
        auto text = h.menuText();
        EXPECT_NE(text.find("The Corvane CLI isn't responding"), std::string::npos);
        EXPECT_NE(text.find(c.detail), std::string::npos) << text;

        // The second failure of the streak schedules no retry of its own.
        h.loop.advance(10);
        EXPECT_EQ(h.work.heldCount(), 0u);
    }
}

TEST(AppDelegate, BakedRowsForAMissingCliAndAnotherContract) {
    struct Case {
        const char* name;
        bool installed;
        std::optional<ProcessRunner::Result> result;
        std::string title;
    };
    Json newer = answer();
    newer["contract"] = 2;
    const Case cases[] = {
        {"no CLI", false, std::nullopt, "The Corvane CLI isn't installed"},
        {"contract 2", true, answered(newer), "This app is too old for the installed Corvane CLI"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Harness h;
        h.cliInstalled = c.installed;
        if (c.result) h.answers = {*c.result};
        h.launch();
        EXPECT_EQ(h.app->consecutivePollFailures(), 0);
        EXPECT_FALSE(h.app->lastFailureDetail());
        EXPECT_EQ(h.menu()[0].value("toolTip", "").rfind(c.title, 0), 0u) << h.menuText();
        // Neither is a failure: no retry.
        h.loop.advance(6);
        EXPECT_EQ(h.work.heldCount(), 0u);
    }
}

struct SnapshotHarness : Harness {
    std::string snapshotPath = temp / "snapshot.json";
    Json announced = answer(Json::array({actionRow("From process", "a")}));

    SnapshotHarness() {
        announced["snapshotFiles"] = {
            {"snapshot", snapshotPath}, {"refreshRequest", temp / "refresh"}, {"openRequest", temp / "open"}};
        announced["snapshotIdentity"] = {{"apiUrl", "https://api"}, {"webUrl", "https://app"}};
        answers = {answered(announced)};
    }
    void writeSnapshot(const std::string& bootId, int sequence, const std::string& title) {
        Json file = announced;
        file["items"] = Json::array({actionRow(title, "b")});
        Instant now = loop.now();
        file["snapshot"] = {{"version", 1},
                            {"bootId", bootId},
                            {"pid", 1},
                            {"sequence", sequence},
                            {"writtenAt", iso8601(plusSeconds(now, -2))},
                            {"staleAfter", iso8601(plusSeconds(now, 600))},
                            {"readStartedAt", iso8601(plusSeconds(now, -3))},
                            {"apiUrl", "https://api"},
                            {"webUrl", "https://app"}};
        writeFile(snapshotPath, file.dump());
    }
};

TEST(AppDelegate, ASnapshotIsDrawnWithoutAProcessAndLoggedOncePerGeneration) {
    SnapshotHarness h;
    h.launch();
    h.writeSnapshot("boot-1", 4, "From snapshot");
    std::size_t linesBefore = h.refreshLines();

    h.app->refresh(PollTrigger::timer);
    EXPECT_EQ(h.work.heldCount(), 0u);
    EXPECT_NE(h.menuText().find("From snapshot"), std::string::npos);
    EXPECT_EQ(h.refreshLines(), linesBefore + 1);
    EXPECT_NE(h.log->recentRefreshes().back().find("\"outcome\":\"drawn\""), std::string::npos);

    h.app->refresh(PollTrigger::directoryChange);
    EXPECT_EQ(h.refreshLines(), linesBefore + 1);

    h.writeSnapshot("boot-1", 5, "From snapshot");
    h.app->refresh(PollTrigger::timer);
    EXPECT_EQ(h.refreshLines(), linesBefore + 2);
    EXPECT_EQ(h.runs.size(), 1u);
}

TEST(AppDelegate, AReplacedCliSkipsTheSnapshot) {
    SnapshotHarness h;
    h.launch();
    h.writeSnapshot("boot-1", 1, "From snapshot");
    setModified(h.cliPath, plusSeconds(h.loop.now(), -7200));
    h.app->refresh(PollTrigger::timer);
    EXPECT_EQ(h.work.heldCount(), 1u);
    EXPECT_EQ(h.app->pollSnapshotSkip(), SnapshotSkip::cliChanged);
    h.finishPoll();
    EXPECT_NE(h.log->recentRefreshes().back().find("\"outcome\":\"cli-changed\""), std::string::npos);
}

TEST(AppDelegate, AnUnchangedRefreshIntervalKeepsTheTimersPhase) {
    Harness h;
    h.answers = {answered(answer())};  // refreshSeconds 30
    h.launch();
    h.loop.advance(20);
    h.app->scheduleRefresh(30);
    h.loop.advance(10.5);
    EXPECT_EQ(h.work.heldCount(), 1u) << "the timer kept its phase and fired 30 s after it started";
    EXPECT_EQ(h.app->pollTrigger(), PollTrigger::timer);
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

    h.app->pollNow(PollTrigger::timer, std::nullopt);
    h.finishPoll();
    EXPECT_EQ(live->count(), before.size());
    h.statusItem.reportMenuDidClose();
    h.loop.runPending();
    EXPECT_EQ(live->count(), before.size() + 1);
    EXPECT_NE(h.menuText().find("Doctor"), std::string::npos);
}

TEST(AppDelegate, TheUpdatePresentationIsRestoredPersistedAndAFailedUpdateShowsAttention) {
    Harness h;
    CliUpdatePresentation failed;
    failed.update = CliUpdate{CliUpdatePhase::failed, "1.5.0", "1.4.0", "It broke", false, {"update", "--background"},
                              "/tmp/update.log"};
    failed.startedAt = h.loop.now();
    failed.sourceVersion = "1.4.0";
    h.defaults.setData(h.app->updatePresentationKey(), encodeCliUpdatePresentation(failed));
    h.launch();
    EXPECT_EQ(h.app->updatePresentation(), failed);
    EXPECT_TRUE(std::holds_alternative<appstate::Payload>(*h.app->renderedState()));
    EXPECT_EQ(h.app->renderedIconState(), IconState::attention);
    EXPECT_FALSE(h.statusItem.image()->isTemplate);

    // Retrying starts an installation, which is written back at the next render.
    auto generation = h.app->updateGeneration();
    h.app->perform(cliUpdateAction(*failed.update));
    h.loop.runPending();
    EXPECT_EQ(h.app->updateGeneration(), generation + 1);
    auto stored = decodeCliUpdatePresentation(h.defaults.data(h.app->updatePresentationKey()).value_or(""));
    ASSERT_TRUE(stored);
    EXPECT_TRUE(stored->isInstalling());
    EXPECT_EQ(h.app->renderedIconState(), IconState::running);

    // Unreadable stored data starts empty and is logged, never shown.
    Harness broken;
    broken.defaults.setData(broken.app->updatePresentationKey(), "{not json");
    broken.launch();
    EXPECT_FALSE(broken.app->updatePresentation().update);
    EXPECT_EQ(broken.log->recent().size(), 1u);
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
    h.app->pollNow(PollTrigger::timer, std::nullopt);  // in flight when the update starts
    CliUpdate offer{CliUpdatePhase::available, "1.5.0", "1.4.0", std::nullopt, false, {"update", "--background"},
                    "/tmp/update.log"};
    h.app->perform(cliUpdateAction(offer));
    ASSERT_TRUE(h.app->updatePresentation().isInstalling());
    h.finishPoll();
    EXPECT_TRUE(h.app->updatePresentation().isInstalling()) << "an answer from before the update moved it";
    h.app->pollNow(PollTrigger::timer, std::nullopt);
    h.work.runAll();
    h.loop.runPending();
    ASSERT_TRUE(h.app->updatePresentation().update);
    EXPECT_EQ(h.app->updatePresentation().update->phase, CliUpdatePhase::succeeded);
}

TEST(AppDelegate, TerminationStopsTimersWatchersAndRemovesTheStatusItem) {
    Harness h;
    Json watching = answer();
    watching["watchPaths"] = {h.temp.path()};
    h.answers = {answered(watching)};
    h.launch();
    EXPECT_EQ(h.watcher.watchedPaths(), std::vector<std::string>{h.temp.path()});
    h.app->applicationWillTerminate();
    EXPECT_TRUE(h.statusItem.removed());
    EXPECT_TRUE(h.watcher.watchedPaths().empty());
    EXPECT_EQ(h.loop.activeTimerCount(), 0u);
}

}  // namespace
}  // namespace corvane
