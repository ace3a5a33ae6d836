#pragma once

// The application delegate: the app's lifecycle (launch, render, actions, menu events,
// termination) around the poll cycle it owns (PollCycle.h), which keeps the facts the menu state
// is built from.
//
// Everything here runs on the main thread. Work leaves it only through the seams and comes back
// through `MainLoop::post`; every closure holds the delegate weakly, so work that outlives it does
// nothing. No clock, thread or platform object is touched directly: the seams supply them, which
// lets the whole app run against fakes in virtual time.

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
#include "PollCycle.h"
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

inline constexpr double stalenessSeconds = 15.0;
// At termination the app waits at most this long, in all, for the running poll and a background
// action to stop their processes (each stops within a fraction of a second once asked).
inline constexpr double terminationWaitSeconds = 3.0;
// The refresh interval while a CLI update installs, so its confirmation shows quickly.
inline constexpr double installingRefreshSeconds = 5.0;
inline constexpr std::string_view updatePresentationKeyPrefix = "cliUpdatePresentation.";
inline constexpr std::string_view loggingUnavailableTitle = "Local diagnostic logging is unavailable";
inline constexpr std::string_view loggingUnavailableSubtitle =
    "Use Copy Diagnostics for the error code. Check free disk space and log folder permissions.";

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
    using LocateCli = PollOperations::LocateCli;
    using RunMenu = PollOperations::RunMenu;
    using IsRunning = PollOperations::IsRunning;
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

class AppDelegate : public std::enable_shared_from_this<AppDelegate>, private PollCycleOwner {
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
    // Flushes the log, then stops the running poll and a background action, waiting for them
    // until `terminationWaitSeconds` after the call; a foreground action is left running.
    void applicationWillTerminate();
    // What is left of that wait (all of it before termination).
    double terminationWaitLeft() const;

    // The poll cycle the delegate owns.
    PollCycle& pollCycle() const { return *pollCycle_; }

    // Rendering and menu events.
    void render() override;
    void perform(const MenuAction& action);
    void menuWillOpen();
    void menuDidClose();
    void willHighlight(NativeMenuItem* item);

    // The Copy Diagnostics report's inputs at `now`.
    DiagnosticsInput diagnosticsInput(Instant now) const;

    // Read-only views for shells and tests.
    const CliUpdatePresentation& updatePresentation() const { return updatePresentation_; }
    std::optional<IconState> renderedIconState() const { return renderedIconState_; }
    const std::optional<AppMenuState>& renderedState() const { return renderedState_; }
    bool menuIsOpen() const { return menuIsOpen_; }
    std::int64_t updateGeneration() const override { return updateGeneration_; }
    std::string updatePresentationKey() const;
    const MenuBuilder* menuBuilder() const { return menuBuilder_.get(); }
    ActionRunner& actionRunner() const { return *actionRunner_; }
    // Called after every render (the headless shell prints a frame from it).
    std::function<void()> onRendered;

private:
    AppDelegate(AppSeams seams, Variant variant, ClientLog& clientLog, std::shared_ptr<ActionRunner> actionRunner,
                AppOperations operations);

    // `rewordOpenMenu`: rewrite the menu even when nothing changed, so that texts worded from
    // the current time (the stale row's age) are current while it is shown.
    void render(bool rewordOpenMenu);
    // PollCycleOwner
    void observeUpdate(const MenuPayload& payload, Instant now) override;
    void cliFound(const std::optional<CliLocator::Located>& located) override;
    // The located CLI's path, or empty.
    std::string cliPath() const;
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
    std::shared_ptr<ActionRunner> actionRunner_;
    ClientLog& clientLog_;
    AppOperations operations_;
    LaunchAtLoginSwitch launchAtLogin_;

    bool renderedLoggingFailure_ = false;
    std::unique_ptr<MenuBuilder> menuBuilder_;

    std::int64_t updateGeneration_ = 0;
    std::unique_ptr<TimerHandle> stalenessTimer_;

    std::unique_ptr<AppearanceObservation> appearanceObservation_;
    std::optional<AppMenuState> renderedState_;
    std::optional<IconState> renderedIconState_;
    bool renderedIconDark_ = false;
    bool renderedLaunchAtLogin_ = false;
    std::optional<ActionRunState> renderedActionState_;
    bool rebuiltOnce_ = false;
    MenuBuild submittedBuild_;
    CliUpdatePresentation updatePresentation_;
    CliUpdatePresentation renderedUpdatePresentation_;
    std::optional<MenuAction> updateAction_;
    bool menuIsOpen_ = false;
    bool terminated_ = false;
    std::optional<double> terminationDeadline_;  // uptime
    // Declared last, so it goes first: nothing it calls back into is gone before it.
    std::shared_ptr<PollCycle> pollCycle_;
};

}  // namespace corvane
