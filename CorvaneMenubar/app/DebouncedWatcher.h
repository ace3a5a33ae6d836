#pragma once

#include <memory>
#include <optional>
#include <string>

#include "seams/DirectoryWatcher.h"
#include "seams/MainLoop.h"

namespace corvane {

// A folder watch that folds a burst of raw change events into one call: each event restarts a
// one-shot timer of `debounceSeconds`, and `onChange` runs when the folder has been quiet that
// long, or at the latest `maxDelaySeconds` after the burst's first event, so a folder that never
// rests (a log written many times a second) still gets the menu redrawn. Main thread only.
// Destroying the watcher stops the watch and drops a pending call.
class DebouncedWatcher {
public:
    static constexpr double defaultDebounceSeconds = 0.1;
    static constexpr double maxDelaySeconds = 1.0;

    // Null when the folder cannot be watched. `loop` must outlive the watcher.
    static std::unique_ptr<DebouncedWatcher> make(DirectoryWatcher& watcher, MainLoop& loop, const std::string& path,
                                                  Job onChange, double debounceSeconds = defaultDebounceSeconds);

    const std::string& path() const { return path_; }

    DebouncedWatcher(const DebouncedWatcher&) = delete;
    DebouncedWatcher& operator=(const DebouncedWatcher&) = delete;

private:
    DebouncedWatcher(MainLoop& loop, std::string path, Job onChange, double debounceSeconds);
    void eventArrived();

    MainLoop& loop_;
    std::string path_;
    // Shared so that a call survives `onChange` destroying this watcher (a redraw may replace
    // the watched paths from inside the call).
    std::shared_ptr<const Job> onChange_;
    double debounceSeconds_;
    std::unique_ptr<TimerHandle> pending_;
    std::optional<double> burstStartedAt_;  // uptime of the first event not yet answered
    std::unique_ptr<DirectoryWatch> watch_;  // last: stopped first on destruction
};

}  // namespace corvane
