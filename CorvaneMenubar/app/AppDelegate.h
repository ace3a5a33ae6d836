#pragma once

// The application delegate: the poll cycle (when to ask the CLI for the menu, whether its snapshot
// can answer instead, folding the answer or the failure into the facts of the menu state) and the
// app's lifecycle (launch, render, actions, menu events, termination).
//
// Everything here runs on the main thread. Work leaves it only through `BackgroundWork` (one hop
// per process poll) and comes back through `MainLoop::post`; every closure holds the delegate
// weakly, so work that outlives it does nothing. No clock, thread or platform object is touched
// directly: the seams supply them, which lets the whole cycle run against fakes in virtual time.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ActionRunState.h"
#include "ActionRunner.h"
#include "AppMenuState.h"
#include "seams/Appearance.h"
#include "seams/BackgroundWork.h"
#include "CliLocator.h"
#include "CliUpdatePresentation.h"
#include "ClientDiagnostic.h"
#include "ClientLog.h"
#include "DebouncedWatcher.h"
#include "seams/Defaults.h"
#include "DiagnosticsReport.h"
#include "seams/DirectoryWatcher.h"
#include "seams/Effects.h"
#include "LaunchAtLoginSwitch.h"
#include "seams/LoginItem.h"
#include "seams/MainLoop.h"
#include "menu/MenuBuilder.h"
#include "MenuDecode.h"
#include "MenuModel.h"
#include "MenuSnapshot.h"
#include "menu/NativeMenu.h"
#include "ProcessRunner.h"
#include "seams/StatusItem.h"
#include "menu/TextMeasure.h"
#include "Variant.h"
#include "menu/VectorImage.h"

namespace corvane {

// What one process run of the menu command needs.
struct MenuRun {
    std::vector<std::string> arguments;  // the variant's menu arguments
    std::string refreshId;               // the poll's id, given to the CLI in its environment
    bool operator==(const MenuRun&) const = default;
};

inline constexpr std::string_view menuRefreshIdEnvironmentKey = "CORVANE_MENU_REFRESH_ID";
inline constexpr double menuPollTimeoutSeconds = 90.0;
// A second menu opening within this many seconds of the last process run starts none.
inline constexpr double menuOpenDebounceSeconds = 5.0;
inline constexpr double pollRetrySeconds = 5.0;
inline constexpr double stalenessSeconds = 15.0;
// The refresh interval while a CLI update installs, so its confirmation shows quickly.
inline constexpr double installingRefreshSeconds = 5.0;
// At termination the app waits at most this long for a running poll to stop its process (the
// runner stops it within a fraction of a second once asked), so none outlives the app.
inline constexpr double pollStopWaitSeconds = 1.0;
// The interval that reaches the refresh timer stays within these bounds whatever the CLI asks
// for, so a tiny value cannot run the CLI many times a second and a huge one cannot overflow a
// shell's timer arithmetic. The payload keeps the CLI's own number for its freshness.
inline constexpr double shortestRefreshSeconds = 1.0;
inline constexpr double longestRefreshSeconds = 24.0 * 3600.0;
// A snapshot file larger than this is not read and counts as no snapshot: real snapshots are a
// few kilobytes, and the file is read whole into memory.
inline constexpr std::size_t snapshotSizeLimit = 8u << 20;
inline constexpr std::string_view updatePresentationKeyPrefix = "cliUpdatePresentation.";
inline constexpr std::string_view loggingUnavailableTitle = "Local diagnostic logging is unavailable";
inline constexpr std::string_view loggingUnavailableSubtitle =
    "Use Copy Diagnostics for the error code. Check free disk space and log folder permissions.";

inline constexpr std::string_view unreadableAnswerSentence =
    "corvane menu answered with something unreadable. Reopen the menu to retry.";

// How a finished menu run went before its output is read: a failure carries the user's sentence
// and the poll's diagnostic; an exit status of 0 carries neither (the output decides).
struct MenuRunVerdict {
    std::optional<ClientDiagnostic> diagnostic;
    std::optional<std::string> failure;
    bool operator==(const MenuRunVerdict&) const = default;
};
MenuRunVerdict judgeMenuRun(const ProcessRunner::Result& result);

// A finished menu run as read on the poll's background hop, so that neither the CLI's standard
// error nor its answer is parsed on the main thread: the verdict and, for an exit status of 0,
// the decoded answer (its ages worded at `now`).
struct PollAnswer {
    MenuRunVerdict verdict;
    std::optional<MenuDecodeResult> decoded;
};
PollAnswer readPollResult(const ProcessRunner::Result& result, Instant now);

// The refresh timer's interval for the interval the app wants: a value that is not a positive
// number gives `defaultRefreshSeconds`; the rest is held within the shortest and longest.
double timerRefreshSeconds(double seconds);

// The CLI's file stamp: the symlink-resolved path, "@", and its modification time in seconds
// since 1970 as a decimal number. Absent for an empty path or one without readable attributes.
// Two stamps differ when the executable was replaced or moved.
std::optional<std::string> cliFileStamp(const std::string& path);

// A regular file this process may execute.
bool isExecutableFile(const std::string& path);

// The modification time of a file, or nothing.
std::optional<Instant> modifiedTime(const std::string& path);

// The platform seams the delegate runs on. All must outlive the delegate.
struct AppSeams {
    MainLoop& loop;
    BackgroundWork& background;
    DirectoryWatcher& directoryWatcher;
    StatusItem& statusItem;
    NativeMenuFactory& menuFactory;
    const TextMeasure& textMeasure;
    Effects& effects;
    LoginItem& loginItem;
    // The standard defaults: the first-launch flag and the persisted update presentation.
    Defaults& defaults;
    Appearance& appearance;
};

// The injected operations; each has a real default (see `AppDelegate::create`).
struct AppOperations {
    using LocateCli = std::function<std::optional<CliLocator::Located>()>;
    // The cancellation is requested when the app terminates: the run must then stop its process
    // and return promptly.
    using RunMenu = std::function<ProcessRunner::Result(const CliLocator::Located&, const MenuRun&,
                                                        const RunCancellation&)>;
    using IsRunning = std::function<bool(std::int32_t pid)>;
    // The status icon for a state, the variant's badge letter and dark drawing.
    using IconImage = std::function<VectorImage(IconState, const std::optional<std::string>& badge, bool dark)>;

    LocateCli locateCli;  // may block: called on the background hop only
    RunMenu runMenu;      // blocks: called on the background hop only
    IsRunning isRunning;
    IconImage iconImage;
    // Where the app itself lives (the first-launch login item registers only from an
    // applications folder).
    std::string bundlePath;
    std::string appVersion = "0.0.0-dev";
    // The app rows' About and Quit.
    std::function<void()> showAbout;
    std::function<void()> quit;
    // The system log (login-item registration errors).
    std::function<void(std::string_view)> systemLog;
};

class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
public:
    // Missing operations get the real ones: the locator over this user's files and environment,
    // the process runner (CLI path, menu arguments, the CLI's search path, the poll id in
    // CORVANE_MENU_REFRESH_ID, 90 s) and the process liveness test.
    static std::shared_ptr<AppDelegate> create(AppSeams seams, Variant variant, ClientLog& clientLog,
                                               std::shared_ptr<ActionRunner> actionRunner,
                                               AppOperations operations);

    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;
    ~AppDelegate();

    // Lifecycle.
    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    // Poll cycle.
    void refresh(PollTrigger trigger);
    void poll(PollTrigger trigger, std::optional<SnapshotSkip> skip);
    void pollNow(PollTrigger trigger, std::optional<SnapshotSkip> skip);
    using PollResult = std::optional<ProcessRunner::Result>;  // absent: no CLI was found
    // Reads the result on the calling thread; the poll hop reads it in the background and hands
    // the answer to `handlePollAnswer`.
    void handlePollResult(const PollResult& result, std::int64_t generation);
    void handlePollAnswer(std::optional<PollAnswer> answer, std::int64_t generation);
    void draw(const MenuSnapshot& snapshot, PollTrigger trigger, Instant now, double startedUptime);
    void recordPollFailure(std::string detail);
    void scheduleRefresh(double seconds);
    void watchDirectories(const std::vector<std::string>& paths);
    void requestSnapshotRefresh();
    AppMenuState currentState() const;

    // Rendering and menu events.
    void render();
    void perform(const MenuAction& action);
    void menuWillOpen();
    void menuDidClose();
    void willHighlight(NativeMenuItem* item);

    // The Copy Diagnostics report's inputs at `now`.
    DiagnosticsInput diagnosticsInput(Instant now) const;

    // Read-only views for shells and tests.
    const std::optional<MenuPayload>& lastPayload() const { return lastPayload_; }
    const std::optional<std::string>& lastFailureDetail() const { return lastFailureDetail_; }
    std::int64_t consecutivePollFailures() const { return consecutivePollFailures_; }
    bool pollInFlight() const { return pollInFlight_; }
    std::optional<PollTrigger> queuedPollTrigger() const { return queuedPollTrigger_; }
    PollTrigger pollTrigger() const { return pollTrigger_; }
    const std::optional<SnapshotSkip>& pollSnapshotSkip() const { return pollSnapshotSkip_; }
    const CliUpdatePresentation& updatePresentation() const { return updatePresentation_; }
    std::optional<IconState> renderedIconState() const { return renderedIconState_; }
    const std::optional<AppMenuState>& renderedState() const { return renderedState_; }
    bool menuIsOpen() const { return menuIsOpen_; }
    const std::optional<CliLocator::Located>& located() const { return located_; }
    std::int64_t updateGeneration() const { return updateGeneration_; }
    const std::vector<std::string>& watchedPaths() const { return watchedPaths_; }
    std::string updatePresentationKey() const;
    const MenuBuilder* menuBuilder() const { return menuBuilder_.get(); }
    ActionRunner& actionRunner() const { return *actionRunner_; }
    // Called after every render (the headless shell prints a frame from it).
    std::function<void()> onRendered;

private:
    AppDelegate(AppSeams seams, Variant variant, ClientLog& clientLog, std::shared_ptr<ActionRunner> actionRunner,
                AppOperations operations);

    struct PayloadOutcome {
        ClientDiagnostic diagnostic;
        std::optional<CliRefreshReport> report;
    };
    PayloadOutcome handleDecodedPayload(MenuDecodeResult decoded, std::int64_t generation);
    // Reads the snapshot file on the background hop and draws it, or polls with the skip reason.
    void readSnapshot(PollTrigger trigger);
    void finishSnapshotRead(const std::pair<SnapshotFiles, SnapshotIdentity>& source, const SnapshotRead& read,
                            PollTrigger trigger, Instant now, double startedUptime);
    // Starts the queued trigger once neither a process run nor a snapshot read is under way.
    void runQueuedTrigger();
    // `rewordOpenMenu`: rewrite the menu even when nothing changed, so that texts worded from
    // the current time (the stale row's age) are current while it is shown.
    void render(bool rewordOpenMenu);
    // Takes a payload as the answer (a process answer or a drawn snapshot).
    void takePayload(const MenuPayload& payload, const std::string& recordId);
    void observeUpdate(const MenuPayload& payload, Instant now);
    bool allowUpdateFailure() const;
    void renderIcon(const AppMenuState& state);
    void rebuildMenu(const AppMenuState& state);
    void persistUpdatePresentation();
    void recordUpdatePersistenceFailure(std::string_view code);
    void wireActionRunner();
    template <class F>
    Job weakly(F function);

    AppSeams seams_;
    Variant variant_;
    Instant launchedAt_;
    std::shared_ptr<ActionRunner> actionRunner_;
    ClientLog& clientLog_;
    AppOperations operations_;
    LaunchAtLoginSwitch launchAtLogin_;

    std::string pollId_;
    PollTrigger pollTrigger_ = PollTrigger::launch;
    double pollStartedUptime_ = 0;
    bool renderedLoggingFailure_ = false;
    std::unique_ptr<MenuBuilder> menuBuilder_;

    std::optional<CliLocator::Located> located_;
    std::optional<bool> cliLocated_;
    std::optional<MenuPayload> lastPayload_;
    std::optional<Instant> lastSuccessAt_;
    std::optional<std::int64_t> lastContractMismatch_;
    std::int64_t consecutivePollFailures_ = 0;
    std::optional<std::string> lastFailureDetail_;
    std::optional<std::pair<SnapshotFiles, SnapshotIdentity>> snapshotSource_;
    std::optional<std::string> answeredCli_;
    std::optional<std::pair<std::string, std::int64_t>> drawnSnapshot_;
    std::optional<SnapshotSkip> pollSnapshotSkip_;
    bool pollInFlight_ = false;
    bool snapshotReadInFlight_ = false;
    // The running poll's cancellation, requested at termination, and the hop's progress.
    struct PollProgress;
    std::shared_ptr<RunCancellation> pollCancellation_;
    std::shared_ptr<PollProgress> pollProgress_;
    std::optional<PollTrigger> queuedPollTrigger_;
    std::optional<Instant> lastPollStartedAt_;
    std::int64_t updateGeneration_ = 0;
    std::unique_ptr<TimerHandle> refreshTimer_;
    std::unique_ptr<TimerHandle> stalenessTimer_;
    std::unique_ptr<TimerHandle> retryTimer_;
    std::vector<std::unique_ptr<DebouncedWatcher>> watchers_;
    std::vector<std::string> watchedPaths_;

    std::unique_ptr<AppearanceObservation> appearanceObservation_;
    std::optional<AppMenuState> renderedState_;
    std::optional<IconState> renderedIconState_;
    bool renderedIconDark_ = false;
    bool renderedLaunchAtLogin_ = false;
    std::optional<ActionRunState> renderedActionState_;
    bool rebuiltOnce_ = false;
    CliUpdatePresentation updatePresentation_;
    CliUpdatePresentation renderedUpdatePresentation_;
    std::optional<MenuAction> updateAction_;
    bool menuIsOpen_ = false;
    bool terminated_ = false;
};

}  // namespace corvane
