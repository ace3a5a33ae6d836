#include "ProcessRunner.h"

#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "StandInScripts.h"

namespace corvane {
namespace {

using namespace testing;
using Outcome = ProcessRunner::Outcome;

TEST(ProcessRunnerTest, OutcomesOfOrdinaryChildren) {
    ScriptFolder folder("runner");
    struct Row { const char* name; std::string body; std::vector<std::string> arguments; Outcome expected; };
    const std::vector<Row> rows{
        {"separate streams and exit status", "echo out; echo err >&2; exit 3", {}, {"out\n", "err\n", 3, false}},
        {"arguments arrive unchanged", R"(printf '%s|' "$@")", {"a b", "", "c*", "--env"}, {"a b||c*|--env|", "", 0, false}},
        {"a signal's number is the status", "echo before; kill -TERM $$", {}, {"before\n", "", 15, false}},
        {"stdin is empty", "cat; echo end", {}, {"end\n", "", 0, false}},
        {"invalid UTF-8 is replaced", R"(printf 'a\377b\300\200c\342\202')", {},
         {"a\xEF\xBF\xBD" "b\xEF\xBF\xBD\xEF\xBF\xBD" "c\xEF\xBF\xBD", "", 0, false}},
        // The run ends when the child does, even while a grandchild still holds the pipes.
        {"grandchild keeps the pipe open", "sleep 3 & echo done", {}, {"done\n", "", 0, false}},
    };
    for (const auto& row : rows) {
        auto start = std::chrono::steady_clock::now();
        auto result = ProcessRunner::run(folder.script("child", row.body), row.arguments, testSearchPath, 20);
        EXPECT_EQ(outcomeOf(result), row.expected) << row.name;
        EXPECT_LT(secondsSince(start), 2.5) << row.name;
    }
}

TEST(ProcessRunnerTest, ChildSeesOurEnvironmentWithOverrides) {
    ScriptFolder folder("runner-env");
    ASSERT_EQ(setenv("CORVANE_RUNNER_INHERITED", "inherited", 1), 0);
    ASSERT_EQ(setenv("CORVANE_RUNNER_REPLACED", "old", 1), 0);
    auto result = ProcessRunner::run(
        folder.script("env", R"(printf '%s|%s|%s|%s|%s' "$PATH" "$CORVANE_NATIVE_DIAGNOSTICS" )"
                             R"("$CORVANE_RUNNER_INHERITED" "$CORVANE_RUNNER_REPLACED" "$CORVANE_MENU_REFRESH_ID")"),
        {}, "/search/one:/usr/bin:/bin", 10,
        {{"CORVANE_RUNNER_REPLACED", "new"}, {"CORVANE_MENU_REFRESH_ID", "poll-7"}, {"PATH", "/ignored"},
         {"CORVANE_NATIVE_DIAGNOSTICS", "0"}});
    unsetenv("CORVANE_RUNNER_INHERITED");
    unsetenv("CORVANE_RUNNER_REPLACED");
    EXPECT_EQ(outcomeOf(result).stdout, "/search/one:/usr/bin:/bin|1|inherited|new|poll-7");
}

TEST(ProcessRunnerTest, ChildrenThatCannotStartAreFailures) {
    ScriptFolder folder("runner-fail");
    using enum DiagnosticOutcome;
    const std::vector<std::tuple<std::string, DiagnosticOutcome, std::string>> rows{
        {folder.path("absent"), missing, "2"},
        {folder.path("absent/corvane"), missing, "2"},
        {folder.file("plain", "#!/bin/sh\n", std::filesystem::perms::owner_read), denied, "13"},
        {folder.path(""), denied, "13"},
    };
    for (const auto& [path, outcome, code] : rows) {
        auto result = ProcessRunner::run(path, {}, testSearchPath, 5);
        ASSERT_TRUE(std::holds_alternative<ProcessRunner::Failure>(result)) << path;
        EXPECT_EQ(std::get<ProcessRunner::Failure>(result).diagnostic,
                  (ClientDiagnostic{DiagnosticOperation::menuPoll, outcome, "NSPOSIXErrorDomain", code, {}, {}}))
            << path;
    }
}

// Every stop reaches the whole group: the grandchild (which ignores SIGTERM) is gone too.
TEST(ProcessRunnerTest, StoppingEndsTheWholeGroup) {
    ScriptFolder folder("runner-stop");
    const std::string grandchild = "(trap '' TERM; exec sleep 30) & echo $! > " + folder.path("grandchild") + "; ";
    struct Row { const char* name; std::string body; double cancelAfter; Outcome expected; double atLeast, below; };
    const std::vector<Row> rows{
        {"time limit", "echo started; exec sleep 30", 0, {"started\n", "", -1, true}, 1.0, 4.0},
        // A child that ignores SIGTERM is killed 5 s after the time limit.
        {"time limit, SIGTERM ignored", "trap '' TERM; echo started; while :; do sleep 1; done", 0,
         {"started\n", "", -1, true}, 6.0, 10.0},
        {"cancelled", "echo started; exec sleep 30", 0.3, {"started\n", "", -1, false}, 0.3, 1.0},
        {"cancelled, SIGTERM ignored", "trap '' TERM; echo started; while :; do sleep 1; done", 0.3,
         {"started\n", "", -1, false}, 0.3, 1.0},
        {"endless stdout", "exec cat /dev/zero", 0, {"", "", -1, false, true}, 0, 2.0},
    };
    for (const auto& row : rows) {
        RunCancellation cancellation;
        std::thread canceller;
        if (row.cancelAfter > 0)
            canceller = std::thread([&] {
                std::this_thread::sleep_for(std::chrono::duration<double>(row.cancelAfter));
                cancellation.request();
            });
        auto start = std::chrono::steady_clock::now();
        auto result = ProcessRunner::run(folder.script("slow", grandchild + row.body), {}, testSearchPath,
                                         row.cancelAfter > 0 ? 20.0 : 1.0, {}, &cancellation);
        double elapsed = secondsSince(start);
        if (canceller.joinable()) canceller.join();
        EXPECT_EQ(outcomeOf(result), row.expected) << row.name;
        EXPECT_GE(elapsed, row.atLeast) << row.name;
        EXPECT_LT(elapsed, row.below) << row.name;
        ASSERT_TRUE(folder.await("grandchild")) << row.name;
        EXPECT_TRUE(awaitGone(std::stoi(*folder.read("grandchild")))) << row.name;
    }
}

// Stdout is kept up to its cap (past it the run stops and keeps nothing); stderr keeps its last
// part from a line start, both streams being read at once so that neither child stalls.
TEST(ProcessRunnerTest, OutputIsBounded) {
    ScriptFolder folder("runner-large");
    const std::size_t cap = ProcessRunner::maxStdoutBytes;
    const std::string atCap = "head -c " + std::to_string(cap) + " /dev/zero";
    const std::string lines = "yes 0123456789abcdef | head -c " + std::to_string(3 * ProcessRunner::maxStderrBytes);
    struct Row { const char* name; std::string body; std::size_t stdoutSize; bool exceeded; };
    const std::vector<Row> rows{
        {"both streams large", lines + " >&2 & " + atCap + "; wait", cap, false},
        {"one byte past the cap", lines + " >&2 & " + atCap + "; echo; wait", 0, true},
    };
    for (const auto& row : rows) {
        auto outcome = outcomeOf(ProcessRunner::run(folder.script("large", row.body), {}, testSearchPath, 60));
        EXPECT_EQ(outcome.stdout.size(), row.stdoutSize) << row.name;
        EXPECT_EQ(outcome.outputLimitExceeded, row.exceeded) << row.name;
        EXPECT_EQ(outcome.exitCode, row.exceeded ? -1 : 0) << row.name;
        if (row.exceeded) continue;  // stderr was cut wherever the stop came
        EXPECT_LE(outcome.stderr.size(), ProcessRunner::maxStderrBytes) << row.name;
        EXPECT_GT(outcome.stderr.size(), ProcessRunner::maxStderrBytes - 17) << row.name;
        EXPECT_TRUE(outcome.stderr.starts_with("0123456789abcdef\n")) << row.name;
    }
}

// Only the standard streams reach the child, also descriptors that other code left inheritable.
TEST(ProcessRunnerTest, NoDescriptorsLeakIntoTheChild) {
    ScriptFolder folder("runner-fd");
    int leaky = openLeakyDescriptor();
    ASSERT_GE(leaky, 40);
    auto listing = outcomeOf(ProcessRunner::run(folder.script("fds", "ls /dev/fd"), {}, testSearchPath, 10)).stdout;
    ::close(leaky);
    auto extra = extraDescriptors(listing);
    EXPECT_LE(extra.size(), 1u) << listing;  // `ls` holds the folder it lists open
    EXPECT_EQ(extra.count(std::to_string(leaky)), 0u) << listing;
}

TEST(ProcessRunnerTest, Utf8DecodingReplacesMaximalInvalidParts) {
    const std::string r = "\xEF\xBF\xBD";
    const std::vector<std::pair<std::string, std::string>> rows{
        {"", ""}, {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {"\x80", r}, {"a\xFF" "b", "a" + r + "b"}, {std::string("a\0b", 3), std::string("a\0b", 3)},
        {"\xC0\x80", r + r}, {"\xE0\x80\x80", r + r + r},        // overlong forms
        {"\xED\xA0\x80", r + r + r}, {"\xF4\x90\x80\x80", r + r + r + r},  // surrogate, beyond U+10FFFF
        {"\xE2\x82", r}, {"\xE2\x82" "A", r + "A"}, {"\xF0\x9F\x98\xC3\xA9", r + "\xC3\xA9"},  // cut short
    };
    for (const auto& [bytes, text] : rows) EXPECT_EQ(decodeUtf8Lossy(bytes), text) << ::testing::PrintToString(bytes);
}

TEST(ProcessRunnerTest, ProcessIsRunning) {
    const std::vector<std::pair<pid_t, bool>> rows{{::getpid(), true}, {0, false}, {-1, false}, {999'999'999, false}};
    for (const auto& [pid, running] : rows) EXPECT_EQ(processIsRunning(pid), running) << pid;
}

}  // namespace
}  // namespace corvane
