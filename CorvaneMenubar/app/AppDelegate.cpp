#include "AppDelegate.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

#include "BoundedFile.h"
#include "FileTime.h"
#include "menu/IconRenderer.h"
#include "MenuDecode.h"
#include "MenuTime.h"
#include "Uuid.h"

namespace corvane {

namespace {

std::string decimal(double value) {
    char buffer[64];
    auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
    if (error != std::errc()) return "0";
    return std::string(buffer, end);
}

bool isDirectory(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string parentFolder(const std::string& path) {
    auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

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

std::optional<std::string> cliFileStamp(const std::string& path) {
    if (path.empty()) return std::nullopt;
    char resolved[PATH_MAX];
    if (!::realpath(path.c_str(), resolved)) return std::nullopt;
    struct stat info {};
    if (::stat(resolved, &info) != 0) return std::nullopt;
    const timespec modified = statModificationTime(info);
    double seconds = static_cast<double>(modified.tv_sec) + static_cast<double>(modified.tv_nsec) / 1e9;
    return std::string(resolved) + "@" + decimal(seconds);
}

bool isExecutableFile(const std::string& path) {
    struct stat info {};
    return !path.empty() && ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
}

std::optional<Instant> modifiedTime(const std::string& path) {
    struct stat info {};
    if (path.empty() || ::stat(path.c_str(), &info) != 0) return std::nullopt;
    const timespec modified = statModificationTime(info);
    return Instant(std::chrono::seconds(modified.tv_sec)) +
           std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::nanoseconds(modified.tv_nsec));
}

// Whether the poll's background hop is running its process: set by the hop, read at termination.
struct AppDelegate::PollProgress {
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

// ---- Construction ----------------------------------------------------------------------------

std::shared_ptr<AppDelegate> AppDelegate::create(AppSeams seams, Variant variant, ClientLog& clientLog,
                                                 std::shared_ptr<ActionRunner> actionRunner,
                                                 AppOperations operations) {
    if (!operations.locateCli) {
        operations.locateCli = [appEnv = variant.appEnv] {
            return CliLocator::locate(appEnv, CliLocator::realLocatorEnvironment());
        };
    }
    if (!operations.runMenu) {
        operations.runMenu = [](const CliLocator::Located& located, const MenuRun& run,
                                const RunCancellation& cancellation) {
            return ProcessRunner::run(located.cliPath, run.arguments, located.searchPath, menuPollTimeoutSeconds,
                                      {{std::string(menuRefreshIdEnvironmentKey), run.refreshId}}, &cancellation);
        };
    }
    if (!operations.isRunning) operations.isRunning = [](std::int32_t pid) { return processIsRunning(pid); };
    if (!operations.iconImage) operations.iconImage = IconRenderer::image;
    if (!operations.systemLog) {
        operations.systemLog = [](std::string_view line) {
            std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
        };
    }
    return std::shared_ptr<AppDelegate>(
        new AppDelegate(seams, std::move(variant), clientLog, std::move(actionRunner), std::move(operations)));
}

AppDelegate::AppDelegate(AppSeams seams, Variant variant, ClientLog& clientLog,
                         std::shared_ptr<ActionRunner> actionRunner, AppOperations operations)
    : seams_(seams),
      variant_(std::move(variant)),
      launchedAt_(seams.loop.now()),
      actionRunner_(std::move(actionRunner)),
      clientLog_(clientLog),
      operations_(std::move(operations)),
      launchAtLogin_(seams.loginItem, operations_.systemLog),
      pollId_(makeUuid()) {}

AppDelegate::~AppDelegate() = default;

template <class F>
Job AppDelegate::weakly(F function) {
    return [weak = weak_from_this(), function = std::move(function)] {
        if (auto self = weak.lock()) function(*self);
    };
}

std::string AppDelegate::updatePresentationKey() const {
    return std::string(updatePresentationKeyPrefix) + variant_.appEnv;
}

// ---- Lifecycle -------------------------------------------------------------------------------

void AppDelegate::applicationDidFinishLaunching() {
    launchAtLogin_.offerOnFirstLaunch(seams_.defaults, operations_.bundlePath);

    if (auto stored = seams_.defaults.data(updatePresentationKey())) {
        if (auto decoded = decodeCliUpdatePresentation(*stored)) {
            updatePresentation_ = *decoded;
        } else {
            // Dropped once reported, so the same damage is not logged at every launch.
            seams_.defaults.remove(updatePresentationKey());
            recordUpdatePersistenceFailure("UPDATE_STATE_UNREADABLE");
        }
    }

    seams_.statusItem.setToolTip(variant_.displayName());
    MenuBuilderHooks hooks;
    auto weak = weak_from_this();
    hooks.performAction = [weak](const MenuAction& action) {
        if (auto self = weak.lock()) self->perform(action);
    };
    hooks.launchAtLoginEnabled = [weak] {
        auto self = weak.lock();
        return self && self->launchAtLogin_.isEnabled();
    };
    hooks.toggleLoginItem = [weak] {
        if (auto self = weak.lock()) {
            self->launchAtLogin_.toggle();
            self->render();
        }
    };
    hooks.showAbout = [weak] {
        if (auto self = weak.lock(); self && self->operations_.showAbout) self->operations_.showAbout();
    };
    hooks.quit = [weak] {
        if (auto self = weak.lock(); self && self->operations_.quit) self->operations_.quit();
    };
    hooks.reduceMotion = [weak] {
        auto self = weak.lock();
        return self && self->seams_.appearance.reduceMotion();
    };
    menuBuilder_ = std::make_unique<MenuBuilder>(seams_.menuFactory, seams_.textMeasure, std::move(hooks),
                                                 variant_.displayName());
    seams_.statusItem.setMenu(menuBuilder_->menu());
    StatusItemEvents events;
    events.menuWillOpen = [weak] {
        if (auto self = weak.lock()) self->menuWillOpen();
    };
    events.menuDidClose = [weak] {
        if (auto self = weak.lock()) self->menuDidClose();
    };
    events.willHighlight = [weak](NativeMenuItem* item) {
        if (auto self = weak.lock()) self->willHighlight(item);
    };
    seams_.statusItem.setEvents(std::move(events));

    wireActionRunner();
    appearanceObservation_ = seams_.appearance.observe(weakly([](AppDelegate& self) {
        if (self.renderedState_) self.renderIcon(*self.renderedState_);
    }));

    stalenessTimer_ =
        seams_.loop.repeating(stalenessSeconds, weakly([](AppDelegate& self) { self.render(self.menuIsOpen_); }));
    scheduleRefresh(defaultRefreshSeconds);
    render();
    pollNow(PollTrigger::launch, std::nullopt);
}

void AppDelegate::wireActionRunner() {
    auto weak = weak_from_this();
    actionRunner_->diagnostics = [weak]() -> std::string {
        auto self = weak.lock();
        if (!self) return {};
        return diagnosticsText(self->diagnosticsInput(self->seams_.loop.now()));
    };
    actionRunner_->onDiagnostic = [weak](const ClientDiagnostic& diagnostic, const std::string& eventId) {
        if (auto self = weak.lock()) self->clientLog_.record(eventId, self->seams_.loop.now(), diagnostic);
    };
    actionRunner_->onStateChanged = [weak] {
        auto self = weak.lock();
        if (!self) return;
        const auto& state = self->actionRunner_->state();
        if (state && self->updateAction_ && state->action == *self->updateAction_) {
            if (auto failed = std::get_if<ActionRunState::Failed>(&state->phase))
                self->updatePresentation_.launcherFailed(failed->message);
        }
        self->render();
    };
    actionRunner_->retry = [weak](const MenuAction& failed) {
        auto self = weak.lock();
        if (!self) return;
        // The user picked "Retry", not the original row: no second click report.
        MenuAction again = failed;
        again.reportClick.reset();
        self->perform(again);
    };
    actionRunner_->onRunFinished = [weak] {
        if (auto self = weak.lock()) self->refresh(PollTrigger::actionFinished);
    };
}

void AppDelegate::applicationWillTerminate() {
    if (terminated_) return;
    terminated_ = true;
    // A poll still running is stopped with its process, so the app can end now.
    if (pollCancellation_) pollCancellation_->request();
    if (pollProgress_) pollProgress_->waitWhileRunning(pollStopWaitSeconds);
    clientLog_.flush(seams_.loop.now());
    actionRunner_->stop();
    refreshTimer_.reset();
    stalenessTimer_.reset();
    retryTimer_.reset();
    watchers_.clear();
    watchedPaths_.clear();
    appearanceObservation_.reset();
    seams_.statusItem.remove();
}

DiagnosticsInput AppDelegate::diagnosticsInput(Instant now) const {
    DiagnosticsInput input;
    input.appVersion = operations_.appVersion;
    input.appEnv = variant_.appEnv;
    input.cliVersion = clientLog_.cliVersion();
    input.lastPayloadAt = lastSuccessAt_;
    input.lastFailureDetail = lastFailureDetail_;
    input.clientEvents = clientLog_.supportSummary();
    input.now = now;
    return input;
}

// ---- Poll cycle ------------------------------------------------------------------------------

void AppDelegate::refresh(PollTrigger trigger) {
    if (terminated_) return;
    if (snapshotReadInFlight_) {
        if (!queuedPollTrigger_) queuedPollTrigger_ = trigger;
        return;
    }
    if (pollInFlight_ || !snapshotSource_) return poll(trigger, std::nullopt);

    auto stamp = located_ ? cliFileStamp(located_->cliPath) : std::nullopt;
    if (stamp != answeredCli_) return poll(trigger, SnapshotSkip::cliChanged);
    readSnapshot(trigger);
}

void AppDelegate::readSnapshot(PollTrigger trigger) {
    snapshotReadInFlight_ = true;
    auto source = *snapshotSource_;
    double startedUptime = seams_.loop.uptime();
    MainLoop* loop = &seams_.loop;
    seams_.background.run(WorkPriority::utility, [weak = weak_from_this(), loop, source, trigger, startedUptime,
                                                  isRunning = operations_.isRunning] {
        // Off the main thread: the file may be large, and decoding it takes a while.
        const auto& [files, identity] = source;
        auto data = readBoundedFile(files.snapshot, snapshotSizeLimit);
        Instant now = loop->now();
        auto requestedAt = modifiedTime(files.refreshRequest);
        std::optional<std::string_view> bytes;
        if (data) bytes = *data;
        auto read = readMenuSnapshot(bytes, identity, requestedAt, now, isRunning);
        loop->post([weak, source, read = std::move(read), trigger, now, startedUptime] {
            auto self = weak.lock();
            if (!self || self->terminated_) return;
            self->finishSnapshotRead(source, read, trigger, now, startedUptime);
        });
    });
}

void AppDelegate::finishSnapshotRead(const std::pair<SnapshotFiles, SnapshotIdentity>& source,
                                     const SnapshotRead& read, PollTrigger trigger, Instant now,
                                     double startedUptime) {
    snapshotReadInFlight_ = false;
    if (snapshotSource_ != source) {
        // A process answer came in meanwhile and replaced the source this read was for.
        refresh(trigger);
    } else if (auto snapshot = std::get_if<MenuSnapshot>(&read)) {
        draw(*snapshot, trigger, now, startedUptime);
    } else {
        poll(trigger, std::get<SnapshotSkip>(read));
    }
    runQueuedTrigger();
}

void AppDelegate::runQueuedTrigger() {
    if (!queuedPollTrigger_ || pollInFlight_ || snapshotReadInFlight_ || terminated_) return;
    auto trigger = *queuedPollTrigger_;
    queuedPollTrigger_.reset();
    seams_.loop.post(weakly([trigger](AppDelegate& self) { self.refresh(trigger); }));
}

void AppDelegate::poll(PollTrigger trigger, std::optional<SnapshotSkip> skip) {
    bool skipForcesRun = skip == SnapshotSkip::refreshPending || skip == SnapshotSkip::otherIdentity ||
                         skip == SnapshotSkip::cliChanged;
    if (trigger == PollTrigger::menuOpen && !skipForcesRun && lastPollStartedAt_ &&
        secondsBetween(*lastPollStartedAt_, seams_.loop.now()) < menuOpenDebounceSeconds) {
        return;
    }
    pollNow(trigger, skip);
}

void AppDelegate::pollNow(PollTrigger trigger, std::optional<SnapshotSkip> skip) {
    if (terminated_) return;
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

    MenuRun run{variant_.menuArguments(), pollId_};
    auto captured = located_;
    auto generation = updateGeneration_;
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
            if (!self || self->terminated_) return;
            self->pollCancellation_.reset();
            self->pollProgress_.reset();
            self->located_ = found;
            self->cliLocated_ = found.has_value();
            self->actionRunner_->located = found;
            self->answeredCli_ = stamp;
            self->handlePollAnswer(std::move(answer), generation);
        });
    });
}

void AppDelegate::handlePollResult(const PollResult& result, std::int64_t generation) {
    std::optional<PollAnswer> answer;
    if (result) answer = readPollResult(*result, seams_.loop.now());
    handlePollAnswer(std::move(answer), generation);
}

void AppDelegate::handlePollAnswer(std::optional<PollAnswer> answer, std::int64_t generation) {
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

    render();
    runQueuedTrigger();
}

AppDelegate::PayloadOutcome AppDelegate::handleDecodedPayload(MenuDecodeResult decoded, std::int64_t generation) {
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
    if (generation == updateGeneration_) observeUpdate(payload, now);
    takePayload(payload, pollId_);
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
// the CLI's word stand.
bool AppDelegate::allowUpdateFailure() const {
    const auto& state = actionRunner_->state();
    if (!state || !state->isRunning()) return true;
    return !updateAction_ || !(state->action == *updateAction_);
}

void AppDelegate::observeUpdate(const MenuPayload& payload, Instant now) {
    updatePresentation_.observe(payload, located_ ? located_->cliPath : std::string(), now, allowUpdateFailure());
}

void AppDelegate::takePayload(const MenuPayload& payload, const std::string& recordId) {
    Instant now = seams_.loop.now();
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

void AppDelegate::draw(const MenuSnapshot& snapshot, PollTrigger trigger, Instant now, double startedUptime) {
    const auto& payload = snapshot.payload;
    observeUpdate(payload, now);
    auto recordId = makeUuid();
    takePayload(payload, recordId);

    std::pair<std::string, std::int64_t> drawn{snapshot.stamp.bootId, snapshot.stamp.sequence};
    if (drawnSnapshot_ != drawn) {
        drawnSnapshot_ = drawn;
        auto durationMs = truncatedMilliseconds(seams_.loop.uptime() - startedUptime);
        auto ageMs = truncatedMilliseconds(secondsBetween(snapshot.stamp.writtenAt, now));
        clientLog_.recordRefresh(recordId, trigger, durationMs, std::nullopt,
                                 RefreshSnapshot::drawn(snapshot.stamp.sequence, ageMs), now,
                                 pollDiagnostic(DiagnosticOutcome::available, std::nullopt, std::nullopt));
    }
    render();
}

void AppDelegate::recordPollFailure(std::string detail) {
    consecutivePollFailures_ += 1;
    lastFailureDetail_ = std::move(detail);
    if (consecutivePollFailures_ == 1) {
        retryTimer_ = seams_.loop.oneShot(pollRetrySeconds, weakly([](AppDelegate& self) {
                                              self.pollNow(PollTrigger::retry, std::nullopt);
                                          }));
    }
}

void AppDelegate::scheduleRefresh(double seconds) {
    if (terminated_) return;
    seconds = timerRefreshSeconds(seconds);
    if (refreshTimer_ && refreshTimer_->interval() == seconds) return;
    refreshTimer_.reset();
    refreshTimer_ = seams_.loop.repeating(seconds, weakly([](AppDelegate& self) { self.refresh(PollTrigger::timer); }));
}

void AppDelegate::watchDirectories(const std::vector<std::string>& paths) {
    if (terminated_ || paths == watchedPaths_) return;
    watchedPaths_ = paths;
    watchers_.clear();
    for (const auto& path : paths) {
        auto watcher = DebouncedWatcher::make(seams_.directoryWatcher, seams_.loop, path, weakly([](AppDelegate& self) {
                                                  self.refresh(PollTrigger::directoryChange);
                                              }));
        if (watcher) watchers_.push_back(std::move(watcher));
    }
}

void AppDelegate::requestSnapshotRefresh() {
    if (!snapshotSource_) return;
    const auto& path = snapshotSource_->first.openRequest;
    if (path.empty() || !isDirectory(parentFolder(path))) return;
    replaceRegularFile(path, iso8601(seams_.loop.now()), 0600);
}

AppMenuState AppDelegate::currentState() const {
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

// ---- Rendering -------------------------------------------------------------------------------

void AppDelegate::render() { render(false); }

void AppDelegate::render(bool rewordOpenMenu) {
    if (terminated_ || !menuBuilder_) return;
    Instant now = seams_.loop.now();
    updatePresentation_.expire(now);
    if (updatePresentation_ != renderedUpdatePresentation_) persistUpdatePresentation();

    double interval = updatePresentation_.isInstalling() ? installingRefreshSeconds
                      : lastPayload_                     ? lastPayload_->refreshSeconds
                                                         : defaultRefreshSeconds;
    scheduleRefresh(interval);

    auto state = currentState();
    renderIcon(state);

    bool loggingFailure = clientLog_.writeFailure().has_value();
    bool loginEnabled = launchAtLogin_.isEnabled();
    bool changed = !rebuiltOnce_ || renderedState_ != state || renderedActionState_ != actionRunner_->state() ||
                   renderedUpdatePresentation_ != updatePresentation_ || renderedLaunchAtLogin_ != loginEnabled ||
                   renderedLoggingFailure_ != loggingFailure;
    if (changed || (rewordOpenMenu && menuIsOpen_)) rebuildMenu(state);
    if (onRendered) onRendered();
}

void AppDelegate::persistUpdatePresentation() {
    const auto key = updatePresentationKey();
    if (!updatePresentation_.update) {
        seams_.defaults.remove(key);
        return;
    }
    try {
        seams_.defaults.setData(key, encodeCliUpdatePresentation(updatePresentation_));
    } catch (...) {
        recordUpdatePersistenceFailure("UPDATE_STATE_UNWRITABLE");
    }
}

void AppDelegate::recordUpdatePersistenceFailure(std::string_view code) {
    ClientDiagnostic diagnostic;
    diagnostic.operation = DiagnosticOperation::updatePersistence;
    diagnostic.outcome = DiagnosticOutcome::failed;
    diagnostic.domain = "Corvane";
    diagnostic.code = std::string(code);
    clientLog_.record(makeUuid(), seams_.loop.now(), diagnostic);
}

void AppDelegate::renderIcon(const AppMenuState& state) {
    if (!menuBuilder_) return;
    auto icon = iconState(state);
    const auto& runState = actionRunner_->state();
    bool launcherFailed = runState && updateAction_ && runState->action == *updateAction_ &&
                          std::holds_alternative<ActionRunState::Failed>(runState->phase);
    bool updateFailed = updatePresentation_.update && updatePresentation_.update->phase == CliUpdatePhase::failed;
    if (launcherFailed || updateFailed) icon = IconState::attention;
    // Only the attention icon is drawn in colour; every other icon is a template the shell tints.
    bool dark = IconRenderer::drawnDarkness(icon, seams_.appearance.menuBarIsDark(),
                                            seams_.statusItem.tintsTemplateImages());
    if (seams_.statusItem.hasImage() && renderedIconState_ == icon && renderedIconDark_ == dark) return;
    renderedIconState_ = icon;
    renderedIconDark_ = dark;
    auto image = operations_.iconImage(icon, variant_.badgeLetter(), dark);
    image.isTemplate = icon != IconState::attention;
    seams_.statusItem.setImage(image);
}

void AppDelegate::rebuildMenu(const AppMenuState& state) {
    Instant now = seams_.loop.now();
    MenuBuild build;
    if (auto fresh = std::get_if<appstate::Payload>(&state)) {
        build.items = fresh->payload.items;
        build.moreItems = fresh->payload.more;
    } else {
        build.items = bakedMenuItems(state, now).value_or(std::vector<MenuItem>{});
    }
    bool loggingFailure = clientLog_.writeFailure().has_value();
    if (loggingFailure) {
        row::Status warning;
        warning.mark = StatusMark::warn;
        warning.title = std::string(loggingUnavailableTitle);
        warning.subtitle = std::string(loggingUnavailableSubtitle);
        build.items.emplace_back(std::move(warning));
    }
    build.items = updatePresentation_.presenting(build.items);
    const auto& runState = actionRunner_->state();
    if (runState) {
        auto rows = runState->items();
        auto presented = runState->presenting(build.items);
        rows.insert(rows.end(), std::make_move_iterator(presented.begin()), std::make_move_iterator(presented.end()));
        build.items = std::move(rows);
        if (build.moreItems) build.moreItems = runState->presenting(*build.moreItems);
    }
    build.checking = std::holds_alternative<appstate::Checking>(state);
    menuBuilder_->submit(std::move(build));
    seams_.statusItem.setMenu(menuBuilder_->menu());

    rebuiltOnce_ = true;
    renderedState_ = state;
    renderedActionState_ = runState;
    renderedUpdatePresentation_ = updatePresentation_;
    renderedLaunchAtLogin_ = launchAtLogin_.isEnabled();
    renderedLoggingFailure_ = loggingFailure;
}

// ---- Actions and menu events -----------------------------------------------------------------

void AppDelegate::perform(const MenuAction& action) {
    if (terminated_) return;
    if (auto update = std::get_if<verb::CliUpdate>(&action.verb)) {
        const auto& runState = actionRunner_->state();
        if (!cliUpdateCanStart(update->update) || (runState && runState->isRunning())) return;
        updateAction_ = action;
        updateGeneration_ += 1;
        updatePresentation_.start(update->update, lastPayload_ ? lastPayload_->items : std::vector<MenuItem>{},
                                  located_ ? located_->cliPath : std::string(), seams_.loop.now());
        actionRunner_->located = located_;
        actionRunner_->perform(action);
        seams_.loop.post(weakly([](AppDelegate& self) { self.render(); }));
        return;
    }
    actionRunner_->located = located_;
    actionRunner_->perform(action);
}

void AppDelegate::menuWillOpen() {
    if (terminated_) return;
    menuIsOpen_ = true;
    updatePresentation_.didShowMenu();
    requestSnapshotRefresh();
    refresh(PollTrigger::menuOpen);
    // Texts worded from the current time have aged while the menu was closed.
    render(true);
}

void AppDelegate::menuDidClose() {
    if (terminated_) return;
    menuIsOpen_ = false;
    // A finished update stays in the menu until the end of the first opening that showed it.
    if (updatePresentation_.successWasShown) updatePresentation_ = CliUpdatePresentation{};
    seams_.loop.post(weakly([](AppDelegate& self) { self.render(); }));
}

void AppDelegate::willHighlight(NativeMenuItem* item) {
    if (!menuBuilder_) return;
    MenuBuilder::applyHighlight(*menuBuilder_->menu(), item);
}

}  // namespace corvane
