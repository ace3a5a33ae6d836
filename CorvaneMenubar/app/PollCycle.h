#pragma once

// The poll cycle: when to ask the CLI for the menu, whether its snapshot can answer instead, and
// folding the answer or the failure into the facts the menu state is built from.
//
// Everything here runs on the main thread. Work leaves it only through `BackgroundWork` (one hop
// per process poll) and comes back through `MainLoop::post`; every closure holds
// the cycle weakly, so work that outlives it does nothing. No clock, thread or platform object is
// touched directly: the seams supply them, which lets the whole cycle run against fakes in
// virtual time.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "AppMenuState.h"
#include "CliLocator.h"
#include "ClientDiagnostic.h"
#include "ClientLog.h"
#include "MenuDecode.h"
#include "MenuModel.h"
#include "MenuSnapshot.h"
#include "ProcessRunner.h"
#include "DebouncedWatcher.h"
#include "seams/BackgroundWork.h"
#include "seams/DirectoryWatcher.h"
#include "seams/MainLoop.h"

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
// The interval that reaches the refresh timer stays within these bounds whatever the CLI asks
// for, so a tiny value cannot run the CLI many times a second and a huge one cannot overflow a
// shell's timer arithmetic. The payload keeps the CLI's own number for its freshness.
inline constexpr double shortestRefreshSeconds = 1.0;
inline constexpr double longestRefreshSeconds = 24.0 * 3600.0;
// A snapshot file larger than this is not read and counts as no snapshot: real snapshots are a
// few kilobytes, and the file is read whole into memory.
inline constexpr std::size_t snapshotSizeLimit = 8u << 20;

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

// The operations the cycle runs off the main thread; each has a real default (see
// `AppDelegate::create`).
struct PollOperations {
    using LocateCli = std::function<std::optional<CliLocator::Located>()>;
    // The cancellation is requested when the app terminates: the run must then stop its process
    // and return promptly.
    using RunMenu = std::function<ProcessRunner::Result(const CliLocator::Located&, const MenuRun&,
                                                        const RunCancellation&)>;
    using IsRunning = std::function<bool(std::int32_t pid)>;

    LocateCli locateCli;  // may block: called on the background hop only
    RunMenu runMenu;      // blocks: called on the background hop only
    IsRunning isRunning;
};

// What the cycle asks of the app it serves. Called on the main thread only.
class PollCycleOwner {
public:
    virtual ~PollCycleOwner() = default;
    // The CLI update run the app is on; a process answer from a poll that started in an earlier
    // one must not move the update presentation.
    virtual std::int64_t updateGeneration() const = 0;
    // A payload became the answer at `now` (a process answer of the current generation, or a
    // drawn snapshot): the update presentation observes it.
    virtual void observeUpdate(const MenuPayload& payload, Instant now) = 0;
    // A poll's locator finished (nothing: no CLI was found).
    virtual void cliFound(const std::optional<CliLocator::Located>& located) = 0;
    // The facts changed: draw the icon and menu again.
    virtual void render() = 0;
};

class PollCycle : public std::enable_shared_from_this<PollCycle> {
public:
    struct Seams {
        MainLoop& loop;
        BackgroundWork& background;
        DirectoryWatcher& directoryWatcher;
    };

    // `owner` and the seams must outlive the cycle.
    static std::shared_ptr<PollCycle> create(Seams seams, PollCycleOwner& owner, ClientLog& clientLog,
                                             std::vector<std::string> menuArguments, PollOperations operations);

    PollCycle(const PollCycle&) = delete;
    PollCycle& operator=(const PollCycle&) = delete;
    ~PollCycle();

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
    // Tells the CLI that the menu is being opened, through the request file its snapshot names.
    void requestSnapshotRefresh();
    AppMenuState currentState() const;
    // At termination: a poll still running is asked to stop its process, and no timer, watcher
    // or late answer starts anything again. `waitForStop` then waits for that process to end, at
    // most `seconds`.
    void stop();
    void waitForStop(double seconds);

    const std::optional<MenuPayload>& lastPayload() const { return lastPayload_; }
    const std::optional<Instant>& lastSuccessAt() const { return lastSuccessAt_; }
    const std::optional<std::string>& lastFailureDetail() const { return lastFailureDetail_; }
    std::int64_t consecutivePollFailures() const { return consecutivePollFailures_; }
    bool pollInFlight() const { return pollInFlight_; }
    std::optional<PollTrigger> queuedPollTrigger() const { return queuedPollTrigger_; }
    PollTrigger pollTrigger() const { return pollTrigger_; }
    const std::optional<SnapshotSkip>& pollSnapshotSkip() const { return pollSnapshotSkip_; }
    const std::optional<CliLocator::Located>& located() const { return located_; }
    const std::vector<std::string>& watchedPaths() const { return watchedPaths_; }

private:
    PollCycle(Seams seams, PollCycleOwner& owner, ClientLog& clientLog, std::vector<std::string> menuArguments,
              PollOperations operations);

    struct PayloadOutcome {
        ClientDiagnostic diagnostic;
        std::optional<CliRefreshReport> report;
    };
    PayloadOutcome handleDecodedPayload(MenuDecodeResult decoded, std::int64_t generation);
    // Starts the queued trigger once no process run is under way.
    void runQueuedTrigger();
    // Takes a payload as the answer (a process answer or a drawn snapshot) read at `now`.
    void takePayload(const MenuPayload& payload, const std::string& recordId, Instant now);
    template <class F>
    Job weakly(F function);

    Seams seams_;
    PollCycleOwner& owner_;
    ClientLog& clientLog_;
    std::vector<std::string> menuArguments_;
    PollOperations operations_;
    Instant launchedAt_;

    std::string pollId_;
    PollTrigger pollTrigger_ = PollTrigger::launch;
    double pollStartedUptime_ = 0;

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
    // The running poll's cancellation, requested at termination, and the hop's progress.
    struct PollProgress;
    std::shared_ptr<RunCancellation> pollCancellation_;
    std::shared_ptr<PollProgress> pollProgress_;
    std::optional<PollTrigger> queuedPollTrigger_;
    std::optional<Instant> lastPollStartedAt_;
    std::unique_ptr<TimerHandle> refreshTimer_;
    std::unique_ptr<TimerHandle> retryTimer_;
    std::vector<std::unique_ptr<DebouncedWatcher>> watchers_;
    std::vector<std::string> watchedPaths_;
    bool stopped_ = false;
};

}  // namespace corvane
