#include "ActionRunner.h"

#include "UntrustedInput.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <type_traits>
#include <utility>

#include "TerminalScript.h"
#include "Uuid.h"

namespace corvane {

struct ActionRunner::Completion {
    std::mutex mutex;
    std::condition_variable ended;
    bool done = false;

    void signal() {
        {
            std::lock_guard lock(mutex);
            done = true;
        }
        ended.notify_all();
    }

    void waitFor(double seconds) {
        std::unique_lock lock(mutex);
        ended.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return done; });
    }
};

namespace {

ClientDiagnostic makeDiagnostic(DiagnosticOperation operation, DiagnosticOutcome outcome,
                                std::optional<std::string> domain = std::nullopt,
                                std::optional<std::string> code = std::nullopt) {
    ClientDiagnostic diagnostic;
    diagnostic.operation = operation;
    diagnostic.outcome = outcome;
    diagnostic.domain = std::move(domain);
    diagnostic.code = std::move(code);
    return diagnostic;
}

constexpr std::string_view terminalAlertTitle = "Corvane can't open Terminal";
constexpr std::string_view terminalAlertCopied =
    "\n\nThe command was copied to your clipboard. Paste it into Terminal to run it.";

// Chosen on the worker, where the cancellation request is read under its lock right after the
// process ended: a run the user cancelled reads as cancelled even if the CLI happened to exit 0.
std::optional<std::string> failureMessage(const ActionRunner::RunResult& result, bool cancelled) {
    const auto* outcome = std::get_if<ProcessRunner::Outcome>(&result);
    if (!outcome) return std::string(ActionRunner::startFailedMessage);
    if (cancelled) return std::string(ActionRunner::cancelledMessage);
    if (outcome->timedOut) return std::string(ActionRunner::timedOutMessage);
    if (outcome->exitCode != 0) return ActionRunner::exitFailureMessage(outcome->exitCode);
    return std::nullopt;
}

// How a CLI run ended, for the log. A foreground run's stderr may carry the CLI's own account of
// its failure, which is more precise than the exit code; background runs have no stderr.
ClientDiagnostic runDiagnostic(const ActionRunner::RunResult& result, bool background) {
    if (const auto* failure = std::get_if<ProcessRunner::Failure>(&result)) return failure->diagnostic;
    const auto& outcome = std::get<ProcessRunner::Outcome>(result);
    if (!background && !outcome.timedOut)
        if (auto fromCli = cliFailureDiagnostic(DiagnosticOperation::cliRun, outcome.stderr)) return *fromCli;
    if (outcome.timedOut)
        return makeDiagnostic(DiagnosticOperation::cliRun, DiagnosticOutcome::failed, "process", "TIMEOUT");
    return makeDiagnostic(DiagnosticOperation::cliRun,
                          outcome.exitCode == 0 ? DiagnosticOutcome::available : DiagnosticOutcome::failed, "exit",
                          std::to_string(outcome.exitCode));
}

// How a click report ended: the start failure's own diagnostic, or the exit code (a report that
// timed out was stopped and carries -1).
ClientDiagnostic clickDiagnostic(const ActionRunner::RunResult& result) {
    if (const auto* failure = std::get_if<ProcessRunner::Failure>(&result)) return failure->diagnostic;
    const auto& outcome = std::get<ProcessRunner::Outcome>(result);
    return makeDiagnostic(DiagnosticOperation::menuAnalytics,
                          outcome.exitCode == 0 ? DiagnosticOutcome::available : DiagnosticOutcome::failed, "exit",
                          std::to_string(outcome.exitCode));
}

}  // namespace

std::string ActionRunner::exitFailureMessage(int exitCode) {
    return "The command didn't finish successfully (exit " + std::to_string(exitCode) +
           "). Retry or continue in Terminal for details.";
}

ActionRunner::ActionRunner(Token, MainLoop& mainLoop, BackgroundWork& background, Effects& effects)
    : mainLoop_(mainLoop),
      background_(background),
      effects_(effects),
      clickReports_(background.makeSerialQueue(BackgroundWork::serialQueueLimit)) {}

ActionRunner::~ActionRunner() = default;

std::shared_ptr<ActionRunner> ActionRunner::create(MainLoop& mainLoop, BackgroundWork& background, Effects& effects) {
    auto runner = std::make_shared<ActionRunner>(Token{}, mainLoop, background, effects);
    runner->runCommand = processRunCommand();
    runner->runClickReport = processClickReport();
    return runner;
}

ActionRunner::RunCommand ActionRunner::processRunCommand(double foregroundLimit, double backgroundLimit) {
    return [foregroundLimit, backgroundLimit](const CliLocator::Located& where, const Arguments& arguments,
                                              bool background, std::shared_ptr<RunCancellation> cancellation) {
        if (background) {
            if (!cancellation) cancellation = std::make_shared<RunCancellation>();
            return BackgroundProcessRunner::run(where.cliPath, arguments, where.searchPath, backgroundLimit,
                                                *cancellation);
        }
        return ProcessRunner::run(where.cliPath, arguments, where.searchPath, foregroundLimit, {}, nullptr,
                                  ProcessRunner::Output::discard);
    };
}

ActionRunner::RunClickReport ActionRunner::processClickReport(double limit) {
    return [limit](const CliLocator::Located& where, const Arguments& arguments) {
        return ProcessRunner::run(where.cliPath, arguments, where.searchPath, limit, {}, nullptr,
                                  ProcessRunner::Output::discard);
    };
}

void ActionRunner::perform(const MenuAction& action) {
    if (action.reportClick) reportClick(*action.reportClick);
    carryOut(action);
}

void ActionRunner::carryOut(const MenuAction& action) {
    std::visit(
        [&](const auto& verb) {
            using Verb = std::decay_t<decltype(verb)>;
            if constexpr (std::is_same_v<Verb, verb::CliUpdate>) {
                runCli(action, verb.update.run, false);
            } else if constexpr (std::is_same_v<Verb, verb::Background>) {
                runCli(action, verb.action.argv, true);
            } else if constexpr (std::is_same_v<Verb, verb::Run>) {
                runCli(action, verb.arguments, false);
            } else if constexpr (std::is_same_v<Verb, verb::Terminal>) {
                if ((state_ && state_->isRunning()) || !located) return;
                setState(std::nullopt);
                openTerminal(verb.arguments);
            } else if constexpr (std::is_same_v<Verb, verb::Focus>) {
                const bool focused =
                    focusSession ? focusSession(verb.tty, verb.appPid) : bringForward(verb.tty, verb.appPid);
                if (!focused && verb.fallback) openTerminal(*verb.fallback);
            } else if constexpr (std::is_same_v<Verb, verb::Url>) {
                if (isOpenableUrl(verb.url)) effects_.openUrl(verb.url);
            } else if constexpr (std::is_same_v<Verb, verb::File>) {
                // The desktop's opener runs a program rather than show it: the user is told instead.
                if (!isOpenablePath(verb.path)) return;
                if (isExecutableRegularFile(verb.path))
                    return effects_.showAlert(std::string(executableFileMessage), std::string(executableFileGuidance));
                effects_.openFile(verb.path);
            } else if constexpr (std::is_same_v<Verb, verb::Copy>) {
                effects_.copyText(verb.text);
            } else if constexpr (std::is_same_v<Verb, verb::RetryRun>) {
                if (!state_ || state_->isRunning()) return;
                const MenuAction failed = state_->action;  // runCli replaces the state it lives in
                if (retry) return retry(failed);
                perform(failed);
            } else if constexpr (std::is_same_v<Verb, verb::CancelRun>) {
                if (cancellation_) cancellation_->request();
            } else if constexpr (std::is_same_v<Verb, verb::DismissRun>) {
                if (state_ && state_->isRunning()) return;
                setState(std::nullopt);
            } else if constexpr (std::is_same_v<Verb, verb::Diagnostics>) {
                effects_.copyText(diagnostics ? diagnostics() : std::string());
            } else {
                static_assert(std::is_same_v<Verb, void>, "every verb is handled");
            }
        },
        action.verb);
}

void ActionRunner::runCli(const MenuAction& action, const Arguments& arguments, bool background) {
    if (state_ && state_->isRunning()) return;
    if (!located) {
        setState(ActionRunState{action, ActionRunState::Failed{std::string(cliMissingMessage)}});
        return;
    }
    auto cancellation = std::make_shared<RunCancellation>();
    auto completion = std::make_shared<Completion>();
    // Only a background run can be cancelled, by the user or at termination.
    cancellation_ = background ? cancellation : nullptr;
    completion_ = background ? completion : nullptr;
    auto job = [weak = weak_from_this(), loop = &mainLoop_, run = runCommand ? runCommand : processRunCommand(),
                where = *located, arguments, background, cancellation, completion, action]() mutable {
        RunResult result = run(where, arguments, background, cancellation);
        completion->signal();
        auto message = failureMessage(result, cancellation->requested());
        loop->post([weak = std::move(weak), action = std::move(action), background, result = std::move(result),
                    message = std::move(message)] {
            if (auto self = weak.lock()) self->finishRun(action, background, result, message);
        });
    };
    setState(ActionRunState{action, ActionRunState::Running{}});
    background_.run(WorkPriority::userInitiated, std::move(job));
}

void ActionRunner::finishRun(const MenuAction& action, bool background, const RunResult& result,
                             const std::optional<std::string>& message) {
    report(runDiagnostic(result, background));
    cancellation_.reset();
    completion_.reset();
    if (message)
        setState(ActionRunState{action, ActionRunState::Failed{*message}});
    else
        setState(std::nullopt);
    if (auto finished = onRunFinished) finished();
}

void ActionRunner::openTerminal(const Arguments& arguments) {
    if (!located) return;
    const std::string command = terminalCommand(located->cliPath, arguments);
    const auto error = effects_.openTerminal(command);
    if (!error) {
        report(makeDiagnostic(DiagnosticOperation::terminalOpen, DiagnosticOutcome::available));
        return;
    }
    report(ClientDiagnostic::appleEvent(error->code, DiagnosticOperation::terminalOpen));
    effects_.copyText(command);
    effects_.activateApp();
    effects_.showAlert(std::string(terminalAlertTitle),
                       terminalFailureGuidance(error->code) + std::string(terminalAlertCopied));
}

bool ActionRunner::bringForward(const std::string& tty, std::int32_t appPid) {
    const SessionFocus focus = effects_.focusSession(tty, appPid);
    if (focus.diagnostic) report(*focus.diagnostic);
    return focus.focused;
}

void ActionRunner::reportClick(const Arguments& arguments) {
    if (located) {
        auto job = [weak = weak_from_this(), loop = &mainLoop_,
                    run = runClickReport ? runClickReport : processClickReport(), where = *located, arguments] {
            const ClientDiagnostic diagnostic = clickDiagnostic(run(where, arguments));
            loop->post([weak, diagnostic] {
                if (auto self = weak.lock()) self->report(diagnostic);
            });
        };
        if (clickReports_->tryEnqueue(std::move(job))) return;
    }
    report(makeDiagnostic(DiagnosticOperation::menuAnalytics, DiagnosticOutcome::failed, "Corvane",
                          located ? "QUEUE_FULL" : "CLI_MISSING"));
}

void ActionRunner::stop(double waitSeconds) {
    clickReports_->cancelAll();
    if (cancellation_) cancellation_->request();
    if (completion_) completion_->waitFor(waitSeconds);
}

void ActionRunner::setState(std::optional<ActionRunState> next) {
    if (next == state_) return;
    state_ = std::move(next);
    if (auto changed = onStateChanged) changed();
}

void ActionRunner::report(const ClientDiagnostic& diagnostic) {
    if (auto sink = onDiagnostic) sink(diagnostic, makeUuid());
}

ClientDiagnostic terminalTabDiagnostic(bool found) {
    if (found) return makeDiagnostic(DiagnosticOperation::terminalFocus, DiagnosticOutcome::available);
    return makeDiagnostic(DiagnosticOperation::terminalFocus, DiagnosticOutcome::failed, std::nullopt, "TAB_NOT_FOUND");
}

}  // namespace corvane
