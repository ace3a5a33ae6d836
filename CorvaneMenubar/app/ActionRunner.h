#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "ActionRunState.h"
#include "seams/BackgroundWork.h"
#include "CliLocator.h"
#include "ClientDiagnostic.h"
#include "seams/Effects.h"
#include "seams/MainLoop.h"
#include "MenuModel.h"
#include "ProcessRunner.h"

namespace corvane {

// Carries out the actions picked in the menu and owns the state of the one CLI command that may
// run at a time (`ActionRunState`). Everything outside the app goes through the seams and the
// replaceable members below, so the runner runs against fakes.
//
// Threads: every member is read and written on the main thread. A CLI run and a click report
// leave it through `BackgroundWork` with copies of what they need (the location, the arguments,
// the run function) and come back through `MainLoop::post`, holding the runner weakly: a result
// that arrives after the runner is gone is dropped. The only state shared with a worker is the
// run's `RunCancellation` (under its own lock) and its completion signal.
//
// The main loop must outlive the background jobs the runner started (they post into it).
class ActionRunner : public std::enable_shared_from_this<ActionRunner> {
public:
    using RunResult = ProcessRunner::Result;
    // Runs one CLI action on a worker thread, blocking until it has ended.
    using RunCommand = std::function<RunResult(const CliLocator::Located&, const Arguments&, bool background,
                                               std::shared_ptr<RunCancellation>)>;
    // Runs one click report on the click-report queue's thread, blocking.
    using RunClickReport = std::function<RunResult(const CliLocator::Located&, const Arguments&)>;

    // Time limits of the real runners, in seconds. A background action may install or sync for
    // minutes; a foreground one is expected to answer quickly; a click report must never hold
    // the queue for long.
    static constexpr double backgroundActionLimit = 600;
    static constexpr double foregroundActionLimit = 120;
    static constexpr double clickReportLimit = 5;
    // How long `stop` waits for a running action's process to end before the app exits anyway.
    static constexpr double stopWaitLimit = 3;

    // Failure texts shown under a failed run (the exit-code one is built by `exitFailureMessage`).
    static constexpr std::string_view cliMissingMessage = "Corvane CLI wasn't found. Reinstall it, then retry.";
    static constexpr std::string_view startFailedMessage =
        "The command couldn't start. Check your Corvane installation, then retry.";
    static constexpr std::string_view cancelledMessage = "Cancelled. You can retry when you're ready.";
    static constexpr std::string_view timedOutMessage =
        "The command took too long and was stopped. Retry or continue in Terminal.";
    static std::string exitFailureMessage(int exitCode);
    // The alert for a `file` row naming a program, which the opener would run.
    static constexpr std::string_view executableFileMessage = "Corvane didn't open this file";
    static constexpr std::string_view executableFileGuidance =
        "It is a program, and opening it could run it. Open it yourself if you trust it.";

    // A runner using the real process runners (`processRunCommand()`, `processClickReport()`).
    // The seams must outlive the runner.
    static std::shared_ptr<ActionRunner> create(MainLoop& mainLoop, BackgroundWork& background, Effects& effects);

    // The real runners: `BackgroundProcessRunner` under `backgroundLimit` for background actions,
    // stopping on the run's cancellation; `ProcessRunner` under `foregroundLimit` with no extra
    // environment otherwise, which no cancellation reaches (a foreground command, such as a CLI
    // update, finishes on its own even after the app has quit). Actions and click reports discard
    // their output as it comes, however much there is.
    static RunCommand processRunCommand(double foregroundLimit = foregroundActionLimit,
                                        double backgroundLimit = backgroundActionLimit);
    static RunClickReport processClickReport(double limit = clickReportLimit);

    // Set by the app (main thread).
    std::optional<CliLocator::Located> located;
    // Called after every CLI run has been accounted for (state and diagnostic done).
    std::function<void()> onRunFinished;
    // The report text for the `diagnostics` verb; an empty text is copied when unset.
    std::function<std::string()> diagnostics;
    // Receives every diagnostic with a fresh UUID text as its event id.
    std::function<void(const ClientDiagnostic&, const std::string& eventId)> onDiagnostic;
    // Called whenever `state()` changed, so the menu is rebuilt.
    std::function<void()> onStateChanged;
    RunCommand runCommand;
    RunClickReport runClickReport;
    // Performs the failed run's action when the user picks "Retry", instead of the runner, when
    // set: the app starts a CLI update's retry the way it starts the update itself.
    std::function<void(const MenuAction& failed)> retry;
    // Replaces `bringForward` for `focus` actions when set.
    std::function<bool(const std::string& tty, std::int32_t appPid)> focusSession;

    ~ActionRunner();
    ActionRunner(const ActionRunner&) = delete;
    ActionRunner& operator=(const ActionRunner&) = delete;

    // The running CLI action, or the last one that failed; absent otherwise.
    const std::optional<ActionRunState>& state() const { return state_; }
    // A CLI action is running in the foreground (no cancellation reaches it).
    bool runsInForeground() const { return state_ && state_->isRunning() && !cancellation_; }

    // Reports the click when the row asks for it, then carries out the verb. Main thread.
    // `retryRun` performs the failed run's action again, its click report included.
    void perform(const MenuAction& action);

    // Starts `arguments` as the CLI run of `action`, unless a run is already going on (then
    // nothing happens). Without a located CLI the run fails at once.
    void runCli(const MenuAction& action, const Arguments& arguments, bool background);

    // Opens a terminal window running the CLI with `arguments`; on failure the command is copied
    // and the user is told how to run it themselves. Nothing happens without a located CLI.
    void openTerminal(const Arguments& arguments);

    // Brings an agent session to the front through the effects; true when it is in front. The
    // effects' own account of a terminal-tab search is passed on to `onDiagnostic`.
    bool bringForward(const std::string& tty, std::int32_t appPid);

    // Queues a click report on the bounded serial queue. A report that cannot be queued (no CLI,
    // or the queue is full) is dropped and reported as a failed `menuAnalytics` diagnostic.
    void reportClick(const Arguments& arguments);

    // At termination: drops queued click reports, asks a running background action to stop and
    // waits for its process to end, at most `waitSeconds`. A foreground action is left to finish.
    void stop(double waitSeconds = stopWaitLimit);

private:
    struct Token {};
    struct Completion;  // signalled by the worker when the running action's process has ended

public:
    // Only `create` can call this: results come back through `weak_from_this`, so a runner must
    // be owned by a shared pointer.
    ActionRunner(Token, MainLoop& mainLoop, BackgroundWork& background, Effects& effects);

private:
    void carryOut(const MenuAction& action);
    // Notifies `onStateChanged` only when the state really changed.
    void setState(std::optional<ActionRunState> state);
    void report(const ClientDiagnostic& diagnostic);
    void finishRun(const MenuAction& action, bool background, const RunResult& result,
                   const std::optional<std::string>& message);

    MainLoop& mainLoop_;
    BackgroundWork& background_;
    Effects& effects_;
    std::unique_ptr<SerialWorkQueue> clickReports_;
    std::optional<ActionRunState> state_;
    // The running background action's; a foreground run has neither.
    std::shared_ptr<RunCancellation> cancellation_;
    std::shared_ptr<Completion> completion_;
};

// The diagnostic a shell reports after looking for a session's Terminal tab by tty: `available`
// with no code when the tab was found, `failed` with code "TAB_NOT_FOUND" when none matched.
ClientDiagnostic terminalTabDiagnostic(bool found);

}  // namespace corvane
