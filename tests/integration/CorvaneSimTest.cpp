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
        env.push_back("CORVANE_SIM_HOME=" + home.string());
        return finish(spawnProcess(CORVANE_SIM_EXE, args, env));
    }
    Spawned start(const std::vector<std::string>& args, std::vector<std::string> env = {}) {
        env.push_back("CORVANE_SIM_HOME=" + home.string());
        Spawned child = spawnProcess(CORVANE_SIM_EXE, args, env);
        started.push_back(child.pid);
        return child;
    }
    Json menu(const std::vector<std::string>& args = {"menu"}, std::vector<std::string> env = {}) {
        const auto result = run(args, std::move(env));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return Json::parse(result.out, nullptr, false);
    }

    TempFolder folder{"corvane-sim-test"};
    const fs::path home = folder.path();
    std::vector<pid_t> started;
};

// What the decoded demo shows, collected over all rows and submenus.
struct DemoCoverage {
    std::set<std::string> kinds, verbs, harnesses;
    bool pausedBadge = false, dismiss = false;
};

void collectDecoded(const std::vector<corvane::MenuItem>& rows, DemoCoverage& seen) {
    using namespace corvane;
    for (const auto& item : rows) {
        seen.kinds.insert(std::string(rowKindName(item)));
        if (const auto* action = item.as<row::Action>()) {
            seen.verbs.insert(std::string(verbName(action->action.verb)));
            seen.pausedBadge = seen.pausedBadge || action->action.badge == "paused";
        }
        if (const auto* status = item.as<row::Status>()) seen.dismiss = seen.dismiss || status->dismiss.has_value();
        if (const auto* agent = item.as<row::Agent>()) {
            const AgentRow& session = agent->agent;
            seen.harnesses.insert(session.icon);
            seen.verbs.insert(std::string(verbName(session.corvane.verb)));
            EXPECT_TRUE(session.harness.has_value()) << session.id;
            EXPECT_EQ(session.corvane.reportClick, (Arguments{"report-agent-click", session.id, session.icon}));
            // The decoder appends the age of a last-activity time it could read.
            EXPECT_NE(session.corvane.title.find(" · "), std::string::npos) << session.corvane.title;
        }
        if (const auto* submenu = item.as<row::Submenu>()) collectDecoded(submenu->items, seen);
    }
}

// The app's own decoder is the judge: a row the stand-in spells wrong would silently disappear.
TEST_F(CorvaneSim, DemoAnswerKeepsEveryRowThroughTheAppDecoder) {
    using namespace corvane;
    const struct { const char* offer; bool hasUpdateRow; } rows[] = {{"1.5.0", true}, {"none", false}};
    for (const auto& row : rows) {
        ASSERT_EQ(run({"sim", "offer", row.offer}).exitCode, 0);
        const auto answer = run({"menu"});
        const auto decoded = decodeMenuPayload(answer.out, currentInstant());
        const auto* payload = std::get_if<MenuPayload>(&decoded);
        ASSERT_NE(payload, nullptr) << row.offer;
        DemoCoverage seen;
        collectDecoded(payload->items, seen);
        collectDecoded(payload->more, seen);
        std::set<std::string> expectedKinds{"header", "section", "status", "connection", "submenu", "action", "agent", "separator"};
        if (row.hasUpdateRow) expectedKinds.insert("cliUpdate");
        EXPECT_EQ(seen.kinds, expectedKinds) << row.offer;
        EXPECT_EQ(seen.verbs, (std::set<std::string>{"background", "run", "terminal", "url", "file", "copy", "diagnostics"}));
        EXPECT_EQ(seen.harnesses, (std::set<std::string>{"claude", "cursor", "chatgpt"}));
        EXPECT_TRUE(seen.pausedBadge && seen.dismiss);
        EXPECT_EQ(payload->cliUpToDateAt.has_value(), !row.hasUpdateRow);
        EXPECT_TRUE(payload->snapshotIdentity && payload->refreshReport && payload->desktopDiagnostic);

        // Every file the answer names lives in the private state folder.
        ASSERT_TRUE(payload->snapshotFiles.has_value());
        const auto& files = *payload->snapshotFiles;
        for (const auto& path : {files.snapshot, files.refreshRequest, files.openRequest})
            EXPECT_EQ(fs::path(path).parent_path(), home) << path;
        ASSERT_EQ(payload->watchPaths.size(), 1u);
        EXPECT_TRUE(fs::is_directory(payload->watchPaths[0]));
        for (const auto& item : payload->items) {
            if (const auto* update = item.as<row::CliUpdate>()) {
                EXPECT_EQ(fs::path(update->update.logPath).parent_path(), home);
            }
        }
    }
}

TEST_F(CorvaneSim, MenuEchoesEnvAndLogsWhatItWasGiven) {
    const struct { std::vector<std::string> args; const char* appEnv; } rows[] = {
        {{"menu"}, "production"}, {{"menu", "--env", "staging"}, "staging"}, {{"menu", "--env=dev"}, "dev"}};
    for (const auto& row : rows) EXPECT_EQ(menu(row.args)["appEnv"], row.appEnv) << row.appEnv;

    menu({"menu"}, {"CORVANE_MENU_REFRESH_ID=poll-42", "CORVANE_NATIVE_DIAGNOSTICS=1"});
    const Json logged = lastJsonLine(home / "invocations.jsonl");
    EXPECT_EQ(logged["argv"], Json::array({"menu"}));
    EXPECT_EQ(logged["env"]["CORVANE_MENU_REFRESH_ID"], "poll-42");
    EXPECT_EQ(logged["env"]["CORVANE_NATIVE_DIAGNOSTICS"], "1");
}

TEST_F(CorvaneSim, MenuFaultsMisbehaveAsAdvertised) {
    // contract 0: stdout must not be JSON
    const struct { const char* fault; int exitCode, contract; size_t minimumBytes; bool marker; } rows[] = {
        {"exit:7", 7, 0, 0, true},     {"garbage", 0, 0, 1, false},          {"contract2", 0, 2, 1, false},
        {"slow:0.2", 0, 1, 1, false},  {"big:1", 0, 1, 1 << 20, false},       {"bigspace:1", 0, 1, 1 << 20, false},
    };
    for (const auto& row : rows) {
        const auto result = run({"menu"}, {std::string("CORVANE_SIM_FAULT=") + row.fault});
        EXPECT_EQ(result.exitCode, row.exitCode) << row.fault;
        EXPECT_GE(result.out.size(), row.minimumBytes) << row.fault;
        const Json answer = Json::parse(result.out, nullptr, false);
        EXPECT_EQ(answer.is_discarded() ? 0 : answer.value("contract", -1), row.contract) << row.fault;
        const auto at = result.err.find("CORVANE_DIAGNOSTIC {");
        EXPECT_EQ(at != std::string::npos, row.marker) << row.fault;
        if (row.marker) {
            const Json envelope = Json::parse(result.err.substr(at + 19, result.err.find('\n', at) - at - 19));
            EXPECT_EQ(envelope["failure"]["code"], "SIM_FAILURE");
        }
    }
}

TEST_F(CorvaneSim, FaultFileOverridesTheEnvironmentBetweenPolls) {
    const std::vector<std::string> env{"CORVANE_SIM_FAULT=exit:5"};
    EXPECT_EQ(run({"menu"}, env).exitCode, 5);
    ASSERT_EQ(run({"sim", "fault", "contract2"}).exitCode, 0);
    EXPECT_EQ(menu({"menu"}, env)["contract"], 2);
    ASSERT_EQ(run({"sim", "fault", "none"}).exitCode, 0);
    EXPECT_EQ(menu({"menu"}, env)["contract"], 1);
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

TEST_F(CorvaneSim, UpdateInstallsTheOfferOrFailsWithAMarker) {
    const struct { const char* failEnv; int exitCode; const char* versionAfter; bool offerAfter; } rows[] = {{"CORVANE_SIM_UPDATE_FAIL=1", 1, "1.4.0", true}, {"CORVANE_SIM_UPDATE_FAIL=0", 0, "1.5.0", false}};
    for (const auto& row : rows) {
        const auto result = run({"update", "--background"}, {row.failEnv, "CORVANE_SIM_UPDATE_SECONDS=0.1"});
        EXPECT_EQ(result.exitCode, row.exitCode) << row.failEnv;
        EXPECT_EQ(result.err.find("CORVANE_DIAGNOSTIC {") != std::string::npos, row.exitCode != 0);
        EXPECT_EQ(run({"--version"}).out, std::string(row.versionAfter) + "\n");
        const Json answer = menu();
        EXPECT_EQ(answer["cliVersion"], row.versionAfter);
        EXPECT_EQ(answer.contains("cliUpdate"), row.offerAfter);
        EXPECT_EQ(answer.contains("cliUpToDateAt"), !row.offerAfter);
    }
}

TEST_F(CorvaneSim, ActionTargetsExitAsTheDemoExpects) {
    const struct { std::vector<std::string> args; int exitCode; } rows[] = {
                {{"sessions", "sync"}, 0}, {{"report-agent-click", "sess-1", "claude"}, 0}, {{"doctor", "--fail"}, 3}, {{"sleep", "0.1"}, 0},
                {{"notices", "dismiss", "x"}, 0}, {{"no-such-command"}, 2}, {{"menu", "--bogus"}, 2}};
    for (const auto& row : rows) EXPECT_EQ(run(row.args).exitCode, row.exitCode) << row.args[0];
    EXPECT_NE(run({"no-such-command"}).err.find("usage:"), std::string::npos);
    EXPECT_EQ(lastJsonLine(home / "clicks.jsonl")["args"], Json::array({"sess-1", "claude"}));
    // State-changing commands outdate the snapshot, as the real CLI does.
    EXPECT_TRUE(fs::exists(home / "refresh-request"));
}

}  // namespace
