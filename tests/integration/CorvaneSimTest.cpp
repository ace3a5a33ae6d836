// The CLI stand-in plays `corvane` for the app's end-to-end tests and demo, so its answers must
// keep the wire format the app reads, and its faults must misbehave exactly as advertised.

#include "MenuDecode.h"
#include "FileTime.h"
#include "MenuSnapshot.h"

#include "integration/ProcessHarness.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace harness;

corvane::Instant currentInstant() {
    return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

std::optional<corvane::Instant> modifiedInstant(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return std::nullopt;
    const timespec modified = corvane::statModificationTime(info);
    return corvane::Instant(std::chrono::microseconds(modified.tv_sec * 1000000LL + modified.tv_nsec / 1000));
}

class CorvaneSim : public ::testing::Test {
protected:
    void TearDown() override {
        for (const pid_t pid : started) {
            // Only a child not yet reaped is still ours to end; a reaped id may belong to anyone now.
            if (waitpid(pid, nullptr, WNOHANG) == 0) {
                kill(pid, SIGKILL);
                waitpid(pid, nullptr, 0);
            }
        }
    }

    ProcessResult run(const std::vector<std::string>& args, std::vector<std::string> env = {}) {
        return finish(start(args, std::move(env)));
    }
    Spawned start(const std::vector<std::string>& args, std::vector<std::string> env = {}) {
        env.push_back("CORVANE_SIM_HOME=" + home.string());
        Spawned child = spawnProcess(CORVANE_SIM_EXE, args, env);
        started.push_back(child.pid);
        return child;
    }

    corvane::testing::TempFolder folder;
    const fs::path home = folder.path();
    std::vector<pid_t> started;
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

// The exit:N and contract2 faults are driven through the app by the end-to-end tests.
TEST_F(CorvaneSim, MenuFaultsMisbehaveAsAdvertised) {
    // contract 0: stdout must not be JSON
    const struct { const char* fault; int contract; size_t minimumBytes; } rows[] = {{"garbage", 0, 1}, {"big:1", 1, 1 << 20}};
    for (const auto& row : rows) {
        const auto result = run({"menu"}, {std::string("CORVANE_SIM_FAULT=") + row.fault});
        EXPECT_EQ(result.exitCode, 0) << row.fault;
        EXPECT_GE(result.out.size(), row.minimumBytes) << row.fault;
        const Json answer = Json::parse(result.out, nullptr, false);
        EXPECT_EQ(answer.is_discarded() ? 0 : answer.value("contract", -1), row.contract) << row.fault;
    }
}

TEST_F(CorvaneSim, HangingFaultsEndOnlyWithTheRightSignal) {
    const struct { const char* fault; bool survivesTerm; } rows[] = {{"hang", false}, {"ignore-term", true}};
    for (const auto& row : rows) {
        Spawned child = start({"menu"}, {std::string("CORVANE_SIM_FAULT=") + row.fault});
        int status = 0;
        // Give it time to log, read the fault and set its signal disposition.
        EXPECT_TRUE(waitFor([&] { return fs::exists(home / "invocations.jsonl"); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_EQ(waitpid(child.pid, &status, WNOHANG), 0) << row.fault << " answered";
        kill(child.pid, SIGTERM);
        const bool ended = waitFor([&] { return waitpid(child.pid, &status, WNOHANG) == child.pid; }, row.survivesTerm ? 0.5 : 5);
        EXPECT_EQ(ended, !row.survivesTerm) << row.fault;
        if (!ended) kill(child.pid, SIGKILL);
        finish(child);
        fs::remove(home / "invocations.jsonl");
    }
}

// The app's snapshot reader is the judge of the stamp: a snapshot read before a refresh request
// must be held back, the rewrite that follows the request must be drawn.
TEST_F(CorvaneSim, WriterAnswersRefreshAndOpenRequestsAndStopsOnTerm) {
    using namespace corvane;
    const auto decoded = decodeMenuPayload(run({"menu"}).out, currentInstant());
    ASSERT_TRUE(std::holds_alternative<MenuPayload>(decoded));
    const MenuPayload& announced = std::get<MenuPayload>(decoded);
    ASSERT_TRUE(announced.snapshotFiles && announced.snapshotIdentity);
    const SnapshotFiles files = *announced.snapshotFiles;

    Spawned writer = start({"snapshot-writer", "--interval", "600"});
    auto stamp = [&] { return objectOf(readText(files.snapshot)).value("snapshot", Json::object()); };
    ASSERT_TRUE(waitFor([&] { return stamp().value("sequence", 0) == 1; }));
    const std::string first = readText(files.snapshot);

    std::ofstream(files.refreshRequest) << "now";
    EXPECT_TRUE(waitFor([&] { return stamp().value("sequence", 0) == 2; })) << "no rewrite after a refresh request";
    const auto requestedAt = modifiedInstant(files.refreshRequest);
    auto read = [&](const std::string& data) {
        return readMenuSnapshot(data, announced.snapshotIdentity, requestedAt, currentInstant(),
                                [&](std::int32_t pid) { return pid == writer.pid; });
    };
    EXPECT_EQ(read(first), SnapshotRead(SnapshotSkip::refreshPending));
    EXPECT_TRUE(std::holds_alternative<MenuSnapshot>(read(readText(files.snapshot))));

    std::ofstream(files.openRequest) << "2026-11-21T19:44:18.123Z";
    EXPECT_TRUE(waitFor([&] { return lastJsonLine(home / "open-requests.jsonl").value("content", "") == "2026-11-21T19:44:18.123Z"; }));

    kill(writer.pid, SIGTERM);
    EXPECT_EQ(finish(writer, 5).exitCode, 0);
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
