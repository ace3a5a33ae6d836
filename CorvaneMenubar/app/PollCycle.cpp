#include "PollCycle.h"

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <mutex>

#include "BoundedFile.h"
#include "FileFacts.h"
#include "MenuDecode.h"
#include "MenuTime.h"
#include "Uuid.h"

namespace corvane {

namespace {

// An open request is one time text; a larger file at its place is not one.
constexpr std::size_t openRequestLimit = 64;

std::int64_t truncatedMilliseconds(double seconds) {
    double ms = seconds * 1000.0;
    if (!std::isfinite(ms)) return 0;
    return static_cast<std::int64_t>(ms);
}

ClientDiagnostic pollDiagnostic(DiagnosticOutcome outcome, std::optional<std::string> domain,
                                std::optional<std::string> code) {
    ClientDiagnostic diagnostic;
    diagnostic.operation = DiagnosticOperation::menuPoll;
    diagnostic.outcome = outcome;
    diagnostic.domain = std::move(domain);
    diagnostic.code = std::move(code);
    return diagnostic;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view space = " \t\r\n\v\f";
    auto first = text.find_first_not_of(space);
    if (first == std::string_view::npos) return {};
    auto last = text.find_last_not_of(space);
    return text.substr(first, last - first + 1);
}

}  // namespace

PollAnswer readPollResult(const ProcessRunner::Result& result, Instant now) {
    PollAnswer answer{judgeMenuRun(result), std::nullopt};
    if (!answer.verdict.failure)
        answer.decoded = decodeMenuPayload(trimmed(std::get<ProcessRunner::Outcome>(result).stdout), now);
    return answer;
}

double timerRefreshSeconds(double seconds) {
    if (!(seconds > 0)) return defaultRefreshSeconds;
    return std::clamp(seconds, shortestRefreshSeconds, longestRefreshSeconds);
}

MenuRunVerdict judgeMenuRun(const ProcessRunner::Result& result) {
    if (auto failure = std::get_if<ProcessRunner::Failure>(&result))
        return {failure->diagnostic, "corvane menu couldn't start: " + failure->diagnostic.summary()};
    const auto& outcome = std::get<ProcessRunner::Outcome>(result);
    if (outcome.outputLimitExceeded) {
        static_assert(ProcessRunner::maxStdoutBytes == std::size_t{16} << 20, "the sentence names the cap");
        return {pollDiagnostic(DiagnosticOutcome::failed, "payload", "TOO_LARGE"),
                std::string("corvane menu answered with more than 16 MB. Reopen the menu to retry.")};
    }
    if (outcome.timedOut) {
        return {pollDiagnostic(DiagnosticOutcome::failed, "process", "TIMEOUT"),
                std::string("corvane menu didn't answer within 90 seconds")};
    }
    if (outcome.exitCode == 0) return {};
    auto status = std::to_string(outcome.exitCode);
    auto diagnostic = cliFailureDiagnostic(DiagnosticOperation::menuPoll, outcome.stderr)
                          .value_or(pollDiagnostic(DiagnosticOutcome::failed, "exit", status));
    return {diagnostic, "corvane menu exited " + status + ": " + diagnostic.summary() + ". Reopen the menu to retry."};
}

// Whether the poll's background hop is running its process: set by the hop, read at termination.
struct PollCycle::PollProgress {
    std::mutex mutex;
    std::condition_variable changed;
    bool running = false;

    void set(bool isRunning) {
        {
            std::lock_guard lock(mutex);
            running = isRunning;
        }
        changed.notify_all();
    }
    // Waits while the process runs; a hop that has not started has nothing to wait for (it sees
    // the cancellation when it starts).
    void waitWhileRunning(double seconds) {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return !running; });
    }
};

std::shared_ptr<PollCycle> PollCycle::create(Seams seams, PollCycleOwner& owner, ClientLog& clientLog,
                                             std::vector<std::string> menuArguments, PollOperations operations) {
    return std::shared_ptr<PollCycle>(
        new PollCycle(seams, owner, clientLog, std::move(menuArguments), std::move(operations)));
}

PollCycle::PollCycle(Seams seams, PollCycleOwner& owner, ClientLog& clientLog, std::vector<std::string> menuArguments,
                     PollOperations operations)
    : seams_(seams),
      owner_(owner),
      clientLog_(clientLog),
      menuArguments_(std::move(menuArguments)),
      operations_(std::move(operations)),
      launchedAt_(seams.loop.now()),
      pollId_(makeUuid()) {}

PollCycle::~PollCycle() = default;

template <class F>
Job PollCycle::weakly(F function) {
    return [weak = weak_from_this(), function = std::move(function)] {
        if (auto self = weak.lock()) function(*self);
    };
}

void PollCycle::stop() {
    if (stopped_) return;
    stopped_ = true;
    if (pollCancellation_) pollCancellation_->request();
    refreshTimer_.reset();
    retryTimer_.reset();
    watchers_.clear();
    watchedPaths_.clear();
}

void PollCycle::waitForStop(double seconds) {
    if (pollProgress_) pollProgress_->waitWhileRunning(seconds);
}

void PollCycle::refresh(PollTrigger trigger) {
    if (stopped_) return;
    if (pollInFlight_ || !snapshotSource_) return poll(trigger, std::nullopt);

    auto stamp = located_ ? cliFileStamp(located_->cliPath) : std::nullopt;
    if (stamp != answeredCli_) return poll(trigger, SnapshotSkip::cliChanged);

    // Read here, before a menu that is opening begins tracking, so that it shows the snapshot as
    // it is now; the read is bounded (`snapshotSizeLimit`, and a file that is not a regular file
    // counts as none).
    const auto& [files, identity] = *snapshotSource_;
    const double startedUptime = seams_.loop.uptime();
    const auto data = readBoundedFile(files.snapshot, snapshotSizeLimit);
    const Instant now = seams_.loop.now();
    std::optional<std::string_view> bytes;
    if (data) bytes = *data;
    auto read = readMenuSnapshot(bytes, identity, modifiedTime(files.refreshRequest), now, operations_.isRunning);
    if (auto snapshot = std::get_if<MenuSnapshot>(&read)) return draw(*snapshot, trigger, now, startedUptime);
    poll(trigger, std::get<SnapshotSkip>(read));
}

void PollCycle::runQueuedTrigger() {
    if (!queuedPollTrigger_ || pollInFlight_ || stopped_) return;
    auto trigger = *queuedPollTrigger_;
    queuedPollTrigger_.reset();
    seams_.loop.post(weakly([trigger](PollCycle& self) { self.refresh(trigger); }));
}

void PollCycle::poll(PollTrigger trigger, std::optional<SnapshotSkip> skip) {
    bool skipForcesRun = skip == SnapshotSkip::refreshPending || skip == SnapshotSkip::otherIdentity ||
                         skip == SnapshotSkip::cliChanged;
    if (trigger == PollTrigger::menuOpen && !skipForcesRun && lastPollStartedAt_ &&
        secondsBetween(*lastPollStartedAt_, seams_.loop.now()) < menuOpenDebounceSeconds) {
        return;
    }
    pollNow(trigger, skip);
}

void PollCycle::pollNow(PollTrigger trigger, std::optional<SnapshotSkip> skip) {
    if (stopped_) return;
    if (pollInFlight_) {
        if (!queuedPollTrigger_) queuedPollTrigger_ = trigger;
        return;
    }
    pollId_ = makeUuid();
    pollTrigger_ = trigger;
    pollSnapshotSkip_ = skip;
    pollInFlight_ = true;
    lastPollStartedAt_ = seams_.loop.now();
    pollStartedUptime_ = seams_.loop.uptime();

    MenuRun run{menuArguments_, pollId_};
    auto captured = located_;
    auto generation = owner_.updateGeneration();
    auto locateCli = operations_.locateCli;
    auto runMenu = operations_.runMenu;
    auto weak = weak_from_this();
    MainLoop* loop = &seams_.loop;
    pollCancellation_ = std::make_shared<RunCancellation>();
    pollProgress_ = std::make_shared<PollProgress>();
    seams_.background.run(WorkPriority::utility, [weak, loop, run = std::move(run), captured, generation, locateCli,
                                                  runMenu, cancellation = pollCancellation_,
                                                  progress = pollProgress_] {
        progress->set(true);
        // Off the main thread: only the captured copies are touched here.
        std::optional<CliLocator::Located> found;
        if (captured && isExecutableFile(captured->cliPath)) {
            found = captured;
        } else if (locateCli) {
            found = locateCli();
        }
        auto stamp = found ? cliFileStamp(found->cliPath) : std::nullopt;
        std::optional<PollAnswer> answer;
        if (found && !cancellation->requested()) {
            auto result = runMenu(*found, run, *cancellation);
            progress->set(false);
            answer = readPollResult(result, loop->now());
        }
        progress->set(false);
        loop->post([weak, found = std::move(found), stamp = std::move(stamp), answer = std::move(answer),
                    generation]() mutable {
            auto self = weak.lock();
            if (!self || self->stopped_) return;
            self->pollCancellation_.reset();
            self->pollProgress_.reset();
            self->located_ = found;
            self->cliLocated_ = found.has_value();
            self->owner_.cliFound(found);
            self->answeredCli_ = stamp;
            self->handlePollAnswer(std::move(answer), generation);
        });
    });
}

void PollCycle::handlePollResult(const PollResult& result, std::int64_t generation) {
    std::optional<PollAnswer> answer;
    if (result) answer = readPollResult(*result, seams_.loop.now());
    handlePollAnswer(std::move(answer), generation);
}

void PollCycle::handlePollAnswer(std::optional<PollAnswer> answer, std::int64_t generation) {
    pollInFlight_ = false;
    snapshotSource_.reset();

    ClientDiagnostic diagnostic;
    std::optional<CliRefreshReport> report;
    if (!answer) {
        diagnostic = pollDiagnostic(DiagnosticOutcome::missing, "locator", "CLI_NOT_FOUND");
    } else if (answer->verdict.failure) {
        diagnostic = *answer->verdict.diagnostic;
        recordPollFailure(*answer->verdict.failure);
    } else {
        auto handled = handleDecodedPayload(std::move(*answer->decoded), generation);
        diagnostic = std::move(handled.diagnostic);
        report = std::move(handled.report);
    }

    Instant now = seams_.loop.now();
    clientLog_.record(pollId_, now, diagnostic);
    auto durationMs = truncatedMilliseconds(seams_.loop.uptime() - pollStartedUptime_);
    std::optional<RefreshSnapshot> snapshot;
    if (pollSnapshotSkip_) snapshot = RefreshSnapshot::skip(*pollSnapshotSkip_);
    clientLog_.recordRefresh(pollId_, pollTrigger_, durationMs, report, snapshot, now, diagnostic);

    owner_.render();
    runQueuedTrigger();
}

PollCycle::PayloadOutcome PollCycle::handleDecodedPayload(MenuDecodeResult decoded, std::int64_t generation) {
    Instant now = seams_.loop.now();
    if (auto mismatch = std::get_if<decode::ContractMismatch>(&decoded)) {
        lastContractMismatch_ = mismatch->found;
        consecutivePollFailures_ = 0;
        return {pollDiagnostic(DiagnosticOutcome::failed, "contract", std::to_string(mismatch->found)), std::nullopt};
    }
    if (std::holds_alternative<decode::Invalid>(decoded)) {
        recordPollFailure(std::string(unreadableAnswerSentence));
        return {pollDiagnostic(DiagnosticOutcome::failed, "payload", "INVALID_JSON"), std::nullopt};
    }
    const auto& payload = std::get<MenuPayload>(decoded);
    // A poll that started before an update run began must not move the update presentation.
    if (generation == owner_.updateGeneration()) owner_.observeUpdate(payload, now);
    takePayload(payload, pollId_, now);
    if (payload.snapshotFiles && payload.snapshotIdentity) {
        snapshotSource_ = std::make_pair(*payload.snapshotFiles, *payload.snapshotIdentity);
    } else {
        snapshotSource_.reset();
    }
    return {pollDiagnostic(DiagnosticOutcome::available, std::nullopt, std::nullopt), payload.refreshReport};
}

// A CLI row reporting a failed update may fail the remembered installation only while the
// update's own launcher is not running: as long as it runs, its exit decides (a failure then
// arrives through `launcherFailed`), and a "failed" row can only be left over from an earlier
// attempt. Any other run state (none, the launcher's finished failure, another command) lets
void PollCycle::takePayload(const MenuPayload& payload, const std::string& recordId, Instant now) {
    clientLog_.setCliVersion(payload.cliVersion);
    if (payload.desktopDiagnostic) clientLog_.record(recordId, now, *payload.desktopDiagnostic);
    lastPayload_ = payload;
    lastSuccessAt_ = now;
    lastContractMismatch_.reset();
    consecutivePollFailures_ = 0;
    lastFailureDetail_.reset();
    scheduleRefresh(payload.refreshSeconds);
    watchDirectories(payload.watchPaths);
}

void PollCycle::draw(const MenuSnapshot& snapshot, PollTrigger trigger, Instant now, double startedUptime) {
    const auto& payload = snapshot.payload;
    owner_.observeUpdate(payload, now);
    auto recordId = makeUuid();
    takePayload(payload, recordId, now);

    std::pair<std::string, std::int64_t> drawn{snapshot.stamp.bootId, snapshot.stamp.sequence};
    if (drawnSnapshot_ != drawn) {
        drawnSnapshot_ = drawn;
        auto durationMs = truncatedMilliseconds(seams_.loop.uptime() - startedUptime);
        auto ageMs = truncatedMilliseconds(secondsBetween(snapshot.stamp.writtenAt, now));
        clientLog_.recordRefresh(recordId, trigger, durationMs, std::nullopt,
                                 RefreshSnapshot::drawn(snapshot.stamp.sequence, ageMs), now,
                                 pollDiagnostic(DiagnosticOutcome::available, std::nullopt, std::nullopt));
    }
    owner_.render();
}

void PollCycle::recordPollFailure(std::string detail) {
    consecutivePollFailures_ += 1;
    lastFailureDetail_ = std::move(detail);
    if (consecutivePollFailures_ == 1) {
        retryTimer_ = seams_.loop.oneShot(pollRetrySeconds, weakly([](PollCycle& self) {
                                              self.pollNow(PollTrigger::retry, std::nullopt);
                                          }));
    }
}

void PollCycle::scheduleRefresh(double seconds) {
    if (stopped_) return;
    seconds = timerRefreshSeconds(seconds);
    if (refreshTimer_ && refreshTimer_->interval() == seconds) return;
    refreshTimer_.reset();
    refreshTimer_ = seams_.loop.repeating(seconds, weakly([](PollCycle& self) { self.refresh(PollTrigger::timer); }));
}

void PollCycle::watchDirectories(const std::vector<std::string>& paths) {
    if (stopped_ || paths == watchedPaths_) return;
    watchedPaths_ = paths;
    watchers_.clear();
    for (const auto& path : paths) {
        auto watcher = DebouncedWatcher::make(seams_.directoryWatcher, seams_.loop, path, weakly([](PollCycle& self) {
                                                  self.refresh(PollTrigger::directoryChange);
                                              }));
        if (watcher) watchers_.push_back(std::move(watcher));
    }
}

void PollCycle::requestSnapshotRefresh() {
    if (!snapshotSource_) return;
    const auto& path = snapshotSource_->first.openRequest;
    if (path.empty() || !isDirectory(parentFolder(path))) return;
    // Only a request the app (or the CLI) wrote before is replaced: a time, or nothing.
    replaceOwnedFile(path, iso8601(seams_.loop.now()), 0600, openRequestLimit,
                     [](std::string_view current) { return current.empty() || parseMenuTime(current).has_value(); });
}

AppMenuState PollCycle::currentState() const {
    AppStateInputs inputs;
    inputs.cliLocated = cliLocated_;
    inputs.lastPayload = lastPayload_;
    inputs.lastSuccessAt = lastSuccessAt_;
    inputs.contractMismatch = lastContractMismatch_;
    inputs.consecutivePollFailures = consecutivePollFailures_;
    inputs.lastFailureDetail = lastFailureDetail_;
    inputs.launchedAt = launchedAt_;
    inputs.now = seams_.loop.now();
    return appMenuState(inputs);
}

}  // namespace corvane
