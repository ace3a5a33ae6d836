// The menu as the headless app draws it: what its rows say and keep across openings (the action
// a status row carries, the highlight, the age of a stale answer, an open menu's session statuses,
// a retried CLI update), and a CLI that answers with a valid menu of 10 MB (tens of thousands of
// rows, one title of megabytes), after which the app still draws frames, keeps each row of a frame
// small and quits within 3 s.

#include "integration/ProcessHarness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace {

using namespace harness;

std::string largeAnswer() {
    Json items = Json::array();
    items.push_back({{"type", "header"}, {"title", "Big " + std::string(3'000'000, 'x')}});
    for (std::size_t i = 0, bytes = 3'000'000; bytes < 10'000'000; ++i) {
        const std::string id = "ses_" + std::to_string(100000 + i);
        items.push_back({{"type", "action"},
                         {"title", "Session " + std::to_string(i) + " fixing the checkout tests"},
                         {"run", {"session", "open", id}},
                         {"agent", {{"id", id}, {"icon", "claude"}, {"status", "idle"}, {"statusLabel", "Idle"}}}});
        bytes += items.back().dump().size() + 1;
    }
    items.push_back({{"type", "action"}, {"title", "Last row"}, {"url", "https://example.com"}});
    return Json{{"contract", 1}, {"appEnv", "production"}, {"cliVersion", "1.4.2"}, {"icon", "running"},
                {"refreshSeconds", 60}, {"watchPaths", Json::array()}, {"items", items}, {"more", Json::array()}}
        .dump();
}

TEST(LargeAnswer, FramesStillAnswerAndQuitIsQuick) {
    SimWorld world(CORVANE_SIM_EXE);
    const fs::path answer = world.root / "answer.json";
    std::ofstream(answer) << largeAnswer();
    ASSERT_GE(fs::file_size(answer), 10'000'000u);
    const fs::path cli = world.root / "bin" / "big-corvane";
    std::ofstream(cli) << "#!/bin/sh\nexec cat '" << answer.string() << "'\n";
    fs::permissions(cli, fs::perms::owner_all);
    world.extraEnvironment = {"CORVANE_CLI_PATH=" + cli.string()};

    HeadlessApp app;
    ASSERT_TRUE(app.start(CORVANE_MENUBAR_EXE, world.appEnvironment(), world.root / "app.err"));
    const auto first = app.waitFrame([](const Json& frame) { return hasRow(frame, "Last row", true); }, 120);
    ASSERT_TRUE(first) << app.errors();
    std::size_t largest = 0;
    for (const auto& row : (*first)["items"]) largest = std::max(largest, row.dump().size());
    EXPECT_LE(largest, 16'384u);  // the 3 MB title is cut

    app.send("open");
    ASSERT_TRUE(app.waitFrame([](const Json& frame) { return frame.value("menuOpen", false); }, 60));
    app.send("close");
    ASSERT_TRUE(app.waitFrame([](const Json& frame) { return !frame.value("menuOpen", true); }, 60));

    const auto quitAt = Clock::now();
    app.send("quit");
    EXPECT_EQ(app.waitExit(30), 0) << app.errors();
    EXPECT_LT(secondsSince(quitAt), 3.0);
}

TEST(HeadlessMenu, StatusActionRowsNameTheirActionAndTheHighlightEndsWithTheMenu) {
    {
        SimWorld world(CORVANE_SIM_EXE);
        world.extraEnvironment = {"CORVANE_CLI_PATH=" + (world.root / "missing" / "corvane").string()};
        HeadlessApp app;
        ASSERT_TRUE(app.start(CORVANE_MENUBAR_EXE, world.appEnvironment(), world.root / "app.err"));
        const auto frame = app.waitFrameWith("The Corvane CLI isn't installed");
        ASSERT_TRUE(frame) << app.errors();
        const Json* row = rowAt((*frame)["items"], *rowPath((*frame)["items"], "The Corvane CLI isn't installed"));
        EXPECT_EQ(row->value("action", ""), "Copy Install Command") << row->dump();
        app.send("quit");
        EXPECT_EQ(app.waitExit(10), 0);
    }

    SimWorld world(CORVANE_SIM_EXE);
    HeadlessApp app;
    ASSERT_TRUE(app.start(CORVANE_MENUBAR_EXE, world.appEnvironment(), world.root / "app.err"));
    const auto frame = app.waitFrameWith("Fix flaky login test");
    ASSERT_TRUE(frame) << app.errors();
    const std::string path = *rowPath((*frame)["items"], "Fix flaky login test");
    auto highlighted = [&](bool open, bool marked) {
        return app.waitFrame([&](const Json& f) {
            const Json* row = rowAt(f["items"], path);
            return f.value("menuOpen", !open) == open && row && row->value("highlighted", false) == marked;
        });
    };
    app.send("open");
    app.send("highlight " + path);
    EXPECT_TRUE(highlighted(true, true));
    app.send("close");
    app.send("open");
    EXPECT_TRUE(highlighted(true, false)) << app.lastFrame().dump();
    app.send("quit");
    EXPECT_EQ(app.waitExit(10), 0);
}

// The stale row says how long the CLI has been silent as of each opening, not as of the render
// that first showed it.
TEST(HeadlessMenu, TheStaleRowsAgeIsCurrentAtEachOpening) {
    SimWorld world(CORVANE_SIM_EXE);
    world.extraEnvironment = {"CORVANE_SIM_REFRESH_SECONDS=1"};
    HeadlessApp app;
    ASSERT_TRUE(app.start(CORVANE_MENUBAR_EXE, world.appEnvironment(), world.root / "app.err"));
    ASSERT_TRUE(app.waitFrameWith("Fix flaky login test")) << app.errors();
    ASSERT_EQ(world.sim({"sim", "fault", "hang"}).exitCode, 0);
    std::this_thread::sleep_for(std::chrono::seconds(3));

    auto ageAtOpening = [&]() -> int {
        app.send("open");
        const auto frame = app.waitFrame([](const Json& f) { return f["menuOpen"] == true && hasRow(f, "No answer for "); });
        app.send("close");
        if (!frame) return -1;
        std::smatch age;
        const std::string text = rowText(*rowAt((*frame)["items"], *rowPath((*frame)["items"], "No answer for ")));
        return std::regex_search(text, age, std::regex("No answer for ([0-9]+) seconds?\\.")) ? std::stoi(age[1]) : -2;
    };
    const int first = ageAtOpening();
    ASSERT_GE(first, 2) << app.lastFrame().dump();
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const int second = ageAtOpening();
    EXPECT_GE(second, first + 2) << app.lastFrame().dump();
    app.send("quit");
    EXPECT_EQ(app.waitExit(10), 0) << app.errors();
}

// An open menu whose sessions change shape keeps its rows until it closes, but each row's status
// is its own session's: B's new status never lands on A's row.
TEST(HeadlessMenu, AnOpenMenuShowsEachSessionsOwnStatus) {
    SimWorld world(CORVANE_SIM_EXE);
    auto answer = [](std::vector<std::pair<std::string, std::string>> sessions) {
        Json items = Json::array({{{"type", "header"}, {"title", "Sessions"}}});
        for (const auto& session : sessions) {
            const std::string& id = session.first;
            items.push_back({{"type", "action"}, {"title", "Session " + id}, {"run", {"session", "open", id}},
                             {"agent", {{"id", id}, {"icon", "claude"}, {"status", "working"},
                                        {"statusLabel", session.second}}}});
        }
        return Json{{"contract", 1}, {"appEnv", "production"}, {"cliVersion", "1.4.2"}, {"icon", "running"},
                    {"refreshSeconds", 1}, {"watchPaths", Json::array()}, {"items", items}, {"more", Json::array()}}
            .dump();
    };
    const fs::path scenario = world.root / "scenario.json";
    std::ofstream(scenario) << answer({{"a", "A 1m"}, {"b", "B 1m"}, {"c", "C 1m"}});
    world.extraEnvironment = {"CORVANE_SIM_SCENARIO=" + scenario.string()};
    HeadlessApp app;
    ASSERT_TRUE(app.start(CORVANE_MENUBAR_EXE, world.appEnvironment(), world.root / "app.err"));
    ASSERT_TRUE(app.waitFrameWith("Session c")) << app.errors();
    app.send("open");
    ASSERT_TRUE(app.waitFrame([](const Json& f) { return f["menuOpen"] == true; }));

    const fs::path next = world.root / "scenario.next";
    std::ofstream(next) << answer({{"b", "B idle 2m"}, {"c", "C 2m"}});
    fs::rename(next, scenario);
    auto statusOf = [](const Json& frame, const std::string& title) {
        const auto path = rowPath(frame["items"], title, true);
        return path ? rowText(*rowAt(frame["items"], *path)) : std::string("(none)");
    };
    const auto open = app.waitFrame([&](const Json& f) { return statusOf(f, "Session b").find("B idle 2m") != std::string::npos; });
    ASSERT_TRUE(open) << app.lastFrame().dump();
    EXPECT_EQ((*open)["menuOpen"], true);
    EXPECT_THAT(statusOf(*open, "Session a"), testing::HasSubstr("A 1m"));
    EXPECT_THAT(statusOf(*open, "Session c"), testing::HasSubstr("C 2m"));

    app.send("close");
    const auto closed = app.waitFrame([&](const Json& f) { return f["menuOpen"] == false && !hasRow(f, "Session a"); });
    ASSERT_TRUE(closed) << app.lastFrame().dump();
    EXPECT_THAT(statusOf(*closed, "Session b"), testing::HasSubstr("B idle 2m"));
    app.send("quit");
    EXPECT_EQ(app.waitExit(10), 0) << app.errors();
}

// "Retry" after a failed CLI update starts the update the way its row does: the block says it is
// updating again and the CLI is asked a second time.
TEST(HeadlessMenu, RetryingAFailedUpdateShowsItUpdatingAgain) {
    SimWorld world(CORVANE_SIM_EXE);
    world.extraEnvironment = {"CORVANE_SIM_UPDATE_SECONDS=1", "CORVANE_SIM_UPDATE_FAIL=1"};
    HeadlessApp app;
    ASSERT_TRUE(app.start(CORVANE_MENUBAR_EXE, world.appEnvironment(), world.root / "app.err"));
    const auto offered = app.waitFrameWith("Corvane CLI 1.5.0 is available. Update?");
    ASSERT_TRUE(offered) << app.errors();
    app.send("pick " + *rowPath((*offered)["items"], "Corvane CLI 1.5.0 is available. Update?"));
    ASSERT_TRUE(app.waitFrame([](const Json& f) { return hasRow(f, "Updating CLI…") && f["icon"] == "running"; }));
    const auto failed = app.waitFrame([](const Json& f) { return hasRow(f, "CLI update failed") && hasRow(f, "Retry", true); }, 15);
    ASSERT_TRUE(failed) << app.lastFrame().dump();
    EXPECT_EQ((*failed)["icon"], "attention");

    app.send("pick " + *rowPath((*failed)["items"], "Retry", true));
    const auto again = app.waitFrame([](const Json& f) { return hasRow(f, "Updating CLI…"); });
    ASSERT_TRUE(again) << app.lastFrame().dump();
    EXPECT_EQ((*again)["icon"], "running");
    EXPECT_FALSE(hasRow(*again, "CLI update failed")) << again->dump();
    EXPECT_TRUE(waitFor([&] { return world.countRuns({"update"}) == 2; }));
    app.send("quit");
    EXPECT_EQ(app.waitExit(10), 0) << app.errors();
}

}  // namespace
