// The CLI stand-in plays `corvane` for the app's end-to-end tests and demo, so its answers must
// keep the wire format the app reads. Its faults are judged through the app, by the end-to-end
// tests that drive them.

#include "MenuDecode.h"

#include "integration/ProcessHarness.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace harness;

corvane::Instant currentInstant() {
    return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

class CorvaneSim : public ::testing::Test {
protected:
    ProcessResult run(const std::vector<std::string>& args) {
        return finish(spawnProcess(CORVANE_SIM_EXE, args, {"CORVANE_SIM_HOME=" + home.string()}));
    }

    corvane::testing::TempFolder folder;
    const fs::path home = folder.path();
};

// Kinds of rows and verbs of actions the decoded demo shows, over all rows and submenus.
void collectDecoded(const std::vector<corvane::MenuItem>& rows, std::set<std::string>& kinds, std::set<std::string>& verbs) {
    using namespace corvane;
    for (const auto& item : rows) {
        kinds.insert(std::string(rowKindName(item)));
        if (const auto* action = item.as<row::Action>()) verbs.insert(std::string(verbName(action->action.verb)));
        if (const auto* agent = item.as<row::Agent>()) {
            verbs.insert(std::string(verbName(agent->agent.corvane.verb)));
            EXPECT_TRUE(agent->agent.harness.has_value()) << agent->agent.id;
        }
        if (const auto* submenu = item.as<row::Submenu>()) collectDecoded(submenu->items, kinds, verbs);
    }
}

// The app's own decoder is the judge: a row the stand-in spells wrong would silently disappear.
TEST_F(CorvaneSim, DemoAnswerKeepsEveryRowThroughTheAppDecoder) {
    using namespace corvane;
    for (const bool offer : {true, false}) {
        ASSERT_EQ(run({"sim", "offer", offer ? "1.5.0" : "none"}).exitCode, 0);
        const auto decoded = decodeMenuPayload(run({"menu"}).out, currentInstant());
        const auto* payload = std::get_if<MenuPayload>(&decoded);
        ASSERT_NE(payload, nullptr) << offer;
        std::set<std::string> kinds, verbs;
        collectDecoded(payload->items, kinds, verbs);
        collectDecoded(payload->more, kinds, verbs);
        std::set<std::string> expectedKinds{"header", "section", "status", "connection", "submenu", "action", "agent", "separator"};
        if (offer) expectedKinds.insert("cliUpdate");
        EXPECT_EQ(kinds, expectedKinds) << offer;
        EXPECT_EQ(verbs, (std::set<std::string>{"background", "run", "terminal", "url", "file", "copy", "diagnostics"}));
        EXPECT_EQ(payload->cliUpToDateAt.has_value(), !offer);
        EXPECT_TRUE(payload->snapshotIdentity && payload->refreshReport && payload->desktopDiagnostic);
        // Every file the answer names lives in the private state folder.
        ASSERT_TRUE(payload->snapshotFiles.has_value());
        for (const auto& path : {payload->snapshotFiles->snapshot, payload->snapshotFiles->refreshRequest,
                                 payload->snapshotFiles->openRequest})
            EXPECT_EQ(fs::path(path).parent_path(), home) << path;
    }
}

TEST_F(CorvaneSim, ActionTargetsExitAsTheDemoExpects) {
    const struct { std::vector<std::string> args; int exitCode; } rows[] = {
        {{"sessions", "sync"}, 0}, {{"report-agent-click", "sess-1", "claude"}, 0}, {{"no-such-command"}, 2}};
    for (const auto& row : rows) EXPECT_EQ(run(row.args).exitCode, row.exitCode) << row.args[0];
    EXPECT_EQ(lastJsonLine(home / "clicks.jsonl")["args"], Json::array({"sess-1", "claude"}));
    // State-changing commands outdate the snapshot, as the real CLI does.
    EXPECT_TRUE(fs::exists(home / "refresh-request"));
}

}  // namespace
