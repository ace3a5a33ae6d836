#pragma once

// Running the CLI as a child process. Both runners block the calling worker thread until the
// child has ended or been stopped, and may run on several threads at once. Only a failure to
// start is an error; a non-zero exit, a timeout or a cancellation is an `Outcome` that the
// caller words.

// `stdout` and `stderr` are macros on some C libraries; including <cstdio> here makes every user
// of this header see the same field names.
#include <cstdio>

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <variant>
#include <vector>

#include "ClientDiagnostic.h"

namespace corvane {

// Shared between the action runner (which asks for a stop) and a background run (which checks
// the request every 0.02 s).
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
    struct Outcome {
        std::string stdout;  // UTF-8, invalid bytes replaced by U+FFFD; empty for background runs
        std::string stderr;
        int exitCode = 0;  // the exit status, or the signal that ended the child; -1 when stopped
        bool timedOut = false;
        bool operator==(const Outcome&) const = default;
    };

    // The child could not be started (missing, not executable, no resources...).
    struct Failure {
        ClientDiagnostic diagnostic;
        static Failure spawnFailed(ClientDiagnostic diagnostic) { return Failure{std::move(diagnostic)}; }
        bool operator==(const Failure&) const = default;
    };

    using Result = std::variant<Outcome, Failure>;

    // Runs `executable` (an absolute path) with stdin from /dev/null and stdout and stderr
    // collected separately. The child's environment is ours, with `environment` replacing
    // entries, PATH = `searchPath` and CORVANE_NATIVE_DIAGNOSTICS=1. When `timeoutSeconds` runs
    // out the child gets SIGTERM, then SIGKILL 5 s later; the outcome is then -1, timed out.
    // A start failure is tagged with the poll operation whoever the caller is.
    static Result run(const std::string& executable, const std::vector<std::string>& arguments,
                      const std::string& searchPath, double timeoutSeconds,
                      const std::map<std::string, std::string>& environment = {});
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

// True while a process with this id exists, also one that belongs to another user.
bool processIsRunning(pid_t pid);

// `bytes` as UTF-8 with every maximal invalid subsequence replaced by one U+FFFD.
std::string decodeUtf8Lossy(std::string_view bytes);

}  // namespace corvane
