#pragma once

#include "SimSupport.h"

namespace corvane::sim {

struct WriterOptions {
    std::string appEnv = "production";
    double intervalSeconds = 10;
    double staleAfterSeconds = 60;
};

// Who wrote a snapshot: `bootId` names one writer run, `sequence` counts its snapshots from 1.
struct SnapshotStampSource {
    std::string bootId;
    long long sequence = 1;
    int pid = 0;
};

// Writes the menu answer plus its "snapshot" stamp atomically to the snapshot path.
bool writeSnapshot(const SimPaths& paths, const WriterOptions& options, const SnapshotStampSource& source,
                   std::string* error);

// The long-lived writer: rewrites every interval, at once when the refresh-request or state file
// changes, and logs every open request. Returns the exit status (0 after SIGTERM or SIGINT).
int runSnapshotWriter(const SimPaths& paths, const WriterOptions& options);

}  // namespace corvane::sim
