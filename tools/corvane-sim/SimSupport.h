#pragma once

// Small POSIX helpers for the CLI stand-in: its state folder, wall-clock times, files and signals.
// The stand-in plays another program, so it shares no code with the app's libraries.

#include <nlohmann/json.hpp>

#include <csignal>
#include <optional>
#include <string>
#include <vector>

namespace corvane::sim {

using Json = nlohmann::json;

// Wall clock in seconds since 1970, with sub-second precision.
double nowSeconds();
// "2026-11-21T19:44:18.123Z": UTC, milliseconds, the form every time on the wire takes.
std::string isoTime(double secondsSince1970);

std::optional<std::string> envText(const char* name);
// A non-negative number from the environment, or `fallback` when unset or unreadable.
double envSeconds(const char* name, double fallback);
std::optional<double> parseNumber(const std::string& text);

std::optional<std::string> readFile(const std::string& path);
// Writes a sibling temporary file and renames it over `path`, so readers never see half a file.
bool writeFileAtomically(const std::string& path, const std::string& contents);
// One write(2) with O_APPEND, so lines from concurrent invocations never interleave.
bool appendLine(const std::string& path, const std::string& line);
bool makeFolders(const std::string& path);
// Modification time in nanoseconds, or nothing when the file is missing.
std::optional<long long> modifiedNanos(const std::string& path);
void touchFile(const std::string& path);

std::string randomUuid();

// Set by SIGTERM and SIGINT once `catchStopSignals` has run.
extern volatile std::sig_atomic_t stopRequested;
void catchStopSignals();
// Sleeps up to `seconds`, in short steps, returning early (false) when a stop was requested.
bool sleepUnlessStopped(double seconds);

// The files the stand-in keeps, all under one folder (CORVANE_SIM_HOME, else ~/.corvane-sim).
struct SimPaths {
    std::string home;
    std::string stateFile() const { return home + "/state.json"; }
    std::string invocationLog() const { return home + "/invocations.jsonl"; }
    // One line per command that ran to its end (a command ended by a signal leaves none).
    std::string exitLog() const { return home + "/exits.jsonl"; }
    std::string clickLog() const { return home + "/clicks.jsonl"; }
    std::string openRequestLog() const { return home + "/open-requests.jsonl"; }
    std::string faultFile() const { return home + "/fault"; }
    std::string watchFolder() const { return home + "/watch"; }
    std::string snapshotFile() const { return home + "/snapshot.json"; }
    std::string refreshRequestFile() const { return home + "/refresh-request"; }
    std::string openRequestFile() const { return home + "/open-request"; }
    std::string updateLog() const { return home + "/update.log"; }
};

// Resolves the folder to an absolute path and creates it with its "watch" subfolder.
std::optional<SimPaths> preparePaths(std::string* error);

// What persists between invocations: the installed version and the offered update, if any.
struct SimState {
    std::string version;
    std::optional<std::string> updateTarget;
    std::optional<double> upToDateAt;
};

// Reads state.json; on first use seeds it from CORVANE_SIM_VERSION and CORVANE_SIM_UPDATE_TARGET.
SimState loadState(const SimPaths& paths);
bool saveState(const SimPaths& paths, const SimState& state);

}  // namespace corvane::sim
