#pragma once

// Running the CLI as a child process. Both runners block the calling worker thread until the
// child has ended or been stopped, and may run on several threads at once. Only a failure to
// start is an error; a non-zero exit, a timeout or a cancellation is an `Outcome` that the
// caller words.

// `stdout` and `stderr` are macros on some C libraries; including <cstdio> here makes every user
// of this header see the same field names.
#include <cstdio>

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <variant>
#include <vector>

#include "ClientDiagnostic.h"

namespace corvane {

// Shared between whoever asks for a stop (the action runner, the app at termination) and a run,
// which checks the request every 0.02 s.
class RunCancellation {
public:
    void request() {
        std::lock_guard guard(lock);
        requested_ = true;
    }
    bool requested() const {
        std::lock_guard guard(lock);
        return requested_;
    }

private:
    mutable std::mutex lock;
    bool requested_ = false;
};

struct ProcessRunner {
    // A child that writes more than this to stdout is stopped: no answer of the CLI comes near
    // it, and an endless writer must not grow the app's memory.
    static constexpr std::size_t maxStdoutBytes = std::size_t{16} << 20;
    // Stderr only matters for its last lines (the CLI's diagnostic marker comes last), so only
    // this much of its end is kept.
    static constexpr std::size_t maxStderrBytes = std::size_t{1} << 20;

    struct Outcome {
        std::string stdout;  // UTF-8, invalid bytes replaced by U+FFFD; empty for background runs
        std::string stderr;  // the same, its last `maxStderrBytes` at most
        int exitCode = 0;  // the exit status, or the signal that ended the child; -1 when stopped
        bool timedOut = false;
        // An answer passed `maxStdoutBytes`: the run was stopped and `stdout` is empty.
        bool outputLimitExceeded = false;
        bool operator==(const Outcome&) const = default;
    };

    // The child could not be started (missing, not executable, no resources...).
    struct Failure {
        ClientDiagnostic diagnostic;
        static Failure spawnFailed(ClientDiagnostic diagnostic) { return Failure{std::move(diagnostic)}; }
        bool operator==(const Failure&) const = default;
    };

    using Result = std::variant<Outcome, Failure>;

    // What a run does with the child's output.
    enum class Output {
        // Stdout is the answer: kept up to `maxStdoutBytes`, past which the run is stopped.
        answer,
        // Stdout goes to /dev/null and the run ends as the command ends, however much it prints
        // (actions, click reports). Stderr's tail goes to an unlinked file of ours rather than a
        // pipe, so that a command the app leaves running when it quits can still write to it.
        discard,
    };

    // Runs `executable` (an absolute path) with stdin from /dev/null and stdout and stderr
    // collected separately, in a process group of its own. The child's environment is ours, with
    // `environment` replacing entries, PATH = `searchPath` and CORVANE_NATIVE_DIAGNOSTICS=1.
    // When `timeoutSeconds` runs out the group gets SIGTERM, then SIGKILL once the child has
    // ended or 5 s later; the outcome is then -1, timed out. A `cancellation` (checked every
    // 0.02 s) or an answer passing its cap stops the group the same way after 0.2 s; the outcome
    // is -1, not timed out. A start failure is tagged with the poll operation whoever the caller
    // is.
    static Result run(const std::string& executable, const std::vector<std::string>& arguments,
                      const std::string& searchPath, double timeoutSeconds,
                      const std::map<std::string, std::string>& environment = {},
                      const RunCancellation* cancellation = nullptr, Output output = Output::answer);
};

struct BackgroundProcessRunner {
    // Runs a long action under a pseudo-terminal (so the CLI sees a terminal), in its own
    // session and process group, discarding its output. Stops the whole group on the deadline
    // or on `cancellation`: SIGTERM, 0.2 s, SIGKILL. Outcome output is always empty; exitCode
    // -1 when stopped, timedOut only when the deadline was reached.
    static ProcessRunner::Result run(const std::string& executable, const std::vector<std::string>& arguments,
                                     const std::string& searchPath, double timeoutSeconds,
                                     const RunCancellation& cancellation);
};

// Ignores SIGPIPE and SIGXFSZ for the whole process, so that a closed pipe or a file-size limit
// fails the write (EPIPE, EFBIG) instead of ending the app. Called once at start; children get
// default dispositions back.
void ignoreProcessSignals();

// True while a process with this id exists, also one that belongs to another user.
bool processIsRunning(pid_t pid);

// `bytes` as UTF-8 with every maximal invalid subsequence replaced by one U+FFFD.
std::string decodeUtf8Lossy(std::string_view bytes);

}  // namespace corvane
