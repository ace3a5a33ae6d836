// `corvane-menubar --headless` driven as a user would, against the CLI simulator in a private
// home: frames on stdout, commands on stdin, the simulator's record of what it was asked to run,
// and the app's own log files.

#include "integration/ProcessHarness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace {

using namespace harness;

constexpr const char* demoSession = "Fix flaky login test";

class HeadlessAppTest : public ::testing::Test {
protected:
    void TearDown() override {
        if (!started_) return;
        app.send("quit");
        EXPECT_EQ(app.waitExit(10), 0) << app.errors();
    }

    void launch(std::vector<std::string> env = {}) {
        world.extraEnvironment = std::move(env);
        ASSERT_TRUE(app.start(CORVANE_MENUBAR_EXE, world.appEnvironment(), world.root / "app.err"));
        started_ = true;
    }
    void launchToPayload(std::vector<std::string> env = {}) {
        launch(std::move(env));
        ASSERT_TRUE(app.waitFrameWith(demoSession)) << app.errors();
    }

    // Picks the first row of the newest frame that mentions `text` (or is titled `text`).
    void pick(std::string_view text, bool exact = false) {
        const Json frame = app.lastFrame();
        const auto path = rowPath(frame.value("items", Json::array()), text, exact);
        ASSERT_TRUE(path) << "no row mentions " << text << " in " << frame.dump();
        app.send("pick " + *path);
    }

    // The row that mentions `text` in `frame`, or null.
    static const Json* row(const Json& frame, std::string_view text) {
        const Json& items = frame["items"];
        const auto path = rowPath(items, text);
        return path ? rowAt(items, *path) : nullptr;
    }

    // A CLI answer holding `items`, for CORVANE_SIM_SCENARIO; rewritten, it changes the answer.
    fs::path scenario(const Json& items) const {
        const fs::path path = world.root / "scenario.json";
        std::ofstream(path) << Json{{"contract", 1}, {"appEnv", "production"}, {"cliVersion", "1.4.2"},
                                    {"icon", "running"}, {"refreshSeconds", 30}, {"watchPaths", Json::array()},
                                    {"items", items}, {"more", Json::array()}}
                                   .dump();
        return path;
    }

    std::vector<Json> refreshesWith(const std::string& outcome) const {
        std::vector<Json> found;
        for (const auto& line : world.refreshLines())
            if (line.contains("snapshot") && line["snapshot"].value("outcome", "") == outcome) found.push_back(line);
        return found;
    }

    SimWorld world{CORVANE_SIM_EXE};
    HeadlessApp app;

private:
    bool started_ = false;
};

TEST_F(HeadlessAppTest, LaunchShowsTheCliRowsAndIcon) {
    launch();
    const auto first = app.waitFrame([](const Json&) { return true; });
    ASSERT_TRUE(first) << app.errors();
    EXPECT_EQ((*first)["frame"], 1);
    EXPECT_EQ((*first)["icon"], "unknown");
    EXPECT_TRUE(hasRow(*first, "Connecting to the Corvane CLI…")) << first->dump();

    const auto frame = app.waitFrameWith(demoSession);
    ASSERT_TRUE(frame) << app.errors();
    EXPECT_EQ((*frame)["icon"], "running");
    for (const char* text : {"Corvane — 3 agents, 2 working", "Corvane CLI 1.5.0 is available", "Draft release notes",
                             "GitHub: connected", "Sync sessions now", "Quit Corvane"})
        EXPECT_TRUE(hasRow(*frame, text)) << text;

    // One process run, which hands its poll id to the CLI; the refresh line carries the same id.
    ASSERT_EQ(world.countRuns({"menu"}), 1);
    const Json run = world.invocations().front();
    const auto refreshes = world.refreshLines();
    ASSERT_EQ(refreshes.size(), 1u);
    EXPECT_EQ(refreshes[0]["trigger"], "launch");
    EXPECT_EQ(refreshes[0]["requestId"], run["env"]["CORVANE_MENU_REFRESH_ID"]);
    EXPECT_EQ(refreshes[0]["cliVersion"], "1.4.0");
    EXPECT_TRUE(refreshes[0]["cli"].contains("stageMs"));
    EXPECT_FALSE(refreshes[0].contains("snapshot"));
}

TEST_F(HeadlessAppTest, SnapshotAnswersWithoutAProcessRunUntilTheCliIsReplaced) {
    launchToPayload();
    const std::string pid = std::to_string(app.pid());
    // The writer stamps the app's own pid: a live process, so the snapshot counts as kept up.
    ASSERT_EQ(world.sim({"snapshot-write-once", "--pid", pid}).exitCode, 0);
    ASSERT_TRUE(waitFor([&] { return refreshesWith("drawn").size() == 1; })) << "a changed watch folder draws the snapshot";

    // Opening the menu tells the CLI and draws the snapshot as it is then, without a process run:
    // a row the CLI added meanwhile (unannounced) shows in the opening's own frame.
    Json snapshot = Json::parse(readText(world.simHome / "snapshot.json"));
    snapshot["items"].push_back({{"type", "action"}, {"title", "Added while closed"}, {"copy", "x"}});
    std::ofstream(world.root / "snapshot.next") << snapshot.dump();
    fs::rename(world.root / "snapshot.next", world.simHome / "snapshot.json");
    app.send("open");
    const auto opened = app.waitFrame([](const Json& frame) { return frame["menuOpen"] == true; });
    ASSERT_TRUE(opened);
    EXPECT_TRUE(hasRow(*opened, "Added while closed")) << opened->dump();
    ASSERT_TRUE(waitFor([&] { return fs::exists(world.simHome / "open-request"); }));
    EXPECT_EQ(readText(world.simHome / "open-request").substr(0, 2), "20");
    app.send("close");

    // A second write is drawn too: the watch outlives the file it saw replaced.
    ASSERT_EQ(world.sim({"snapshot-write-once", "--bump", "--pid", pid}).exitCode, 0);
    ASSERT_TRUE(waitFor([&] { return refreshesWith("drawn").size() == 2; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));

    EXPECT_EQ(world.countRuns({"menu"}), 1);
    const auto drawn = refreshesWith("drawn");
    ASSERT_EQ(drawn.size(), 2u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(drawn[i]["snapshot"]["sequence"], i + 1);
        EXPECT_GE(drawn[i]["snapshot"].value("ageMs", -1), 0);
        EXPECT_EQ(drawn[i]["trigger"], "directory-change");
    }

    // A replaced CLI may write its snapshot differently: the next opening runs it instead.
    world.replaceCli();
    app.send("open");
    ASSERT_TRUE(waitFor([&] { return refreshesWith("cli-changed").size() == 1; }));
    EXPECT_EQ(refreshesWith("cli-changed").front()["trigger"], "menu-open");
    EXPECT_EQ(world.countRuns({"menu"}), 2);
}

TEST_F(HeadlessAppTest, FailedRunOffersRetryAndTheTerminal) {
    launchToPayload();
    pick("Check setup (fails)");
    auto failed = app.waitFrameWith("Couldn't finish: Check setup (fails)");
    ASSERT_TRUE(failed) << app.errors();
    EXPECT_EQ(world.countRuns({"doctor", "--fail"}), 1);

    pick("Retry", true);
    ASSERT_TRUE(app.waitFrameWith("Running: Check setup (fails)"));
    failed = app.waitFrameWith("Couldn't finish: Check setup (fails)");
    ASSERT_TRUE(failed);
    EXPECT_EQ(world.countRuns({"doctor", "--fail"}), 2);

    pick("Continue in Terminal…", true);
    const auto terminal = app.waitEvent("openTerminal");
    ASSERT_TRUE(terminal);
    const std::string command = (*terminal)["command"];
    EXPECT_NE(command.find(world.cliPath.string()), std::string::npos) << command;
    EXPECT_THAT(command, testing::EndsWith("doctor --fail"));
    // Handing the run to the terminal clears the failed run.
    EXPECT_TRUE(waitFor([&] { return !hasRow(app.lastFrame(), "Couldn't finish"); }, 10));
    EXPECT_EQ(world.countRuns({"doctor", "--fail"}), 2);
}

TEST_F(HeadlessAppTest, BackgroundRunBlocksCliRowsAndCanBeCancelled) {
    launchToPayload({"CORVANE_SIM_TASK_SECONDS=30"});
    pick("Rebuild search index");
    const auto running = app.waitFrameWith("Rebuilding search index…");
    ASSERT_TRUE(running) << app.errors();
    // Which rows a running command blocks, and how, is the run state's own table; here the frame
    // shows a blocked row disabled (a disabled row never fires) and enabled again once cancelled.
    const Json* sync = row(*running, "Sync sessions now");
    ASSERT_NE(sync, nullptr);
    EXPECT_EQ((*sync)["enabled"], false);

    ASSERT_TRUE(waitFor([&] { return world.countRuns({"index", "rebuild"}) == 1; }));
    const pid_t task = world.invocations().back()["pid"];
    pick("Cancel", true);
    const auto cancelled = app.waitFrameWith("Cancelled. You can retry when you're ready.");
    ASSERT_TRUE(cancelled);
    EXPECT_TRUE(waitFor([&] { return !processAlive(task); }));
    ASSERT_NE(row(*cancelled, "Sync sessions now"), nullptr);
    EXPECT_EQ((*row(*cancelled, "Sync sessions now"))["enabled"], true);
}

// A foreground command ends as the command ends: however much it prints, and whether or not the
// app is still there (quitting leaves it to finish; only a background run is stopped).
TEST_F(HeadlessAppTest, AForegroundCommandRunsToItsEnd) {
    const Json items = Json::array({{{"type", "action"}, {"title", "Export"}, {"run", {"print", "20"}}},
                                    {{"type", "action"}, {"title", "Nap"}, {"run", {"sleep", "3"}}}});
    launch({"CORVANE_SIM_SCENARIO=" + scenario(items).string()});
    ASSERT_TRUE(app.waitFrameWith("Nap")) << app.errors();
    pick("Export", true);
    ASSERT_TRUE(app.waitFrameWith("Running: Export"));
    const auto exported = app.waitFrame([](const Json& f) { return !hasRow(f, "Running: Export"); }, 30);
    ASSERT_TRUE(exported);
    EXPECT_FALSE(hasRow(*exported, "Couldn't finish")) << exported->dump();

    pick("Nap", true);
    ASSERT_TRUE(app.waitFrameWith("Running: Nap"));
    ASSERT_TRUE(waitFor([&] { return world.countRuns({"sleep", "3"}) == 1; }));
    app.send("quit");
    EXPECT_EQ(app.waitExit(10), 0) << app.errors();
    EXPECT_FALSE(world.exitStatus({"sleep", "3"}));
    EXPECT_TRUE(waitFor([&] { return world.exitStatus({"sleep", "3"}) == 0; }, 10)) << "the command was stopped";
}

TEST_F(HeadlessAppTest, UpdateFromTheMenuIsShownUntilTheNextMenuCloses) {
    launchToPayload({"CORVANE_SIM_UPDATE_SECONDS=1"});
    pick("Corvane CLI 1.5.0 is available. Update?");
    const auto succeeded = app.waitFrameWith("Corvane CLI updated to 1.5.0", 25);
    ASSERT_TRUE(succeeded) << app.errors();
    EXPECT_EQ(world.sim({"--version"}).out, "1.5.0\n");
    EXPECT_EQ(world.countRuns({"update"}), 1);

    // A success is kept until a menu opening that began after it has closed.
    app.send("open");
    const auto opened = app.waitFrame([](const Json& frame) { return frame["menuOpen"] == true; });
    ASSERT_TRUE(opened);
    EXPECT_TRUE(hasRow(*opened, "Corvane CLI updated to 1.5.0"));
    app.send("close");
    const auto closed = app.waitFrame([](const Json& frame) { return !hasRow(frame, "Corvane CLI updated to"); });
    ASSERT_TRUE(closed);
    EXPECT_EQ((*closed)["menuOpen"], false);
    EXPECT_TRUE(hasRow(*closed, demoSession));
}

// An open menu whose sessions change shape keeps its rows until it closes, but each row shows its
// own session's status: B's new status never lands on A's row.
TEST_F(HeadlessAppTest, AnOpenMenuShowsEachSessionsOwnStatus) {
    auto answer = [](std::vector<std::pair<std::string, std::string>> sessions) {
        Json items = Json::array({{{"type", "header"}, {"title", "Agents"}}});
        for (const auto& session : sessions) {
            const std::string id = session.first;
            items.push_back({{"type", "action"}, {"title", "Session " + id}, {"run", {"session", "open", id}},
                             {"agent", {{"id", id}, {"icon", "claude"}, {"status", "working"}, {"statusLabel", session.second}}}});
        }
        return Json{{"contract", 1}, {"appEnv", "production"}, {"cliVersion", "1.4.2"}, {"icon", "running"},
                    {"refreshSeconds", 1}, {"watchPaths", Json::array()}, {"items", items}, {"more", Json::array()}}
            .dump();
    };
    const fs::path scenario = world.root / "scenario.json", next = world.root / "scenario.next";
    std::ofstream(scenario) << answer({{"a", "A 1m"}, {"b", "B 1m"}, {"c", "C 1m"}});
    launch({"CORVANE_SIM_SCENARIO=" + scenario.string()});
    ASSERT_TRUE(app.waitFrameWith("Session c")) << app.errors();
    app.send("open");
    ASSERT_TRUE(app.waitFrame([](const Json& f) { return f["menuOpen"] == true; }));

    std::ofstream(next) << answer({{"b", "B idle 2m"}, {"c", "C 2m"}});
    fs::rename(next, scenario);
    auto shown = [](const Json& frame, std::string_view title) {
        const Json* found = row(frame, title);
        return found ? rowText(*found) : std::string("(none)");
    };
    const auto open = app.waitFrame([&](const Json& f) { return shown(f, "Session b").find("B idle 2m") != std::string::npos; });
    ASSERT_TRUE(open) << app.lastFrame().dump();
    EXPECT_EQ((*open)["menuOpen"], true);
    EXPECT_THAT(shown(*open, "Session a"), testing::HasSubstr("A 1m"));
    EXPECT_THAT(shown(*open, "Session c"), testing::HasSubstr("C 2m"));

    app.send("close");
    const auto closed = app.waitFrame([](const Json& f) { return f["menuOpen"] == false && !hasRow(f, "Session a"); });
    ASSERT_TRUE(closed) << app.lastFrame().dump();
    EXPECT_THAT(shown(*closed, "Session b"), testing::HasSubstr("B idle 2m"));
}

TEST_F(HeadlessAppTest, EveryWayOutEndsCleanlyAndStopsARunningTask) {
    const char* ways[] = {"quit", "end of input", "SIGTERM"};
    for (const std::string way : ways) {
        SCOPED_TRACE(way);
        SimWorld world(CORVANE_SIM_EXE);
        world.extraEnvironment = {"CORVANE_SIM_TASK_SECONDS=30"};
        HeadlessApp app;
        ASSERT_TRUE(app.start(CORVANE_MENUBAR_EXE, world.appEnvironment(), world.root / "app.err"));
        ASSERT_TRUE(app.waitFrameWith(demoSession)) << app.errors();
        app.send("pick " + *rowPath(app.lastFrame()["items"], "Rebuild search index"));
        ASSERT_TRUE(app.waitFrameWith("Rebuilding search index…"));
        ASSERT_TRUE(waitFor([&] { return world.countRuns({"index", "rebuild"}) == 1; }));
        const pid_t task = world.invocations().back()["pid"];
        ASSERT_TRUE(processAlive(task));

        const auto asked = Clock::now();
        if (way == "quit") app.send("quit");
        if (way == "end of input") app.closeInput();
        if (way == "SIGTERM") kill(app.pid(), SIGTERM);
        EXPECT_EQ(app.waitExit(10), 0) << app.errors();
        EXPECT_LT(secondsSince(asked), 5.0);
        ASSERT_FALSE(app.lines().empty());
        EXPECT_EQ(app.lines().back(), Json({{"event", "exit"}}));
        EXPECT_TRUE(waitFor([&] { return !processAlive(task); }, 3)) << "the task outlived the app";
    }
}

}  // namespace

namespace {

using namespace harness;

// In a terminal the app draws the menu as text. A CLI whose rows hold escape sequences must not
// reach the terminal with them: setting the clipboard (OSC 52), retitling the window (OSC 2),
// clearing the screen, or the same through C1 controls. The app draws its own few escapes only.
TEST(HeadlessTerminal, NoControlCharacterOfTheCliReachesTheTerminal) {
    SimWorld world(CORVANE_SIM_EXE);
    const Json items = Json::array(
        {{{"type", "header"}, {"title", "Marker \x1b]52;c;ZWNobyBwd25lZA==\x07 \x1b]2;pwned\x07"}},
         {{"type", "action"}, {"title", "Clear \x1b[2J\x1b" "c \u009b2J \u009d0;x\u009c"}, {"run", {"x"}}},
         {{"type", "action"}, {"title", "Copy"}, {"copy", "\x1b[31mred"}}});
    const fs::path answer = world.root / "answer.json";
    std::ofstream(answer) << Json{{"contract", 1}, {"appEnv", "production"}, {"cliVersion", "1.4.2"},
                                  {"icon", "running"}, {"refreshSeconds", 60}, {"watchPaths", Json::array()},
                                  {"items", items}, {"more", Json::array()}}.dump();
    const fs::path cli = world.root / "bin" / "escaping-corvane";
    std::ofstream(cli) << "#!/bin/sh\n[ \"$1\" = menu ] && exec cat '" << answer.string() << "'\n";
    fs::permissions(cli, fs::perms::owner_all);
    world.extraEnvironment = {"CORVANE_CLI_PATH=" + cli.string(), "TERM=xterm"};

    // `script` gives the app a terminal and copies what it draws to its own stdout.
    Spawned child = spawnProcess("/usr/bin/script", {"-qfec", std::string(CORVANE_MENUBAR_EXE) + " --headless", "/dev/null"},
                                 world.appEnvironment(), true);
    ASSERT_GT(child.pid, 0);
    std::string screen;
    const auto shown = [&](std::string_view text) {
        return waitFor([&] {
            readSome(child.outFd, screen, 20);
            return screen.find(text) != std::string::npos;
        }, 30);
    };
    ASSERT_TRUE(shown("Marker")) << screen;
    const std::string pickCopy = "pick 2\n";
    ASSERT_EQ(write(child.inFd, pickCopy.data(), pickCopy.size()), static_cast<ssize_t>(pickCopy.size()));
    ASSERT_TRUE(shown("Copied to the clipboard")) << screen;
    const std::string quit = "quit\n";
    ASSERT_EQ(write(child.inFd, quit.data(), quit.size()), static_cast<ssize_t>(quit.size()));
    const ProcessResult rest = finish(child, 20);
    screen += rest.out;
    EXPECT_EQ(rest.exitCode, 0) << rest.err;

    // Only the app's own escapes: cursor home, erase line and below, dim, reverse, plain.
    const std::regex own("\x1b\\[(H|K|J|2m|7m|0m)");
    const std::string bare = std::regex_replace(screen, own, "");
    EXPECT_EQ(bare.find('\x1b'), std::string::npos) << bare;
    EXPECT_EQ(bare.find('\x07'), std::string::npos);
    EXPECT_EQ(bare.find("\xc2\x9b"), std::string::npos);
    EXPECT_EQ(bare.find("\xc2\x9d"), std::string::npos);
    EXPECT_NE(bare.find("Marker \xEF\xBF\xBD]52;c;"), std::string::npos) << "the text itself is still shown";
}

}  // namespace
