#pragma once

// The app's own local diagnostic log: two JSON-lines files in a per-environment folder, one for
// changes in the health of each operation ("transitions") and one line per menu refresh. Safe to
// leave on for every user: lines hold only diagnostic words, versions, identifiers and timings;
// a failure repeating every few seconds collapses into one "repeat" line at most every five
// minutes; files are capped and rotated; app processes take turns through a lock file that is
// never waited for; and a failing disk never raises, it is only counted.

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "ClientDiagnostic.h"
#include "Instant.h"
#include "MenuModel.h"
#include "MenuSnapshot.h"

namespace corvane {

// Why a poll was asked for. Cases in this order; logged as their wire words.
enum class PollTrigger { launch, timer, directoryChange, menuOpen, actionFinished, retry };

// "launch", "timer", "directory-change", "menu-open", "action-finished", "retry".
std::string_view wireWord(PollTrigger trigger);

// The snapshot outcome of one refresh: drawn (with the snapshot's sequence and age) or skipped.
struct RefreshSnapshot {
    std::optional<SnapshotSkip> skipped;  // absent: the snapshot was drawn
    std::optional<std::int64_t> sequence;
    std::optional<std::int64_t> ageMs;

    static RefreshSnapshot drawn(std::int64_t sequence, std::int64_t ageMs) { return {std::nullopt, sequence, ageMs}; }
    static RefreshSnapshot skip(SnapshotSkip reason) { return {reason, std::nullopt, std::nullopt}; }
    bool operator==(const RefreshSnapshot&) const = default;
};

// {"outcome": skip word or "drawn", "sequence", "ageMs"} (absent members left out).
nlohmann::json toJson(const RefreshSnapshot& snapshot);
// {"stageMs": {...}, "requests": [{"route", "status", "requestId", "durationMs"}]}, as received.
nlohmann::json toJson(const CliRefreshReport& report);

// The per-environment log folder: "~/Library/Logs/Corvane/<env>" on macOS;
// "${XDG_STATE_HOME:-~/.local/state}/corvane/logs/<env>" elsewhere (an empty or relative
// XDG_STATE_HOME is ignored, as the XDG rules say).
std::string logDirectory(std::string_view home, std::string_view appEnv,
                         const std::optional<std::string>& xdgStateHome, bool isMacOS);

// The operating system's human-readable version for log lines. On Linux the PRETTY_NAME of
// /etc/os-release and the kernel, e.g. "Debian GNU/Linux 12 (bookworm); Linux 6.1.0-18-amd64";
// elsewhere the kernel name and release (the macOS shell passes its own, richer text).
std::string osVersionString();
// The same from given inputs: `osRelease` is the text of an os-release file (empty when none).
std::string osVersionText(std::string_view osRelease, std::string_view kernelName, std::string_view kernelRelease);

class ClientLog {
public:
    static constexpr std::string_view transitionsFile = "menubar.jsonl";
    static constexpr std::string_view refreshFile = "menubar-refresh.jsonl";
    static constexpr std::int64_t defaultMaxBytes = 1'048'576;
    // Repetitions of one failure are written at most this often (seconds).
    static constexpr double repeatIntervalSeconds = 300.0;
    static constexpr std::size_t recentLimit = 20;
    static constexpr std::size_t recentRefreshLimit = 10;

    // Touches no file: folders and files are created by the first write. `runId` is a fresh UUID.
    ClientLog(std::string directory, std::string appVersion, std::string appEnv, std::string osVersion,
              std::int64_t maxBytes = defaultMaxBytes);

    // Notes one diagnostic of request `id`: writes zero, one or two lines to the transitions file.
    // The first success of an operation writes nothing; a change of diagnostic writes
    // "transition" ("recovery" for `available`), preceded by a "repeat" line with the count of
    // suppressed repetitions of the previous one; the same failure again only counts, and writes
    // "repeat" once at least 300 s have passed since the operation's last line. While the
    // transitions file is failing nothing is collapsed, so every diagnostic retries a write.
    void record(std::string_view id, Instant at, const ClientDiagnostic& diagnostic);

    // One line per completed poll in the refresh file, never throttled; `diagnostic` is the
    // poll's own outcome.
    void recordRefresh(std::string_view id, PollTrigger trigger, std::optional<std::int64_t> durationMs,
                       const std::optional<CliRefreshReport>& cli, const std::optional<RefreshSnapshot>& snapshot,
                       Instant at, const ClientDiagnostic& diagnostic);

    // Writes the pending repeat counts (under the run id); called when the app terminates.
    void flush(Instant at);

    // The failure of the last write to the transitions file, else to the refresh file, else
    // nothing. The menu warns while it is present; the next good write to that file clears it.
    std::optional<ClientDiagnostic> writeFailure() const;

    // For the diagnostics report: the recent transition lines (or a note that there were none,
    // or the write failure with the count of lost lines), then the recent refresh lines.
    std::string supportSummary() const;

    const std::optional<std::string>& cliVersion() const { return cliVersion_; }
    void setCliVersion(std::optional<std::string> version) { cliVersion_ = std::move(version); }
    std::int64_t lostWrites() const { return lostWrites_; }
    const std::string& runId() const { return runId_; }
    const std::string& directory() const { return directory_; }
    // Newest last, without line feeds.
    const std::deque<std::string>& recent() const { return recent_; }
    const std::deque<std::string>& recentRefreshes() const { return recentRefreshes_; }
    // The error of the last failed write, per file name.
    const std::map<std::string, ClientDiagnostic, std::less<>>& failures() const { return failures_; }

private:
    struct Streak {
        ClientDiagnostic diagnostic;
        std::int64_t pending = 0;  // repetitions not yet written
        Instant lastWritten;
    };
    struct RefreshFields;

    std::optional<std::string> emit(std::string_view file, std::string_view event, std::string_view id, Instant at,
                                    const ClientDiagnostic& diagnostic, std::int64_t count,
                                    const RefreshFields* refresh);
    void emitTransition(std::string_view event, std::string_view id, Instant at, const ClientDiagnostic& diagnostic,
                        std::int64_t count);

    std::string directory_;
    std::int64_t lostWrites_ = 0;
    std::optional<std::string> cliVersion_;
    std::string appVersion_;
    std::string appEnv_;
    std::string osVersion_;
    std::string runId_;
    std::int64_t maxBytes_;
    // Indexed by DiagnosticOperation: a fixed table keeps the throttled path free of allocation.
    std::array<std::optional<Streak>, diagnosticOperationCount> streaks_;
    std::deque<std::string> recent_;
    std::deque<std::string> recentRefreshes_;
    std::map<std::string, ClientDiagnostic, std::less<>> failures_;
};

}  // namespace corvane
