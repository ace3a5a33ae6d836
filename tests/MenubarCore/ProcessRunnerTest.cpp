#include "ProcessRunner.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/TempFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using Outcome = ProcessRunner::Outcome;
using Clock = std::chrono::steady_clock;

const std::string testSearchPath = "/usr/bin:/bin";

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// Polls `done` every 10 ms for up to `limit` seconds.
template <class Condition>
bool pollUntil(Condition done, double limit) {
    const auto until = Clock::now() + std::chrono::duration<double>(limit);
    while (!done()) {
        if (Clock::now() >= until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

// Small /bin/sh scripts that stand in for the CLI, and the files they write.
struct ScriptFolder : testing::TempFolder {
    std::string script(const std::string& name, const std::string& body) const {
        std::ofstream(*this / name) << "#!/bin/sh\n" << body << "\n";
        fs::permissions(*this / name, fs::perms::owner_all);
        return *this / name;
    }
    std::optional<std::string> read(const std::string& name) const {
        std::ifstream in(*this / name);
        if (!in) return std::nullopt;
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    // Waits up to 10 s for a line-terminated file the child writes.
    bool await(const std::string& name) const {
        return pollUntil([&] { return read(name).value_or("").ends_with('\n'); }, 10);
    }
};

// A failure to start reads as an impossible outcome, so that comparing with the expected one fails.
Outcome outcomeOf(const ProcessRunner::Result& result) {
    if (auto* outcome = std::get_if<Outcome>(&result)) return *outcome;
    return Outcome{"", "", -100, false};
}

// A process that has ended but was not yet reaped by its new parent counts as gone.
bool awaitGone(pid_t pid) {
    return pollUntil([&] {
        if (!processIsRunning(pid)) return true;
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
        auto close = text.rfind(')');
        return close != std::string::npos && close + 2 < text.size() && text[close + 2] == 'Z';
    }, 5);
}

enum class Runner { foreground, background };

ProcessRunner::Result runWith(Runner runner, const std::string& path, double limit, const RunCancellation& cancellation) {
    if (runner == Runner::background) return BackgroundProcessRunner::run(path, {}, testSearchPath, limit, cancellation);
    return ProcessRunner::run(path, {}, testSearchPath, limit, {}, &cancellation);
}

TEST(ProcessRunnerTest, OutcomesOfOrdinaryChildren) {
    ScriptFolder folder;
    struct Row { const char* name; std::string body; std::vector<std::string> arguments; Outcome expected; };
    const std::vector<Row> rows{
        {"separate streams and exit status", "echo out; echo err >&2; exit 3", {}, {"out\n", "err\n", 3, false}},
        {"arguments arrive unchanged", R"(printf '%s|' "$@")", {"a b", "", "c*", "--env"}, {"a b||c*|--env|", "", 0, false}},
        {"a signal's number is the status", "echo before; kill -TERM $$", {}, {"before\n", "", 15, false}},
        {"stdin is empty", "cat; echo end", {}, {"end\n", "", 0, false}},
        {"invalid UTF-8 is replaced", R"(printf 'a\377b\342\202')", {}, {"a\xEF\xBF\xBD" "b\xEF\xBF\xBD", "", 0, false}},
        // The run ends when the child does, even while a grandchild still holds the pipes.
        {"grandchild keeps the pipe open", "sleep 3 & echo done", {}, {"done\n", "", 0, false}},
    };
    for (const auto& row : rows) {
        auto start = Clock::now();
        auto result = ProcessRunner::run(folder.script("child", row.body), row.arguments, testSearchPath, 20);
        EXPECT_EQ(outcomeOf(result), row.expected) << row.name;
        EXPECT_LT(secondsSince(start), 2.5) << row.name;
    }
}

TEST(ProcessRunnerTest, ChildSeesOurEnvironmentWithOverrides) {
    ScriptFolder folder;
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

TEST(ProcessRunnerTest, BackgroundChildRunsUnderATerminalInItsOwnSession) {
    ScriptFolder folder;
    ::unsetenv("CORVANE_NATIVE_DIAGNOSTICS");
    RunCancellation cancellation;
    // The terminal is the controlling one when /dev/tty opens.
    auto result = BackgroundProcessRunner::run(
        folder.script("child", R"(t=no; [ -t 0 ] && [ -t 1 ] && [ -t 2 ] && t=yes
c=no; (: < /dev/tty) 2>/dev/null && c=yes
printf '%s|%s|%s|%s|%s\n' "$t" "$c" "$PATH" "$CORVANE_NATIVE_DIAGNOSTICS" "$1" > ")" + folder / "marker" + R"("
echo "lots of output that nobody reads"
exit 4)"),
        {"first arg"}, "/search:" + testSearchPath, 20, cancellation);
    EXPECT_EQ(outcomeOf(result), (Outcome{"", "", 4, false}));
    EXPECT_EQ(folder.read("marker"), "yes|yes|/search:" + testSearchPath + "||first arg\n");
}

TEST(ProcessRunnerTest, ChildrenThatCannotStartAreFailures) {
    ScriptFolder folder;
    using enum DiagnosticOutcome;
    const auto fg = Runner::foreground;
    const std::string plain = folder.script("plain", "");
    fs::permissions(plain, fs::perms::owner_read);
    const std::vector<std::tuple<Runner, std::string, DiagnosticOutcome, std::string>> rows{
        {fg, folder / "absent", missing, "2"}, {fg, folder / "absent/corvane", missing, "2"},
        {fg, plain, denied, "13"}, {fg, folder / "", denied, "13"},
        {Runner::background, folder / "absent", missing, "2"}, {Runner::background, plain, denied, "13"},
    };
    RunCancellation cancellation;
    for (const auto& [runner, path, outcome, code] : rows) {
        auto result = runWith(runner, path, 5, cancellation);
        ASSERT_TRUE(std::holds_alternative<ProcessRunner::Failure>(result)) << path;
        // The foreground runner tags every start failure with the poll operation, whoever asked.
        const auto operation = runner == fg ? DiagnosticOperation::menuPoll : DiagnosticOperation::cliRun;
        EXPECT_EQ(std::get<ProcessRunner::Failure>(result).diagnostic,
                  (ClientDiagnostic{operation, outcome, "NSPOSIXErrorDomain", code, {}, {}}))
            << path;
    }
}

// Every stop reaches the whole group: the grandchild (which ignores SIGTERM) is gone too.
TEST(ProcessRunnerTest, StoppingEndsTheWholeGroup) {
    ScriptFolder folder;
    const std::string grandchild = "(trap '' TERM; exec sleep 30) & echo $! > " + folder / "grandchild" + "; ";
    const std::string sleeps = "echo started; exec sleep 30";
    const std::string stubborn = "trap '' TERM; echo started; while :; do sleep 1; done";
    const auto fg = Runner::foreground;
    const auto bg = Runner::background;
    struct Row { Runner runner; std::string body; double cancelAfter; Outcome expected; double atLeast, below; };
    const std::vector<Row> rows{
        {fg, sleeps, 0, {"started\n", "", -1, true}, 1.0, 4.0},
        // At the time limit a child that ignores SIGTERM is killed 5 s later.
        {fg, stubborn, 0, {"started\n", "", -1, true}, 6.0, 10.0},
        {fg, stubborn, 0.3, {"started\n", "", -1, false}, 0.3, 1.5},
        {fg, "exec cat /dev/zero", 0, {"", "", -1, false, true}, 0, 3.0},
        {bg, stubborn, 0, {"", "", -1, true}, 1.0, 4.0},
        {bg, sleeps, 0.3, {"", "", -1, false}, 0.3, 1.5},
    };
    for (const auto& row : rows) {
        const std::string name = (row.runner == fg ? "foreground: " : "background: ") + row.body;
        fs::remove(folder / "grandchild");
        RunCancellation cancellation;
        Clock::time_point requested{};
        std::thread canceller([&] {
            if (row.cancelAfter == 0) return;
            folder.await("grandchild");
            std::this_thread::sleep_for(std::chrono::duration<double>(row.cancelAfter));
            requested = Clock::now();
            cancellation.request();
        });
        auto start = Clock::now();
        auto result = runWith(row.runner, folder.script("slow", grandchild + row.body),
                              row.cancelAfter > 0 ? 20.0 : 1.0, cancellation);
        double elapsed = secondsSince(start);
        canceller.join();
        EXPECT_EQ(outcomeOf(result), row.expected) << name;
        EXPECT_GE(elapsed, row.atLeast) << name;
        EXPECT_LT(row.cancelAfter > 0 ? secondsSince(requested) : elapsed, row.below) << name;
        ASSERT_TRUE(folder.await("grandchild")) << name;
        EXPECT_TRUE(awaitGone(std::stoi(*folder.read("grandchild")))) << name;
    }
}

// An answer is kept up to its cap (past it the run stops and keeps nothing); discarded output
// drains to its end however long; stderr keeps its last part from a line start; both streams are
// read at once so that the child never stalls, and neither does a background child writing
// megabytes to its terminal.
TEST(ProcessRunnerTest, OutputIsBounded) {
    using Output = ProcessRunner::Output;
    ScriptFolder folder;
    const std::size_t cap = ProcessRunner::maxStdoutBytes;
    const std::string atCap = "head -c " + std::to_string(cap) + " /dev/zero";
    const std::string lines = "yes 0123456789abcdef | head -c " + std::to_string(3 * ProcessRunner::maxStderrBytes);
    struct Row { const char* name; std::string body; Output output; std::size_t stdoutSize; bool exceeded; };
    const std::vector<Row> rows{
        {"both streams large", lines + " >&2 & " + atCap + "; wait", Output::answer, cap, false},
        {"one byte past the cap", lines + " >&2 & " + atCap + "; echo; wait", Output::answer, 0, true},
        {"discarded, 20 MiB", lines + " >&2 & head -c 20971520 /dev/zero; wait", Output::discard, 0, false},
    };
    for (const auto& row : rows) {
        auto outcome = outcomeOf(
            ProcessRunner::run(folder.script("large", row.body), {}, testSearchPath, 60, {}, nullptr, row.output));
        EXPECT_EQ(outcome.stdout.size(), row.stdoutSize) << row.name;
        EXPECT_EQ(outcome.outputLimitExceeded, row.exceeded) << row.name;
        EXPECT_EQ(outcome.exitCode, row.exceeded ? -1 : 0) << row.name;
        if (row.exceeded) continue;  // stderr was cut wherever the stop came
        EXPECT_LE(outcome.stderr.size(), ProcessRunner::maxStderrBytes) << row.name;
        EXPECT_GT(outcome.stderr.size(), ProcessRunner::maxStderrBytes - 17) << row.name;
        EXPECT_TRUE(outcome.stderr.starts_with("0123456789abcdef\n")) << row.name;
    }
    RunCancellation cancellation;
    auto background = runWith(Runner::background, folder.script("tty", lines + "; exit 0"), 60, cancellation);
    EXPECT_EQ(outcomeOf(background), (Outcome{"", "", 0, false}));
}

// Only the standard streams reach the child, also descriptors that other code left inheritable.
TEST(ProcessRunnerTest, NoDescriptorsLeakIntoTheChild) {
    ScriptFolder folder;
    // Numbered well above what the child's listing itself opens.
    const int opened = ::open("/dev/null", O_RDONLY), leaky = ::fcntl(opened, F_DUPFD, 40);
    ::close(opened);
    ASSERT_GE(leaky, 40);
    RunCancellation cancellation;
    for (Runner runner : {Runner::foreground, Runner::background}) {
        auto result = runWith(runner, folder.script("fds", "ls /dev/fd > " + folder / "fds"), 10, cancellation);
        EXPECT_EQ(outcomeOf(result).exitCode, 0);
        const std::string listing = folder.read("fds").value_or("");
        std::istringstream in(listing);
        std::set<std::string> extra{std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
        for (const char* standard : {"0", "1", "2"}) extra.erase(standard);
        EXPECT_LE(extra.size(), 1u) << listing;  // `ls` holds the folder it lists open; stdout is the file
        EXPECT_EQ(extra.count(std::to_string(leaky)), 0u) << listing;
    }
    ::close(leaky);
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
