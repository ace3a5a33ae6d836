#include "ProcessRunner.h"

#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "StandInScripts.h"

namespace corvane {
namespace {

using namespace testing;
using Outcome = ProcessRunner::Outcome;
using Clock = std::chrono::steady_clock;

TEST(BackgroundProcessRunnerTest, ChildRunsUnderATerminalInItsOwnSession) {
    ScriptFolder folder("background");
    ::unsetenv("CORVANE_NATIVE_DIAGNOSTICS");
    RunCancellation cancellation;
    // The terminal is the controlling one when /dev/tty opens.
    auto result = BackgroundProcessRunner::run(
        folder.script("child", R"(t=no; [ -t 0 ] && [ -t 1 ] && [ -t 2 ] && t=yes
c=no; (: < /dev/tty) 2>/dev/null && c=yes
printf '%s|%s|%s|%s|%s\n' "$t" "$c" "$PATH" "$CORVANE_NATIVE_DIAGNOSTICS" "$1" > ")" + folder.path("marker") + R"("
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
    EXPECT_GE(secondsSince(start), 1.0);
    EXPECT_LT(std::chrono::duration<double>(ended - requestedAt).count(), 3.0);
    auto child = folder.read("child");
    auto grandchild = folder.read("grandchild");
    ASSERT_TRUE(child && grandchild);
    EXPECT_TRUE(awaitGone(std::stoi(*child)));
    EXPECT_TRUE(awaitGone(std::stoi(*grandchild)));
}

TEST(BackgroundProcessRunnerTest, DeadlineAndOutputVolume) {
    ScriptFolder folder("background-deadline");
    RunCancellation cancellation;
    const std::vector<std::tuple<std::string, double, Outcome>> rows{
        {"trap '' TERM; while :; do sleep 1; done", 1.0, {"", "", -1, true}},
        {"head -c 8000000 /dev/zero | tr '\\0' 'x'; echo; exit 0", 60, {"", "", 0, false}},
    };
    for (const auto& [body, limit, expected] : rows) {
        auto start = Clock::now();
        auto result = BackgroundProcessRunner::run(folder.script("child", body), {}, testSearchPath, limit, cancellation);
        EXPECT_EQ(outcomeOf(result), expected) << body;
        const double elapsed = secondsSince(start);
        EXPECT_GE(elapsed, expected.timedOut ? limit : 0.0) << body;
        EXPECT_LT(elapsed, expected.timedOut ? 4.0 : limit) << body;
    }
}

TEST(BackgroundProcessRunnerTest, StartFailuresAndDescriptors) {
    ScriptFolder folder("background-fail");
    RunCancellation cancellation;
    for (const auto& [path, outcome, code] : std::vector<std::tuple<std::string, DiagnosticOutcome, std::string>>{
             {folder.path("absent"), DiagnosticOutcome::missing, "2"},
             {folder.file("plain", "#!/bin/sh\n", std::filesystem::perms::owner_read), DiagnosticOutcome::denied, "13"}}) {
        auto result = BackgroundProcessRunner::run(path, {}, testSearchPath, 5, cancellation);
        ASSERT_TRUE(std::holds_alternative<ProcessRunner::Failure>(result)) << path;
        EXPECT_EQ(std::get<ProcessRunner::Failure>(result).diagnostic,
                  (ClientDiagnostic{DiagnosticOperation::cliRun, outcome, "NSPOSIXErrorDomain", code, {}, {}}));
    }

    int leaky = openLeakyDescriptor();
    ASSERT_GE(leaky, 40);
    auto result = BackgroundProcessRunner::run(folder.script("fds", "ls /dev/fd > " + folder.path("fds")), {},
                                               testSearchPath, 10, cancellation);
    ::close(leaky);
    EXPECT_EQ(outcomeOf(result).exitCode, 0);
    auto listing = folder.read("fds").value_or("");
    auto extra = extraDescriptors(listing);
    EXPECT_LE(extra.size(), 1u) << listing;  // `ls` holds the folder it lists open; stdout is the file
    EXPECT_EQ(extra.count(std::to_string(leaky)), 0u) << listing;
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
            std::string word = "thread" + std::to_string(t), expected;
            for (int i = 0; i < 200; ++i) expected += word + "\n";
            for (int run = 0; run < 3; ++run) {
                if (t == 0) {
                    failures[t] += outcomeOf(BackgroundProcessRunner::run(background, {}, testSearchPath, 10,
                                                                          cancellation)).exitCode != 2;
                } else {
                    failures[t] += outcomeOf(ProcessRunner::run(foreground, {word}, testSearchPath, 10)).stdout != expected;
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures, std::vector<int>(3, 0));
}

}  // namespace
}  // namespace corvane
