#include "AppDelegate.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "menu/IconRenderer.h"
#include "Uuid.h"

namespace corvane {

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
      actionRunner_(std::move(actionRunner)),
      clientLog_(clientLog),
      operations_(std::move(operations)),
      launchAtLogin_(seams.loginItem, operations_.systemLog),
      pollCycle_(PollCycle::create({seams.loop, seams.background, seams.directoryWatcher}, *this, clientLog,
                                   variant_.menuArguments(),
                                   {operations_.locateCli, operations_.runMenu, operations_.isRunning})) {}

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
    pollCycle_->scheduleRefresh(defaultRefreshSeconds);
    render();
    pollCycle_->pollNow(PollTrigger::launch, std::nullopt);
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
        if (auto self = weak.lock()) self->perform(failed);
    };
    actionRunner_->onRunFinished = [weak] {
        if (auto self = weak.lock()) self->pollCycle_->refresh(PollTrigger::actionFinished);
    };
}

void AppDelegate::applicationWillTerminate() {
    if (terminated_) return;
    terminated_ = true;
    // What matters is written first. Then the running poll and a background action are asked to
    // stop their processes, and both are waited for within one deadline; a foreground command is
    // left to finish on its own.
    clientLog_.flush(seams_.loop.now());
    terminationDeadline_ = seams_.loop.uptime() + terminationWaitSeconds;
    pollCycle_->stop();
    actionRunner_->stop(terminationWaitLeft());
    pollCycle_->waitForStop(terminationWaitLeft());
    stalenessTimer_.reset();
    appearanceObservation_.reset();
    seams_.statusItem.remove();
}

double AppDelegate::terminationWaitLeft() const {
    if (!terminationDeadline_) return terminationWaitSeconds;
    return std::max(0.0, *terminationDeadline_ - seams_.loop.uptime());
}

DiagnosticsInput AppDelegate::diagnosticsInput(Instant now) const {
    DiagnosticsInput input;
    input.appVersion = operations_.appVersion;
    input.appEnv = variant_.appEnv;
    input.cliVersion = clientLog_.cliVersion();
    input.lastPayloadAt = pollCycle_->lastSuccessAt();
    input.lastFailureDetail = pollCycle_->lastFailureDetail();
    input.clientEvents = clientLog_.supportSummary();
    input.now = now;
    return input;
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

std::string AppDelegate::cliPath() const {
    const auto& located = pollCycle_->located();
    return located ? located->cliPath : std::string();
}

void AppDelegate::cliFound(const std::optional<CliLocator::Located>& located) { actionRunner_->located = located; }

void AppDelegate::observeUpdate(const MenuPayload& payload, Instant now) {
    updatePresentation_.observe(payload, cliPath(), now, allowUpdateFailure());
}

// ---- Rendering -------------------------------------------------------------------------------

void AppDelegate::render() { render(false); }

void AppDelegate::render(bool rewordOpenMenu) {
    if (terminated_ || !menuBuilder_) return;
    Instant now = seams_.loop.now();
    updatePresentation_.expire(now);
    if (updatePresentation_ != renderedUpdatePresentation_) persistUpdatePresentation();

    const auto& lastPayload = pollCycle_->lastPayload();
    double interval = updatePresentation_.isInstalling() ? installingRefreshSeconds
                      : lastPayload                      ? lastPayload->refreshSeconds
                                                         : defaultRefreshSeconds;
    pollCycle_->scheduleRefresh(interval);

    auto state = pollCycle_->currentState();
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
    const bool loginEnabled = launchAtLogin_.isEnabled();
    // A build equal to the last one (the app rows' check mark included) leaves the menu alone.
    if (!rebuiltOnce_ || build != submittedBuild_ || loginEnabled != renderedLaunchAtLogin_) {
        submittedBuild_ = build;
        menuBuilder_->submit(std::move(build));
        seams_.statusItem.setMenu(menuBuilder_->menu());
    }

    rebuiltOnce_ = true;
    renderedState_ = state;
    renderedActionState_ = runState;
    renderedUpdatePresentation_ = updatePresentation_;
    renderedLaunchAtLogin_ = loginEnabled;
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
        const auto& lastPayload = pollCycle_->lastPayload();
        updatePresentation_.start(update->update, lastPayload ? lastPayload->items : std::vector<MenuItem>{},
                                  cliPath(), seams_.loop.now());
        actionRunner_->located = pollCycle_->located();
        actionRunner_->perform(action);
        seams_.loop.post(weakly([](AppDelegate& self) { self.render(); }));
        return;
    }
    actionRunner_->located = pollCycle_->located();
    actionRunner_->perform(action);
}

void AppDelegate::menuWillOpen() {
    if (terminated_) return;
    menuIsOpen_ = true;
    updatePresentation_.didShowMenu();
    pollCycle_->requestSnapshotRefresh();
    pollCycle_->refresh(PollTrigger::menuOpen);
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
