#include "ClientLog.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/TempFolder.h"
#include "ProcessRunner.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using Op = DiagnosticOperation;
using Outcome = DiagnosticOutcome;

const Instant t0 = instantFromSeconds(1'750'000'000.0);
const std::string osVersion = "Debian GNU/Linux 12 (bookworm); Linux 6.1.0";

using TempDir = testing::TempFolder;

// Runs `body` in a child process that exits with what it returns.
template <class Body>
pid_t forked(Body body) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(body());
    return child;
}

// The child's exit status, or -1 when it did not exit.
int exitStatusOf(pid_t child) {
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<std::string> readLines(const fs::path& file) {
    std::ifstream in(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::string readFile(const fs::path& file) {
    std::ifstream in(file);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

ClientDiagnostic diag(Op op, Outcome outcome, std::optional<std::string> code = std::nullopt) {
    return ClientDiagnostic{op, outcome, code ? std::optional<std::string>("exit") : std::nullopt, code, {}, {}};
}

ClientLog makeLog(const fs::path& dir, std::int64_t maxBytes = ClientLog::defaultMaxBytes) {
    return ClientLog(dir.string(), "0.3.1", "staging", osVersion, maxBytes);
}

// event, operation word, outcome word, count of every line of a transitions file.
std::vector<std::string> events(const fs::path& file) {
    std::vector<std::string> result;
    for (const auto& line : readLines(file)) {
        Json value = Json::parse(line);
        result.push_back(value["event"].get<std::string>() + " " + value["diagnostic"]["operation"].get<std::string>() +
                         " " + value["diagnostic"]["outcome"].get<std::string>() + " " +
                         std::to_string(value["count"].get<int>()));
    }
    return result;
}

TEST(ClientLog, ExactLineFormat) {
    TempDir tmp;
    const fs::path dir = tmp / "Logs/Corvane/staging";
    ClientLog log = makeLog(dir);
    EXPECT_FALSE(fs::exists(tmp / "Logs")) << "construction touches no file";

    log.record("poll-1", instantFromSeconds(1'750'000'000.25),
               ClientDiagnostic{Op::menuPoll, Outcome::failed, "NSPOSIXErrorDomain", "2", "other", "13"});
    const std::string expected =
        R"({"appEnv":"staging","appVersion":"0.3.1","component":"menubar","count":1,)"
        R"("diagnostic":{"code":"2","domain":"NSPOSIXErrorDomain","operation":"menu.poll","outcome":"failed",)"
        R"("underlyingCode":"13","underlyingDomain":"other"},"event":"transition","level":50,"lostWrites":0,)"
        R"("osVersion":"Debian GNU\/Linux 12 (bookworm); Linux 6.1.0","requestId":"poll-1","runId":")" +
        log.runId() + R"(","time":1750000000250.0})";
    EXPECT_EQ(readFile(dir / "menubar.jsonl"), expected + "\n");

    log.setCliVersion("1.4.0");
    CliRefreshReport report{{{"total", 812}, {"api", 640}},
                            {MenuApiRequest{"menu-state", 200, "req-1", 600}, MenuApiRequest{"agents", {}, {}, 40}}};
    log.recordRefresh("poll-2", PollTrigger::directoryChange, 905, report, RefreshSnapshot::skip(SnapshotSkip::refreshPending),
                      instantFromSeconds(1'750'000'001.0), diag(Op::menuPoll, Outcome::available));
    const std::string refresh =
        R"({"appEnv":"staging","appVersion":"0.3.1","cli":{"requests":[{"durationMs":600,"requestId":"req-1",)"
        R"("route":"menu-state","status":200},{"durationMs":40,"route":"agents"}],"stageMs":{"api":640,"total":812}},)"
        R"("cliVersion":"1.4.0","component":"menubar","count":1,"diagnostic":{"operation":"menu.poll",)"
        R"("outcome":"available"},"durationMs":905,"event":"refresh","level":30,"lostWrites":0,)"
        R"("osVersion":"Debian GNU\/Linux 12 (bookworm); Linux 6.1.0","requestId":"poll-2","runId":")" +
        log.runId() + R"(","snapshot":{"outcome":"refresh-pending"},"time":1750000001000.0,"trigger":"directory-change"})";
    EXPECT_EQ(readFile(dir / "menubar-refresh.jsonl"), refresh + "\n");

    EXPECT_EQ(fs::status(dir).permissions() & fs::perms::all, fs::perms::owner_all);
    EXPECT_EQ(fs::status(tmp / "Logs").permissions() & fs::perms::all, fs::perms::owner_all);
    for (const char* name : {"menubar.jsonl", "menubar-refresh.jsonl", "write.lock"})
        EXPECT_EQ(fs::status(dir / name).permissions() & fs::perms::all,
                  fs::perms::owner_read | fs::perms::owner_write)
            << name;
}

TEST(ClientLog, RefreshFieldsAndGuards) {
    struct Row {
        PollTrigger trigger;
        std::optional<RefreshSnapshot> snapshot;
        std::optional<std::int64_t> durationMs;
        std::optional<std::string> cliVersion;
        const char* triggerWord;
        Json snapshotJson, cliVersionJson;  // null: absent
    };
    const Row rows[] = {
        {PollTrigger::launch, std::nullopt, 12, std::nullopt, "launch", nullptr, nullptr},
        {PollTrigger::timer, RefreshSnapshot::drawn(7, 1500), std::nullopt, "1.4.0-beta.2+7", "timer",
         Json{{"outcome", "drawn"}, {"sequence", 7}, {"ageMs", 1500}}, "1.4.0-beta.2+7"},
        {PollTrigger::menuOpen, RefreshSnapshot::skip(SnapshotSkip::otherIdentity), 3, "1.4 beta", "menu-open",
         Json{{"outcome", "other-identity"}}, "unrecognized"},
        {PollTrigger::actionFinished, RefreshSnapshot::skip(SnapshotSkip::cliChanged), 3, "", "action-finished",
         Json{{"outcome", "cli-changed"}}, "unrecognized"},
    };
    TempDir tmp;
    ClientLog log(tmp.path(), "0.3.1 dev", "staging", osVersion);
    for (const auto& row : rows) {
        log.setCliVersion(row.cliVersion);
        log.recordRefresh("id", row.trigger, row.durationMs, std::nullopt, row.snapshot, t0,
                          diag(Op::menuPoll, Outcome::denied));
        Json line = Json::parse(log.recentRefreshes().back());
        SCOPED_TRACE(row.triggerWord);
        EXPECT_EQ(line["trigger"], row.triggerWord);
        EXPECT_EQ(line.value("snapshot", Json()), row.snapshotJson);
        EXPECT_EQ(line.value("cliVersion", Json()), row.cliVersionJson);
        EXPECT_EQ(line.contains("durationMs"), row.durationMs.has_value());
        EXPECT_FALSE(line.contains("cli"));
        EXPECT_EQ(line["appVersion"], "unrecognized");
        EXPECT_EQ(line["level"], 40);
    }
}

TEST(ClientLog, TransitionSequences) {
    struct Step { Op op; Outcome outcome; double at; };  // at: seconds after t0
    struct Row { const char* name; std::vector<Step> steps; std::vector<std::string> lines; };
    const Op run = Op::cliRun;
    const Row rows[] = {
        {"first success is not news", {{run, Outcome::available, 0}, {run, Outcome::notNeeded, 1}},
         {"transition cli.run not-needed 1"}},
        {"recovery after a failure", {{run, Outcome::failed, 0}, {run, Outcome::available, 1}, {run, Outcome::available, 2}},
         {"transition cli.run failed 1", "recovery cli.run available 1"}},
        {"not-needed after a failure is a transition",
         {{Op::terminalOpen, Outcome::denied, 0}, {Op::terminalOpen, Outcome::notNeeded, 1}},
         {"transition terminal.open denied 1", "transition terminal.open not-needed 1"}},
        {"missing counts as a failure that repeats",
         {{Op::menuPoll, Outcome::missing, 0}, {Op::menuPoll, Outcome::missing, 1}, {Op::menuPoll, Outcome::available, 2}},
         {"transition menu.poll missing 1", "repeat menu.poll missing 1", "recovery menu.poll available 1"}},
        {"operations keep separate streaks",
         {{run, Outcome::failed, 0}, {Op::terminalFocus, Outcome::failed, 1}, {run, Outcome::failed, 2},
          {Op::terminalFocus, Outcome::available, 3}, {run, Outcome::failed, 4}, {run, Outcome::available, 5}},
         {"transition cli.run failed 1", "transition terminal.focus failed 1", "recovery terminal.focus available 1",
          "repeat cli.run failed 2", "recovery cli.run available 1"}},
        {"another failure of the same operation ends the repeat",
         {{run, Outcome::failed, 0}, {run, Outcome::failed, 1}, {run, Outcome::denied, 2}},
         {"transition cli.run failed 1", "repeat cli.run failed 1", "transition cli.run denied 1"}},
        {"repeat exactly 300 s after the last line",
         {{run, Outcome::failed, 0}, {run, Outcome::failed, 299.999}, {run, Outcome::failed, 300}},
         {"transition cli.run failed 1", "repeat cli.run failed 2"}},
        {"each repeat line starts the next 300 s",
         {{run, Outcome::failed, 0}, {run, Outcome::failed, 200}, {run, Outcome::failed, 400},
          {run, Outcome::failed, 600}, {run, Outcome::failed, 700}, {run, Outcome::failed, 710},
          {run, Outcome::available, 720}},
         {"transition cli.run failed 1", "repeat cli.run failed 2", "repeat cli.run failed 2",
          "repeat cli.run failed 1", "recovery cli.run available 1"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        TempDir tmp;
        ClientLog log = makeLog(tmp.path());
        for (const auto& step : row.steps)
            log.record("id", plusSeconds(t0, step.at), ClientDiagnostic{step.op, step.outcome, {}, {}, {}, {}});
        EXPECT_EQ(events(tmp / "menubar.jsonl"), row.lines);
    }
}

TEST(ClientLog, FlushWritesPendingCountsUnderTheRunId) {
    TempDir tmp;
    ClientLog log = makeLog(tmp.path());
    for (int i = 0; i < 3; ++i) log.record("a", plusSeconds(t0, i), diag(Op::cliRun, Outcome::failed));
    log.record("d", plusSeconds(t0, 3), diag(Op::menuPoll, Outcome::failed));
    log.flush(plusSeconds(t0, 4));
    log.flush(plusSeconds(t0, 5));
    ASSERT_EQ(events(tmp / "menubar.jsonl").size(), 3u);
    EXPECT_EQ(events(tmp / "menubar.jsonl").at(2), "repeat cli.run failed 2");
    EXPECT_EQ(Json::parse(readLines(tmp / "menubar.jsonl")[2])["requestId"], log.runId());
    // The counts are gone: the next repetition starts counting afresh.
    log.record("e", plusSeconds(t0, 6), diag(Op::cliRun, Outcome::failed));
    log.record("f", plusSeconds(t0, 7), diag(Op::cliRun, Outcome::available));
    EXPECT_EQ(events(tmp / "menubar.jsonl").at(3), "repeat cli.run failed 1");
}

TEST(ClientLog, RecentLinesAndSummary) {
    TempDir tmp;
    ClientLog log = makeLog(tmp.path());
    EXPECT_EQ(log.supportSummary(), "No client error transitions recorded this run.");

    for (int i = 0; i < 12; ++i)
        log.recordRefresh("r" + std::to_string(i), PollTrigger::timer, i, std::nullopt, std::nullopt,
                          plusSeconds(t0, i), diag(Op::menuPoll, Outcome::available));
    auto refreshes = [&] {
        std::string text = "Recent menu refreshes:";
        for (const auto& line : log.recentRefreshes()) text += "\n" + line;
        return text;
    };
    EXPECT_EQ(log.supportSummary(), "No client error transitions recorded this run.\n" + refreshes());
    for (int i = 0; i < 25; ++i)
        log.record("t" + std::to_string(i), plusSeconds(t0, i),
                   diag(Op::cliRun, i % 2 ? Outcome::available : Outcome::failed));
    ASSERT_EQ(log.recent().size(), 20u);
    ASSERT_EQ(log.recentRefreshes().size(), 10u);
    EXPECT_EQ(Json::parse(log.recent().front())["requestId"], "t5");
    EXPECT_EQ(Json::parse(log.recent().back())["requestId"], "t24");
    EXPECT_EQ(Json::parse(log.recentRefreshes().front())["requestId"], "r2");

    std::string expected;
    for (const auto& line : log.recent()) expected += line + "\n";
    EXPECT_EQ(log.supportSummary(), expected + refreshes());
}

TEST(ClientLog, RotationAtTheSizeCap) {
    TempDir tmp;
    const fs::path file = tmp / "menubar.jsonl";
    const ClientDiagnostic failure = diag(Op::cliRun, Outcome::failed, "1");
    const ClientDiagnostic other = diag(Op::cliRun, Outcome::failed, "2");
    ClientLog log = makeLog(tmp.path());
    // The first line measures the next ones: each is a transition that differs only in its code.
    log.record("poll", t0, failure);
    const std::size_t lineLength = log.recent().back().size() + 1;
    {
        std::ofstream(file) << std::string(ClientLog::defaultMaxBytes - lineLength - 1, 'x') << '\n';
        std::ofstream(tmp / "menubar.jsonl.1") << "generation one\n";
        std::ofstream(tmp / "menubar.jsonl.2") << "generation two\n";
    }
    log.record("poll", t0, other);  // fills the file to exactly the cap: no rotation
    EXPECT_EQ(fs::file_size(file), static_cast<std::uintmax_t>(ClientLog::defaultMaxBytes));
    EXPECT_EQ(readFile(tmp / "menubar.jsonl.1"), "generation one\n");

    log.record("poll", t0, failure);  // one more byte would exceed it: rotate first
    EXPECT_EQ(fs::file_size(tmp / "menubar.jsonl.1"), static_cast<std::uintmax_t>(ClientLog::defaultMaxBytes));
    EXPECT_EQ(readFile(tmp / "menubar.jsonl.2"), "generation one\n");
    EXPECT_EQ(readLines(file), std::vector{log.recent().at(2)});
    EXPECT_EQ(readLines(tmp / "menubar.jsonl.1").back(), log.recent().at(1));

    // Small caps rotate again and again; no line is ever split and only two old files remain.
    TempDir small;
    ClientLog busy = makeLog(small.path(), 2000);
    for (int i = 0; i < 200; ++i) busy.record("id", t0, diag(Op::cliRun, i % 2 ? Outcome::denied : Outcome::failed));
    std::size_t total = 0;
    for (const char* name : {"menubar.jsonl", "menubar.jsonl.1", "menubar.jsonl.2"}) {
        EXPECT_LE(fs::file_size(small / name), 2000u);
        for (const auto& line : readLines(small / name)) {
            EXPECT_TRUE(Json::parse(line, nullptr, false).is_object()) << line;
            ++total;
        }
    }
    EXPECT_GT(total, 6u);
    EXPECT_EQ(std::distance(fs::directory_iterator(small.path()), fs::directory_iterator()), 4);
}

TEST(ClientLog, LockHeldElsewhereLosesTheLine) {
    TempDir tmp;
    ClientLog log = makeLog(tmp.path());
    int fd = ::open((tmp / "write.lock").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);

    log.record("poll", t0, diag(Op::menuPoll, Outcome::failed, "TIMEOUT"));
    EXPECT_EQ(log.lostWrites(), 1);
    EXPECT_FALSE(fs::exists(tmp / "menubar.jsonl"));
    ASSERT_TRUE(log.writeFailure());
    EXPECT_EQ(*log.writeFailure(),
              ClientDiagnostic::system(Op::menuPoll, SystemError::posix(EWOULDBLOCK)));
    EXPECT_EQ(log.supportSummary(),
              "Local diagnostic logging unavailable: " + log.writeFailure()->summary() + ". Lost writes: 1.");

    // While the file fails nothing is collapsed, so the next record tries again and succeeds.
    ::flock(fd, LOCK_UN);
    ::close(fd);
    log.record("poll", plusSeconds(t0, 1), diag(Op::menuPoll, Outcome::failed, "TIMEOUT"));
    EXPECT_FALSE(log.writeFailure());
    auto lines = readLines(tmp / "menubar.jsonl");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(Json::parse(lines[0])["lostWrites"], 1);
    EXPECT_EQ(Json::parse(lines[0])["event"], "transition");
}

TEST(ClientLog, RefusedPlacesAreCountedNotRaised) {
    struct Row {
        const char* name;
        std::function<fs::path(const fs::path& root, const fs::path& victim)> prepare;  // returns the log folder
        bool transitionsFail, refreshFails;
    };
    const auto linkAt = [](const char* name) {
        return [name](const fs::path& root, const fs::path& victim) {
            fs::create_symlink(victim, root / name);
            return root;
        };
    };
    const auto underFile = [](const fs::path& root, const fs::path&) {
        std::ofstream(root / "plain") << "x";
        return root / "plain" / "logs";
    };
    const auto fifoAt = [](const char* name) {
        return [name](const fs::path& root, const fs::path&) {
            ::mkfifo((root / name).c_str(), 0600);
            return root;
        };
    };
    // The log folder itself must be this user's own, a real folder, writable by nobody else.
    const auto folderWith = [](std::function<void(const fs::path& folder)> change) {
        return [change](const fs::path& root, const fs::path&) {
            fs::create_directory(root / "logs");
            change(root / "logs");
            return root / "logs";
        };
    };
    const auto folderLink = [](const fs::path& root, const fs::path& victim) {
        fs::create_directory_symlink(victim.parent_path(), root / "logs");
        return root / "logs";
    };
    const Row rows[] = {
        {"symbolic link at the log file", linkAt("menubar.jsonl"), true, false},
        // A FIFO must not hold the app: opening one to write blocks until a reader comes.
        {"FIFO at the lock file", fifoAt("write.lock"), true, true},
        {"FIFO at the refresh file", fifoAt("menubar-refresh.jsonl"), false, true},
        {"folder writable by everyone", folderWith([](const fs::path& f) { fs::permissions(f, fs::perms::all); }), true, true},
        {"folder of another user", folderWith([](const fs::path& f) { EXPECT_EQ(::chown(f.c_str(), 65534, 65534), 0); }), true, true},
        {"folder is a link", folderLink, true, true},
        {"symbolic link at the lock file", linkAt("write.lock"), true, true},
        {"folder under a regular file", underFile, true, true},
        {"symbolic link at the refresh file", linkAt("menubar-refresh.jsonl"), false, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        TempDir tmp, elsewhere;
        const fs::path victim = elsewhere / "victim";
        std::ofstream(victim) << "keep";
        ClientLog log = makeLog(row.prepare(tmp.path(), victim));
        log.record("a", t0, diag(Op::terminalOpen, Outcome::failed, "1"));
        log.recordRefresh("b", PollTrigger::timer, 1, std::nullopt, std::nullopt, t0, diag(Op::menuPoll, Outcome::failed));
        EXPECT_EQ(readFile(victim), "keep");
        EXPECT_FALSE(fs::exists(elsewhere / "menubar.jsonl"));
        EXPECT_EQ(log.lostWrites(), int(row.transitionsFail) + int(row.refreshFails));
        EXPECT_EQ(log.failures().count("menubar.jsonl"), row.transitionsFail ? 1u : 0u);
        EXPECT_EQ(log.failures().count("menubar-refresh.jsonl"), row.refreshFails ? 1u : 0u);
        ASSERT_TRUE(log.writeFailure());
        // The transitions file's failure is the one reported while both fail.
        EXPECT_EQ(log.writeFailure()->operation, row.transitionsFail ? Op::terminalOpen : Op::menuPoll);
        EXPECT_EQ(log.writeFailure()->domain, "NSPOSIXErrorDomain");
        EXPECT_EQ(log.recent().size(), row.transitionsFail ? 0u : 1u);
        EXPECT_EQ(log.recentRefreshes().size(), row.refreshFails ? 0u : 1u);
    }
}

// A write that fails or is cut short (a file-size limit, a full disk) is counted as lost and
// leaves nothing behind: the file still reads as whole JSON lines.
TEST(ClientLog, CutShortWritesLeaveWholeLines) {
    struct Row { const char* name; rlim_t sizeLimit; bool fullDisk; };
    const Row rows[] = {
        {"size limit below the file", 100, false},
        {"size limit inside a line", 1000, false},
        {"disk fills up", RLIM_INFINITY, true},
    };
    const std::string existing = R"({"pad":")" + std::string(190, 'x') + "\"}\n";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        TempDir tmp;
        const std::string mount = "mount -t tmpfs -o size=16k,mode=0700 tmpfs '" + tmp.path() + "' 2>/dev/null";
        if (row.fullDisk && std::system(mount.c_str()) != 0) {
            std::cout << "no tmpfs here: " << row.name << " not tried\n";
            continue;
        }
        std::ofstream(tmp / "menubar.jsonl") << existing;
        const pid_t child = forked([&] {
            // Only the child is limited; without the app's signal setup the limit would kill it.
            ignoreProcessSignals();
            struct rlimit limit {row.sizeLimit, row.sizeLimit};
            if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return 10;
            ClientLog log = makeLog(tmp.path());
            for (int i = 0; i < 200; ++i) log.record("a", t0, diag(Op::cliRun, Outcome::failed, std::to_string(i)));
            auto failure = log.writeFailure();
            if (log.lostWrites() < 1) return 11;
            const int expected = row.fullDisk ? ENOSPC : EFBIG;
            return failure && failure->code == std::to_string(expected) && failure->outcome == Outcome::failed ? 0 : 12;
        });
        EXPECT_EQ(exitStatusOf(child), 0);
        const std::string text = readFile(tmp / "menubar.jsonl");
        EXPECT_TRUE(text.starts_with(existing));
        EXPECT_TRUE(text.ends_with("\n"));
        for (const auto& line : readLines(tmp / "menubar.jsonl"))
            EXPECT_TRUE(Json::parse(line, nullptr, false).is_object()) << line;
        if (row.sizeLimit == 100) { EXPECT_EQ(text, existing); }
        if (row.fullDisk) { EXPECT_EQ(std::system(("umount '" + tmp.path() + "'").c_str()), 0); }
    }
}

TEST(ClientLogPlaces, LogDirectoryAndOsVersion) {
    struct Dir { const char* home; std::optional<std::string> xdg; bool mac; const char* expected; };
    const Dir dirs[] = {
        {"/Users/ada/", "/ignored", true, "/Users/ada/Library/Logs/Corvane/production"},
        {"/home/ada", std::nullopt, false, "/home/ada/.local/state/corvane/logs/production"},
        {"/home/ada", "", false, "/home/ada/.local/state/corvane/logs/production"},
        {"/home/ada", "relative/state", false, "/home/ada/.local/state/corvane/logs/production"},
        {"/home/ada", "/var/state/", false, "/var/state/corvane/logs/production"},
    };
    for (const auto& d : dirs) EXPECT_EQ(logDirectory(d.home, "production", d.xdg, d.mac), d.expected) << d.home;

    struct Os { const char* release; const char* kernel; const char* version; const char* expected; };
    const Os oses[] = {
        {"NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nID=debian\n", "Linux", "6.1.0",
         "Debian GNU/Linux 12 (bookworm); Linux 6.1.0"},
        {"PRETTY_NAME='Fedora Linux 40'\n", "Linux", "6.8.5-301.fc40.x86_64", "Fedora Linux 40; Linux 6.8.5-301.fc40.x86_64"},
        {"PRETTY_NAME=Alpine\r\n", "Linux", "6.6.1", "Alpine; Linux 6.6.1"},
        {"PRETTY_NAME=\"Say \\\"hi\\\"\"\n", "Linux", "1", "Say \"hi\"; Linux 1"},
        {"ID=arch\n", "Linux", "6.9.1", "Linux 6.9.1"},
        {"", "", "", "unknown"},
    };
    for (const auto& o : oses) EXPECT_EQ(osVersionText(o.release, o.kernel, o.version), o.expected) << o.release;
}

}  // namespace
}  // namespace corvane
