#include "SnapshotWriter.h"

#include "DemoMenu.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>

namespace corvane::sim {

bool writeSnapshot(const SimPaths& paths, const WriterOptions& options, const SnapshotStampSource& source,
                   std::string* error) {
    // Start reading on a whole millisecond: the stamp keeps milliseconds, and a request file
    // touched earlier in the same millisecond must not look newer than the read that saw it.
    const double arrival = nowSeconds();
    const double readStartedAt = std::ceil(arrival * 1000) / 1000;
    sleepUnlessStopped(readStartedAt - arrival);
    const SimState state = loadState(paths);
    auto answer = menuAnswer(paths, state, options.appEnv, readStartedAt, error);
    if (!answer) return false;
    Json identity = snapshotIdentityFor(options.appEnv);
    const double writtenAt = nowSeconds();
    Json stamp = {{"version", 1},
                  {"bootId", source.bootId},
                  {"pid", source.pid},
                  {"sequence", source.sequence},
                  {"writtenAt", isoTime(writtenAt)},
                  {"staleAfter", isoTime(writtenAt + options.staleAfterSeconds)},
                  {"readStartedAt", isoTime(readStartedAt)},
                  {"apiUrl", identity["apiUrl"]},
                  {"webUrl", identity["webUrl"]},
                  {"enrollment", identity["enrollment"]}};
    (*answer)["snapshot"] = stamp;
    if (!writeFileAtomically(paths.snapshotFile(), answer->dump() + "\n")) {
        *error = "cannot write " + paths.snapshotFile();
        return false;
    }
    return true;
}

int runSnapshotWriter(const SimPaths& paths, const WriterOptions& options) {
    catchStopSignals();
    SnapshotStampSource source{randomUuid(), 0, static_cast<int>(::getpid())};
    auto lastRefresh = modifiedNanos(paths.refreshRequestFile());
    auto lastOpen = modifiedNanos(paths.openRequestFile());
    auto lastState = modifiedNanos(paths.stateFile());
    double nextWriteAt = 0;
    // A writer whose starter died (an app killed without its cleanup) would write forever into
    // a folder nobody reads: it ends when it is handed to another parent.
    const pid_t parent = ::getppid();

    while (!stopRequested && ::getppid() == parent) {
        bool due = nowSeconds() >= nextWriteAt;
        if (auto refresh = modifiedNanos(paths.refreshRequestFile()); refresh != lastRefresh) {
            lastRefresh = refresh;
            due = due || refresh.has_value();
        }
        if (auto open = modifiedNanos(paths.openRequestFile()); open != lastOpen) {
            lastOpen = open;
            if (open) {
                const auto content = readFile(paths.openRequestFile()).value_or("");
                appendLine(paths.openRequestLog(), Json{{"at", isoTime(nowSeconds())}, {"content", content}}.dump());
                due = true;
            }
        }
        if (auto stateChange = modifiedNanos(paths.stateFile()); stateChange != lastState) {
            lastState = stateChange;
            due = true;
        }
        if (due) {
            source.sequence += 1;
            std::string error;
            if (!writeSnapshot(paths, options, source, &error)) std::fprintf(stderr, "corvane-sim: %s\n", error.c_str());
            nextWriteAt = nowSeconds() + options.intervalSeconds;
            // Our own write of state.json on first use must not count as a change.
            lastState = modifiedNanos(paths.stateFile());
        }
        sleepUnlessStopped(0.05);
    }
    return 0;
}

}  // namespace corvane::sim
