// A CLI that answers with a valid menu of 10 MB (tens of thousands of rows, one title of
// megabytes): the headless app draws a bounded menu that says how many rows it left out, keeps
// each row of a frame small, stays small itself and quits.

#include "integration/ProcessHarness.h"

#include <gtest/gtest.h>

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

TEST(LargeAnswer, FramesStillAnswerAndTheAppQuits) {
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
    const auto first = app.waitFrame([](const Json& frame) { return hasRow(frame, "more rows not shown"); }, 120);
    ASSERT_TRUE(first) << app.errors();
    EXPECT_FALSE(hasRow(*first, "Last row", true));
    // The menu's own rows (About, Quit...) come on top of the answer's thousand.
    EXPECT_LE((*first)["items"].size(), 1'020u);
    std::size_t largest = 0;
    for (const auto& row : (*first)["items"]) largest = std::max(largest, row.dump().size());
    EXPECT_LE(largest, 16'384u);  // the 3 MB title is cut

    app.send("open");
    ASSERT_TRUE(app.waitFrame([](const Json& frame) { return frame.value("menuOpen", false); }, 60));
    app.send("close");
    ASSERT_TRUE(app.waitFrame([](const Json& frame) { return !frame.value("menuOpen", true); }, 60));

    // Ending with tens of thousands of rows must not hang; how fast it ends is CPU-bound (a
    // sanitizer build takes seconds), so the limit here only catches a hang.
    // The answer itself is held while it is read and decoded; the menu built from it is small.
    std::cout << "peak memory: " << peakMegabytes(app.pid()) << " MB\n";
    EXPECT_LT(peakMegabytes(app.pid()), 300.0);
    app.send("quit");
    EXPECT_EQ(app.waitExit(30), 0) << app.errors();
}

}  // namespace
