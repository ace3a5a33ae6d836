#include "app/ActionRunner.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "support/TempFolder.h"
#include "fakes/FakeBackgroundWork.h"
#include "fakes/FakeEffects.h"
#include "fakes/FakeMainLoop.h"

namespace corvane {
namespace {

using Outcome = ProcessRunner::Outcome;
using Op = DiagnosticOperation;
using D = DiagnosticOutcome;

MenuAction makeAction(std::string title, MenuVerb verb, std::optional<Arguments> reportClick = std::nullopt) {
    return MenuAction{std::move(title), std::move(verb), std::move(reportClick), std::nullopt, true};
}
MenuAction runAction() { return makeAction("Doctor", verb::Run{{"doctor"}}); }
MenuAction syncAction() {
    return makeAction("Sync", verb::Background{BackgroundAction{{"sync"}, "Syncing…", "Fetching sessions"}, {}});
}

ClientDiagnostic diagnostic(Op operation, D outcome, std::optional<std::string> domain,
                            std::optional<std::string> code) {
    return ClientDiagnostic{operation, outcome, std::move(domain), std::move(code), std::nullopt, std::nullopt};
}
ClientDiagnostic analytics(std::string domain, std::string code) {
    return diagnostic(Op::menuAnalytics, D::failed, std::move(domain), std::move(code));
}

const std::string cliMarker =
    R"(CORVANE_DIAGNOSTIC {"version":1,"failure":{"outcome":"denied","domain":"Node","code":"EACCES"}})";

// A runner on fakes whose CLI runs and click reports answer with `result` and `clickResult`.
struct Harness {
    FakeMainLoop loop;
    FakeBackgroundWork work;
    FakeEffects effects;
    std::shared_ptr<ActionRunner> runner = ActionRunner::create(loop, work, effects);
    ActionRunner::RunResult result = Outcome{"", "", 0, false};
    ActionRunner::RunResult clickResult = Outcome{"", "", 0, false};
    std::vector<Arguments> commands, clicks;
    std::shared_ptr<RunCancellation> cancellation;
    std::vector<ClientDiagnostic> diagnostics;
    std::vector<std::string> eventIds;
    int stateChanges = 0, runsFinished = 0;

    Harness() {
        runner->located = CliLocator::Located{"/opt/Corvane Tools/corvane", "/usr/bin:/bin"};
        runner->runCommand = [this](const auto&, const Arguments& arguments, bool, std::shared_ptr<RunCancellation> c) {
            commands.push_back(arguments);
            cancellation = std::move(c);
            return result;
        };
        runner->runClickReport = [this](const auto&, const Arguments& arguments) {
            clicks.push_back(arguments);
            return clickResult;
        };
        runner->onDiagnostic = [this](const ClientDiagnostic& d, const std::string& id) {
            diagnostics.push_back(d);
            eventIds.push_back(id);
        };
        runner->onStateChanged = [this] { ++stateChanges; };
        runner->onRunFinished = [this] { ++runsFinished; };
    }

    void finishRuns() {
        work.runAll();
        loop.runPending();
    }

    std::optional<std::string> failure() const {
        const auto& state = runner->state();
        if (!state) return std::nullopt;
        const auto* failed = std::get_if<ActionRunState::Failed>(&state->phase);
        return failed ? std::optional(failed->message) : std::nullopt;
    }
};

// Each way a run can end: the text under the failed run, the rows it offers, and the log record.
TEST(ActionRunner, RunEndsInItsMessageAndDiagnostic) {
    struct Row {
        MenuAction action;
        ActionRunner::RunResult result;
        bool cancel;
        std::optional<std::string> message;
        ClientDiagnostic diagnostic;
        std::vector<std::string> offers;
    };
    const auto spawnFailure = ClientDiagnostic::system(Op::menuPoll, SystemError::posix(2));
    const auto cliRun = [](DiagnosticOutcome outcome, std::string domain, std::string code) {
        return diagnostic(Op::cliRun, outcome, std::move(domain), std::move(code));
    };
    const std::vector<std::string> retryDismiss{"Retry", "Dismiss"};
    const std::string exit3 =
        "The command didn't finish successfully (exit 3). Retry or continue in Terminal for details.";
    const Row rows[] = {
        {runAction(), ProcessRunner::Failure::spawnFailed(spawnFailure), false,
         std::string(ActionRunner::startFailedMessage), spawnFailure, {"Retry", "Continue in Terminal…", "Dismiss"}},
        {syncAction(), Outcome{"", "", -1, false}, true, std::string(ActionRunner::cancelledMessage),
         cliRun(D::failed, "exit", "-1"), retryDismiss},
        {runAction(), Outcome{"", cliMarker, -1, true}, false, std::string(ActionRunner::timedOutMessage),
         cliRun(D::failed, "process", "TIMEOUT"), {}},
        {runAction(), Outcome{"", "boom\n" + cliMarker + "\n", 3, false}, false, exit3,
         cliRun(D::denied, "Node", "EACCES"), {}},
        {syncAction(), Outcome{"", "", 3, false}, false, exit3, cliRun(D::failed, "exit", "3"), retryDismiss},
        {runAction(), Outcome{"done", "", 0, false}, false, std::nullopt, cliRun(D::available, "exit", "0"), {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.diagnostic.summary());
        Harness h;
        h.result = row.result;
        h.runner->perform(row.action);
        ASSERT_TRUE(h.runner->state() && h.runner->state()->isRunning());
        EXPECT_EQ(h.work.priorities(), std::vector{WorkPriority::userInitiated});
        if (row.cancel) h.runner->perform(makeAction("Cancel", verb::CancelRun{}));
        h.finishRuns();
        ASSERT_TRUE(h.cancellation);
        EXPECT_EQ(h.cancellation->requested(), row.cancel);
        EXPECT_EQ(h.failure(), row.message);
        EXPECT_EQ(h.diagnostics, std::vector{row.diagnostic});
        EXPECT_EQ(h.eventIds.at(0).size(), 36u);
        EXPECT_EQ(h.stateChanges, 2);
        EXPECT_EQ(h.runsFinished, 1);
        if (!h.runner->state() || row.offers.empty()) continue;
        EXPECT_EQ(h.runner->state()->action, row.action);
        std::vector<std::string> offers;
        for (const auto& item : h.runner->state()->items())
            if (const auto* offer = item.as<row::Action>()) offers.push_back(offer->action.title);
        EXPECT_EQ(offers, row.offers);
    }
}

TEST(ActionRunner, OneRunAtATimeThenRetryAndDismiss) {
    Harness h;
    h.result = Outcome{"", "", 3, false};
    const MenuAction clicked = makeAction("Doctor", verb::Run{{"doctor"}}, Arguments{"clicked", "doctor"});
    h.runner->perform(clicked);
    // Every CLI-starting row, and dismissing, is ignored while the run goes on.
    h.runner->perform(syncAction());
    h.runner->perform(makeAction("Login", verb::Terminal{{"login"}}));
    h.runner->perform(makeAction("Dismiss", verb::DismissRun{}));
    EXPECT_EQ(h.work.heldCount(), 1u);
    EXPECT_EQ(h.runner->state()->action, clicked);
    EXPECT_TRUE(h.effects.calls.empty());
    h.finishRuns();
    ASSERT_TRUE(h.failure());

    h.result = Outcome{"", "", 0, false};
    h.runner->perform(makeAction("Retry", verb::RetryRun{}));
    EXPECT_EQ(h.runner->state(), (ActionRunState{clicked, ActionRunState::Running{}}));
    h.finishRuns();
    EXPECT_EQ(h.commands, (std::vector<Arguments>{{"doctor"}, {"doctor"}}));
    while (h.work.runSerial() > 0) {
    }
    EXPECT_EQ(h.clicks.size(), 2u) << "a retry reports the click again";
    EXPECT_FALSE(h.runner->state());

    h.result = Outcome{"", "", 1, false};
    h.runner->perform(clicked);
    h.finishRuns();
    h.runner->perform(makeAction("Dismiss", verb::DismissRun{}));
    EXPECT_FALSE(h.runner->state());
    EXPECT_EQ(h.runsFinished, 3);
}

TEST(ActionRunner, ClickReportsAreBoundedAndReported) {
    Harness h;
    const MenuAction copy = makeAction("Copy", verb::Copy{"id"}, Arguments{"clicked", "copy"});
    for (int i = 0; i < 9; ++i) h.runner->perform(copy);
    EXPECT_EQ(h.effects.calls.size(), 9u) << "a dropped report does not drop the action";
    EXPECT_EQ(h.diagnostics, std::vector{analytics("Corvane", "QUEUE_FULL")});

    h.clickResult = Outcome{"", "", 2, false};
    h.work.runSerial();
    h.loop.runPending();
    EXPECT_EQ(h.clicks, std::vector<Arguments>{copy.reportClick.value()});
    EXPECT_EQ(h.diagnostics.back(), analytics("exit", "2"));

    h.runner->located.reset();
    h.runner->perform(makeAction("Doctor", verb::Run{{"doctor"}}, Arguments{"clicked"}));
    EXPECT_EQ(h.diagnostics.back(), analytics("Corvane", "CLI_MISSING"));
    EXPECT_EQ(h.failure(), std::string(ActionRunner::cliMissingMessage));
    EXPECT_EQ(h.work.heldCount(), 0u);
}

// Rows whose verb is an effect: what reaches the effects, and what is logged. Focusing a session
// falls back to opening a terminal when the focus fails and the row has a fallback command.
TEST(ActionRunner, EffectVerbsAndFocusFallingBackToTerminal) {
    using E = FakeEffects;
    const Arguments fallback{"open", "s 1"};
    const E::Call focus = E::FocusSession{"/dev/ttys001", 42};
    const E::Call terminal = E::OpenTerminal{"'/opt/Corvane Tools/corvane' open 's 1'"};
    const auto opened = diagnostic(Op::terminalOpen, D::available, {}, {});
    const auto notFound = diagnostic(Op::terminalFocus, D::failed, {}, "TAB_NOT_FOUND");
    struct Row {
        MenuVerb verb;
        std::vector<E::Call> calls;
        std::vector<ClientDiagnostic> diagnostics = {};
        bool hasDiagnostics = false;
        SessionFocus focus = {true, std::nullopt};
        std::optional<bool> overrideAnswer = std::nullopt;  // a `focusSession` member answering this
    };
    const Row rows[] = {
        {.verb = verb::Url{"https://corvane.dev"}, .calls = {E::OpenUrl{"https://corvane.dev"}}},
        {.verb = verb::File{"/tmp/log"}, .calls = {E::OpenFile{"/tmp/log"}}},
        // A program is never handed to the opener (it would run it); a relative path never either.
        {.verb = verb::File{"/bin/sh"},
         .calls = {E::ShowAlert{std::string(ActionRunner::executableFileMessage),
                                std::string(ActionRunner::executableFileGuidance)}}},
        {.verb = verb::File{"tmp/log"}, .calls = {}},
        {.verb = verb::Copy{"abc"}, .calls = {E::CopyText{"abc"}}},
        {.verb = verb::Diagnostics{}, .calls = {E::CopyText{"report"}}, .hasDiagnostics = true},
        {.verb = verb::Diagnostics{}, .calls = {E::CopyText{""}}},
        {.verb = verb::Focus{"/dev/ttys001", 42, fallback}, .calls = {focus}},  // another app came forward
        {.verb = verb::Focus{"/dev/ttys001", 42, fallback}, .calls = {focus, terminal}, .diagnostics = {notFound, opened},
         .focus = {false, terminalTabDiagnostic(false)}},
        {.verb = verb::Focus{"/dev/ttys001", 42, std::nullopt}, .calls = {focus}, .focus = {false, std::nullopt}},
        {.verb = verb::Focus{"/dev/ttys001", 42, fallback}, .calls = {terminal}, .diagnostics = {opened},
         .overrideAnswer = false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        Harness h;
        if (row.hasDiagnostics) h.runner->diagnostics = [] { return std::string("report"); };
        h.effects.focusResult = row.focus;
        if (row.overrideAnswer)
            h.runner->focusSession = [&](const std::string&, std::int32_t) { return *row.overrideAnswer; };
        h.runner->perform(makeAction("Row", row.verb));
        EXPECT_EQ(h.effects.calls, row.calls);
        EXPECT_EQ(h.diagnostics, row.diagnostics);
    }
}

TEST(ActionRunner, TerminalFailureCopiesTheCommandAndExplains) {
    Harness h;
    h.result = Outcome{"", "", 1, false};
    h.runner->perform(runAction());
    h.finishRuns();
    h.diagnostics.clear();
    h.effects.terminalResult = TerminalError{-1743};
    h.runner->perform(makeAction("Continue in Terminal…", verb::Terminal{{"doctor", "--fix"}}));
    EXPECT_FALSE(h.runner->state()) << "a failed run gives way to the terminal";
    const std::string command = "'/opt/Corvane Tools/corvane' doctor --fix";
    const std::string explanation = "Terminal control was denied. You can allow Corvane in System Settings > Privacy & "
                                    "Security > Automation.\n\nThe command was copied to your clipboard. Paste it "
                                    "into Terminal to run it.";
    using E = FakeEffects;
    EXPECT_EQ(h.effects.calls, (std::vector<E::Call>{E::OpenTerminal{command}, E::CopyText{command}, E::ActivateApp{},
                                                     E::ShowAlert{"Corvane can't open Terminal", explanation}}));
    EXPECT_EQ(h.diagnostics, std::vector{ClientDiagnostic::appleEvent(-1743, Op::terminalOpen)});
}

TEST(ActionRunner, ResultAfterTheRunnerIsGoneIsDropped) {
    Harness h;
    h.runner->perform(runAction());
    h.work.runAll();
    h.runner.reset();
    h.loop.runPending();
    EXPECT_EQ(h.runsFinished, 0);
}

// At termination a background run is cancelled (the process runner then stops its whole group); a
// foreground run, a CLI update say, takes no cancellation and is left to finish on its own.
TEST(ActionRunner, StopCancelsABackgroundRunAndLeavesAForegroundRun) {
    for (const auto& [action, background] : {std::pair{runAction(), false}, std::pair{syncAction(), true}}) {
        SCOPED_TRACE(action.title);
        Harness h;
        h.runner->perform(action);
        h.runner->stop(0);
        h.finishRuns();
        ASSERT_TRUE(h.cancellation);
        EXPECT_EQ(h.cancellation->requested(), background);
        EXPECT_EQ(h.failure(), background ? std::optional(std::string(ActionRunner::cancelledMessage)) : std::nullopt);
    }
}

TEST(ActionRunner, RealProcessExitingThree) {
    testing::TempFolder folder;
    const std::string script = folder / "corvane";
    std::ofstream(script) << "#!/bin/sh\necho '" << cliMarker << "' >&2\nexit 3\n";
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    Harness h;
    h.runner->located = CliLocator::Located{script, "/usr/bin:/bin"};
    h.runner->runCommand = ActionRunner::processRunCommand(10, 10);
    h.runner->runClickReport = ActionRunner::processClickReport(10);
    h.runner->perform(makeAction("Doctor", verb::Run{{"doctor"}}, Arguments{"clicked"}));
    h.finishRuns();
    h.work.runSerial();
    h.loop.runPending();
    EXPECT_EQ(h.failure(), ActionRunner::exitFailureMessage(3));
    EXPECT_EQ(h.diagnostics, (std::vector{diagnostic(Op::cliRun, D::denied, "Node", "EACCES"), analytics("exit", "3")}));
}

}  // namespace
}  // namespace corvane
