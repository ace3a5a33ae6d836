#include "ProcessRunner.h"

#include <cstdlib>
#include <set>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "StandInScripts.h"

namespace corvane {
namespace {

using testing::ScriptFolder;
using testing::testSearchPath;
using Outcome = ProcessRunner::Outcome;

Outcome outcomeOf(const ProcessRunner::Result& result) {
    EXPECT_TRUE(std::holds_alternative<Outcome>(result));
    if (auto* outcome = std::get_if<Outcome>(&result)) return *outcome;
    return Outcome{"", "", -100, false};
}

TEST(ProcessRunnerTest, OutcomesOfOrdinaryChildren) {
    ScriptFolder folder("runner");
    struct Row {
        const char* name;
        std::string body;
        std::vector<std::string> arguments;
        Outcome expected;
    };
    const std::vector<Row> rows{
        {"separate streams and exit status", "echo out; echo err >&2; exit 3", {}, {"out\n", "err\n", 3, false}},
        {"arguments arrive unchanged", R"(printf '%s|' "$@")", {"a b", "", "c*", "--env"}, {"a b||c*|--env|", "", 0, false}},
        {"a signal's number is the status", "echo before; kill -TERM $$", {}, {"before\n", "", 15, false}},
        {"stdin is empty", "cat; echo end", {}, {"end\n", "", 0, false}},
        {"invalid UTF-8 is replaced", R"(printf 'a\377b\300\200c\342\202')", {},
         {"a\xEF\xBF\xBD" "b\xEF\xBF\xBD\xEF\xBF\xBD" "c\xEF\xBF\xBD", "", 0, false}},
        {"valid UTF-8 passes", R"(printf '\342\202\254 \360\237\230\200' >&2)", {},
         {"", "\xE2\x82\xAC \xF0\x9F\x98\x80", 0, false}},
        // The run ends when the child does, even while a grandchild still holds the pipes.
        {"grandchild keeps the pipe open", "sleep 3 & echo done", {}, {"done\n", "", 0, false}},
    };
    for (const auto& row : rows) {
        auto start = std::chrono::steady_clock::now();
        auto result = ProcessRunner::run(folder.script("child", row.body), row.arguments, testSearchPath, 20);
        EXPECT_EQ(outcomeOf(result), row.expected) << row.name;
        EXPECT_LT(testing::secondsSince(start), 2.5) << row.name;
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
    struct Row {
        const char* name;
        std::string path;
        DiagnosticOutcome outcome;
        std::string code;
    };
    const std::vector<Row> rows{
        {"missing file", folder.path("absent"), DiagnosticOutcome::missing, "2"},
        {"missing folder", folder.path("absent/corvane"), DiagnosticOutcome::missing, "2"},
        {"not executable", folder.file("plain", "#!/bin/sh\n", std::filesystem::perms::owner_read),
         DiagnosticOutcome::denied, "13"},
        {"a folder", folder.path(""), DiagnosticOutcome::denied, "13"},
    };
    for (const auto& row : rows) {
        auto result = ProcessRunner::run(row.path, {}, testSearchPath, 5);
        ASSERT_TRUE(std::holds_alternative<ProcessRunner::Failure>(result)) << row.name;
        EXPECT_EQ(std::get<ProcessRunner::Failure>(result).diagnostic,
                  (ClientDiagnostic{DiagnosticOperation::menuPoll, row.outcome, "NSPOSIXErrorDomain", row.code,
                                    std::nullopt, std::nullopt}))
            << row.name;
    }
}

TEST(ProcessRunnerTest, TimeLimitStopsTheChild) {
    ScriptFolder folder("runner-timeout");
    struct Row {
        const char* name;
        std::string body;
        double atLeast;
        double below;
    };
    const std::vector<Row> rows{
        {"ends on SIGTERM", "echo started; exec sleep 30", 1.0, 4.0},
        // Killed 5 s after the SIGTERM it ignores.
        {"ignores SIGTERM", "trap '' TERM; echo started; while :; do sleep 1; done", 6.0, 10.0},
    };
    for (const auto& row : rows) {
        auto start = std::chrono::steady_clock::now();
        auto result = ProcessRunner::run(folder.script("slow", row.body), {}, testSearchPath, 1.0);
        double elapsed = testing::secondsSince(start);
        EXPECT_EQ(outcomeOf(result), (Outcome{"started\n", "", -1, true})) << row.name;
        EXPECT_GE(elapsed, row.atLeast) << row.name;
        EXPECT_LT(elapsed, row.below) << row.name;
    }
}

TEST(ProcessRunnerTest, LargeOutputOnBothStreamsDoesNotStall) {
    ScriptFolder folder("runner-large");
    constexpr std::size_t size = 50u * 1024 * 1024;
    auto result = ProcessRunner::run(
        folder.script("large", "head -c " + std::to_string(size) + " /dev/zero >&2 & head -c " + std::to_string(size) +
                                   " /dev/zero; wait"),
        {}, testSearchPath, 120);
    auto outcome = outcomeOf(result);
    EXPECT_EQ(outcome.stdout.size(), size);
    EXPECT_EQ(outcome.stderr.size(), size);
    EXPECT_EQ(outcome.exitCode, 0);
}

// Only the standard streams reach the child, also descriptors that other code left inheritable.
TEST(ProcessRunnerTest, NoDescriptorsLeakIntoTheChild) {
    ScriptFolder folder("runner-fd");
    // Deliberately without close-on-exec, and numbered well above what the listing itself opens.
    int opened = ::open("/dev/null", O_RDONLY);
    int leaky = ::fcntl(opened, F_DUPFD, 40);
    ::close(opened);
    ASSERT_GE(leaky, 40);
    auto result = ProcessRunner::run(folder.script("fds", "ls /dev/fd"), {}, testSearchPath, 10);
    ::close(leaky);
    std::istringstream listing(outcomeOf(result).stdout);
    std::set<std::string> extra;
    for (std::string fd; listing >> fd;)
        if (fd != "0" && fd != "1" && fd != "2") extra.insert(fd);
    // `ls` holds the folder it lists open.
    EXPECT_LE(extra.size(), 1u) << outcomeOf(result).stdout;
    EXPECT_EQ(extra.count(std::to_string(leaky)), 0u) << outcomeOf(result).stdout;
}

TEST(ProcessRunnerTest, Utf8DecodingReplacesMaximalInvalidParts) {
    const std::string r = "\xEF\xBF\xBD";
    const std::vector<std::pair<std::string, std::string>> rows{
        {"", ""},
        {"plain", "plain"},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {"\x80", r},
        {"a\xFF" "b", "a" + r + "b"},
        {"\xC0\x80", r + r},                          // overlong
        {"\xE0\x80\x80", r + r + r},                  // overlong three-byte form
        {"\xED\xA0\x80", r + r + r},                  // surrogate
        {"\xF4\x90\x80\x80", r + r + r + r},          // beyond U+10FFFF
        {"\xE2\x82", r},                              // cut short at the end
        {"\xE2\x82" "A", r + "A"},                    // cut short by another character
        {"\xF0\x9F\x98", r},
        {"\xF0\x9F\x98\xC3\xA9", r + "\xC3\xA9"},
        {std::string("a\0b", 3), std::string("a\0b", 3)},
    };
    for (const auto& [bytes, text] : rows) EXPECT_EQ(decodeUtf8Lossy(bytes), text) << ::testing::PrintToString(bytes);
}

TEST(ProcessRunnerTest, ProcessIsRunning) {
    const std::vector<std::pair<pid_t, bool>> rows{
        {::getpid(), true}, {1, true}, {0, false}, {-1, false}, {999'999'999, false},
    };
    for (const auto& [pid, running] : rows) EXPECT_EQ(processIsRunning(pid), running) << pid;
}

}  // namespace
}  // namespace corvane
