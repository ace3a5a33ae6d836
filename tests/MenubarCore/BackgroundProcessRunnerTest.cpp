#include "ProcessRunner.h"

#include <cstdlib>
#include <set>
#include <thread>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "StandInScripts.h"

namespace corvane {
namespace {

using testing::ScriptFolder;
using testing::testSearchPath;
using Outcome = ProcessRunner::Outcome;
using Clock = std::chrono::steady_clock;

Outcome outcomeOf(const ProcessRunner::Result& result) {
    EXPECT_TRUE(std::holds_alternative<Outcome>(result));
    if (auto* outcome = std::get_if<Outcome>(&result)) return *outcome;
    return Outcome{"", "", -100, false};
}

TEST(BackgroundProcessRunnerTest, ChildRunsUnderATerminalInItsOwnSession) {
    ScriptFolder folder("background");
    ::unsetenv("CORVANE_NATIVE_DIAGNOSTICS");
    RunCancellation cancellation;
    const std::string marker = folder.path("marker");
    // The terminal is the controlling one when /dev/tty opens; the child leads its session when
    // its process group is its own id (ps is not everywhere, so the shell asks the kernel).
    auto result = BackgroundProcessRunner::run(
        folder.script("child", R"(t=no; [ -t 0 ] && [ -t 1 ] && [ -t 2 ] && t=yes
c=no; (: < /dev/tty) 2>/dev/null && c=yes
printf '%s|%s|%s|%s|%s\n' "$t" "$c" "$PATH" "$CORVANE_NATIVE_DIAGNOSTICS" "$1" > ")" + marker + R"("
echo "lots of output that nobody reads"
exit 4)"),
        {"first arg"}, "/search:" + testSearchPath, 20, cancellation);
    EXPECT_EQ(outcomeOf(result), (Outcome{"", "", 4, false}));
    EXPECT_EQ(folder.read("marker"), "yes|yes|/search:" + testSearchPath + "||first arg\n");
}

TEST(BackgroundProcessRunnerTest, CancellingStopsTheWholeGroup) {
    ScriptFolder folder("background-cancel");
    RunCancellation cancellation;
    const std::string script = folder.script(
        "child", "sleep 30 & echo $! > " + folder.path("grandchild") + "\necho $$ > " + folder.path("child") + "\nwait");
    Clock::time_point requestedAt;
    std::thread canceller([&] {
        folder.await("child");
        std::this_thread::sleep_for(std::chrono::seconds(1));
        requestedAt = Clock::now();
        cancellation.request();
    });
    auto start = Clock::now();
    auto result = BackgroundProcessRunner::run(script, {}, testSearchPath, 30, cancellation);
    auto ended = Clock::now();
    canceller.join();

    EXPECT_EQ(outcomeOf(result), (Outcome{"", "", -1, false}));
    EXPECT_GE(testing::secondsSince(start), 1.0);
    EXPECT_LT(std::chrono::duration<double>(ended - requestedAt).count(), 3.0);
    auto child = folder.read("child");
    auto grandchild = folder.read("grandchild");
    ASSERT_TRUE(child && grandchild);
    EXPECT_TRUE(testing::awaitGone(std::stoi(*child)));
    EXPECT_TRUE(testing::awaitGone(std::stoi(*grandchild)));
}

TEST(BackgroundProcessRunnerTest, DeadlineStopsAChildThatIgnoresSigterm) {
    ScriptFolder folder("background-deadline");
    RunCancellation cancellation;
    auto start = Clock::now();
    auto result = BackgroundProcessRunner::run(
        folder.script("child", "trap '' TERM; while :; do sleep 1; done"), {}, testSearchPath, 1.0, cancellation);
    EXPECT_EQ(outcomeOf(result), (Outcome{"", "", -1, true}));
    double elapsed = testing::secondsSince(start);
    EXPECT_GE(elapsed, 1.0);
    EXPECT_LT(elapsed, 4.0);
}

TEST(BackgroundProcessRunnerTest, ChattyChildDoesNotStall) {
    ScriptFolder folder("background-chatty");
    RunCancellation cancellation;
    auto result = BackgroundProcessRunner::run(
        folder.script("child", "head -c 8000000 /dev/zero | tr '\\0' 'x'; echo; exit 0"), {}, testSearchPath, 60,
        cancellation);
    EXPECT_EQ(outcomeOf(result), (Outcome{"", "", 0, false}));
}

TEST(BackgroundProcessRunnerTest, StartFailures) {
    ScriptFolder folder("background-fail");
    RunCancellation cancellation;
    struct Row {
        std::string path;
        DiagnosticOutcome outcome;
        std::string code;
    };
    const std::vector<Row> rows{
        {folder.path("absent"), DiagnosticOutcome::missing, "2"},
        {folder.file("plain", "#!/bin/sh\n", std::filesystem::perms::owner_read), DiagnosticOutcome::denied, "13"},
    };
    for (const auto& row : rows) {
        auto result = BackgroundProcessRunner::run(row.path, {}, testSearchPath, 5, cancellation);
        ASSERT_TRUE(std::holds_alternative<ProcessRunner::Failure>(result)) << row.path;
        EXPECT_EQ(std::get<ProcessRunner::Failure>(result).diagnostic,
                  (ClientDiagnostic{DiagnosticOperation::cliRun, row.outcome, "NSPOSIXErrorDomain", row.code,
                                    std::nullopt, std::nullopt}))
            << row.path;
    }
}

TEST(BackgroundProcessRunnerTest, NoDescriptorsLeakIntoTheChild) {
    ScriptFolder folder("background-fd");
    RunCancellation cancellation;
    // Deliberately without close-on-exec, and numbered well above what the listing itself opens.
    int opened = ::open("/dev/null", O_RDONLY);
    int leaky = ::fcntl(opened, F_DUPFD, 40);
    ::close(opened);
    ASSERT_GE(leaky, 40);
    auto result = BackgroundProcessRunner::run(folder.script("fds", "ls /dev/fd > " + folder.path("fds")), {},
                                               testSearchPath, 10, cancellation);
    ::close(leaky);
    EXPECT_EQ(outcomeOf(result).exitCode, 0);
    std::istringstream listing(folder.read("fds").value_or(""));
    std::set<std::string> extra;
    for (std::string fd; listing >> fd;)
        if (fd != "0" && fd != "1" && fd != "2") extra.insert(fd);
    // `ls` holds the folder it lists open, and stdout is the listing file.
    EXPECT_LE(extra.size(), 1u) << folder.read("fds").value_or("");
    EXPECT_EQ(extra.count(std::to_string(leaky)), 0u);
}

// A poll and an action at once, as the app runs them: outputs stay apart, nothing races.
TEST(BackgroundProcessRunnerTest, RunsBesideForegroundRuns) {
    ScriptFolder folder("background-mixed");
    RunCancellation cancellation;
    std::string background = folder.script("background", "sleep 0.3; exit 2");
    std::string foreground = folder.script("foreground", R"(i=0; while [ $i -lt 200 ]; do echo "$1"; i=$((i+1)); done)");
    std::vector<std::thread> threads;
    std::vector<int> failures(3, 0);
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            for (int run = 0; run < 3; ++run) {
                if (t == 0) {
                    auto result = BackgroundProcessRunner::run(background, {}, testSearchPath, 10, cancellation);
                    auto* outcome = std::get_if<Outcome>(&result);
                    if (outcome == nullptr || outcome->exitCode != 2) ++failures[t];
                } else {
                    std::string word = "thread" + std::to_string(t);
                    std::string expected;
                    for (int i = 0; i < 200; ++i) expected += word + "\n";
                    auto result = ProcessRunner::run(foreground, {word}, testSearchPath, 10);
                    auto* outcome = std::get_if<Outcome>(&result);
                    if (outcome == nullptr || outcome->stdout != expected) ++failures[t];
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures, std::vector<int>(3, 0));
}

}  // namespace
}  // namespace corvane
