// corvane-sim: a stand-in for the Corvane CLI. It answers `menu` with the JSON menu contract,
// keeps a snapshot file current, records click reports and open requests, simulates updates and
// misbehaves on request, so that the menu bar app can be tested and demonstrated without the CLI.

#include "DemoMenu.h"
#include "SimSupport.h"
#include "SnapshotWriter.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace corvane::sim;

namespace {

const char* const usageText = R"(usage: corvane-sim COMMAND [ARGS...]

Plays the Corvane CLI for the menu bar app's tests and demo.

Commands the app runs:
  menu [--env NAME]                 print one menu answer (contract 1) on stdout
  report-agent-click ARGS...        record a click report in clicks.jsonl
  update [--background]             install the offered update (takes CORVANE_SIM_UPDATE_SECONDS)
  sessions sync | sessions open ID  print a line, exit 0
  doctor [--fail]                   print checks; --fail exits 3 with a diagnostic marker line
  index rebuild                     work for CORVANE_SIM_TASK_SECONDS (3), exit 0
  agents resume | notices dismiss ID | init
                                    print a line, exit 0
  sleep SECONDS                     sleep, then write a line to stdout and stderr and exit 0
                                    (SIGTERM ends it)
  print MB                          print MB MiB of text on stdout, exit 0
  --version                         print the installed version
  --help                            print this text

Snapshot files:
  snapshot-writer [--env NAME] [--interval S] [--stale-after S]
                                    keep snapshot.json current until SIGTERM/SIGINT: every S
                                    seconds (10), and at once when refresh-request, open-request
                                    or state.json changes; open requests go to open-requests.jsonl
  snapshot-write-once [--env NAME] [--stale-after S] [--bump] [--pid N]
                                    write one snapshot (sequence 1 with a new boot id, or with
                                    --bump the existing boot id and its sequence + 1) and exit

Test controls:
  sim fault WORD|none               set or clear the fault of `menu` (the fault file)
  sim offer VERSION|none            offer an update to VERSION, or withdraw the offer
  sim version VERSION               set the installed version

Faults of `menu` (the fault file wins over CORVANE_SIM_FAULT):
  hang  ignore-term  exit:N  garbage  contract2  slow:S  big:MB  bigspace:MB
  (exit:N ends with a diagnostic marker whose cause is a 10 KiB stack)

Every command that runs to its end appends {"pid", "argv", "exit"} to exits.jsonl.

Environment:
  CORVANE_SIM_HOME            state folder (default ~/.corvane-sim)
  CORVANE_SIM_SCENARIO        JSON file printed by `menu` instead of the demo
  CORVANE_SIM_FAULT           fault of `menu` when there is no fault file
  CORVANE_SIM_VERSION         first installed version (1.4.0)
  CORVANE_SIM_UPDATE_TARGET   first offered update (1.5.0; "none" for no offer)
  CORVANE_SIM_UPDATE_SECONDS  duration of `update` (1)
  CORVANE_SIM_UPDATE_FAIL     1: `update` fails with exit 1
  CORVANE_SIM_REFRESH_SECONDS refreshSeconds of the demo answer (30)
  CORVANE_SIM_TASK_SECONDS    duration of `index rebuild` (3)
)";

// The marker of a failed `menu`, with a long cause as a CLI may add for its own support.
std::string simulatedFailure() {
    std::string stack;
    while (stack.size() < 10 * 1024) stack += "    at refreshMenu (file:///usr/lib/corvane/dist/menu.js:42:17)\\n";
    return R"(CORVANE_DIAGNOSTIC {"version":1,"failure":{"outcome":"failed","domain":"Corvane","code":"SIM_FAILURE",)"
           R"("cause":{"message":"simulated failure","stack":")" + stack + R"("}}})";
}

int usageError(const std::string& message) {
    std::fprintf(stderr, "corvane-sim: %s\n\n%s", message.c_str(), usageText);
    return 2;
}

void printAll(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

// What the CLI does after changing its state: ask the snapshot writer for a fresh snapshot (which
// also tells a reader that the current one is outdated) and wake anyone watching the watch path.
void announceChange(const SimPaths& paths) {
    touchFile(paths.refreshRequestFile());
    touchFile(paths.watchFolder() + "/changed");
}

void marker(const std::string& code) {
    std::fprintf(stderr, "CORVANE_DIAGNOSTIC {\"version\":1,\"failure\":{\"outcome\":\"failed\",\"domain\":\"Corvane\",\"code\":\"%s\"}}\n",
                 code.c_str());
}

[[noreturn]] void hangForever() {
    for (;;) ::pause();
}

std::string trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ' || text.back() == '\r')) text.pop_back();
    while (!text.empty() && text.front() == ' ') text.erase(0, 1);
    return text;
}

std::string currentFault(const SimPaths& paths) {
    if (auto fromFile = readFile(paths.faultFile())) {
        if (auto word = trimmed(*fromFile); !word.empty() && word != "none") return word;
        return "";
    }
    return trimmed(envText("CORVANE_SIM_FAULT").value_or(""));
}

// Splits "big:12" into its word and number; `number` stays unset without a readable number.
void splitFault(const std::string& fault, std::string* word, std::optional<double>* number) {
    const auto colon = fault.find(':');
    *word = fault.substr(0, colon);
    if (colon != std::string::npos) *number = parseNumber(fault.substr(colon + 1));
}

// Pads the answer's "more" rows until its text holds at least `megabytes` MiB.
std::string paddedAnswer(Json answer, double megabytes) {
    const auto wanted = static_cast<size_t>(megabytes * 1024 * 1024);
    const Json row = {{"type", "action"}, {"title", "Padding row " + std::string(960, 'x')}, {"copy", "padding"}};
    const size_t rowSize = row.dump().size() + 1;
    const size_t baseSize = answer.dump().size();
    for (size_t size = baseSize; size < wanted; size += rowSize) answer["more"].push_back(row);
    return answer.dump() + "\n";
}

struct Options {
    std::string appEnv = "production";
    std::vector<std::string> rest;
};

bool parseEnvOption(const std::vector<std::string>& args, size_t& at, Options& options) {
    if (args[at] == "--env" && at + 1 < args.size()) {
        options.appEnv = args[++at];
        return true;
    }
    if (args[at].rfind("--env=", 0) == 0) {
        options.appEnv = args[at].substr(6);
        return true;
    }
    return false;
}

int menuCommand(const SimPaths& paths, const std::vector<std::string>& args) {
    Options options;
    for (size_t at = 0; at < args.size(); ++at)
        if (!parseEnvOption(args, at, options)) return usageError("menu: unknown option " + args[at]);
    if (options.appEnv.empty()) return usageError("menu: --env needs a name");

    std::string word;
    std::optional<double> number;
    splitFault(currentFault(paths), &word, &number);
    if (word == "hang") hangForever();
    if (word == "ignore-term") {
        std::signal(SIGTERM, SIG_IGN);
        hangForever();
    }
    if (word == "exit") {
        std::fprintf(stderr, "corvane: simulated failure\n%s\n", simulatedFailure().c_str());
        return number ? static_cast<int>(*number) : 1;
    }
    if (word == "garbage") {
        printAll("\x01\x02 Error: this is not a menu {\"contract\": 1, \"items\": [\n");
        return 0;
    }
    if (word == "slow") sleepUnlessStopped(number.value_or(5));

    const SimState state = loadState(paths);
    std::string error;
    auto answer = menuAnswer(paths, state, options.appEnv, nowSeconds(), &error);
    if (!answer) {
        std::fprintf(stderr, "corvane-sim: %s\n", error.c_str());
        marker("SIM_SCENARIO");
        return 1;
    }
    if (word == "contract2") (*answer)["contract"] = 2;
    if (word == "big") {
        printAll(paddedAnswer(*answer, number.value_or(8)));
        return 0;
    }
    printAll(answer->dump() + "\n");
    if (word == "bigspace") {
        const std::string chunk(64 * 1024, ' ');
        const auto chunks = static_cast<size_t>(number.value_or(8) * 16);
        for (size_t i = 0; i < chunks; ++i) std::fwrite(chunk.data(), 1, chunk.size(), stdout);
        printAll("\n");
    }
    return 0;
}

bool readSecondsOption(const std::vector<std::string>& args, size_t& at, const std::string& name, double* value) {
    if (args[at] != name || at + 1 >= args.size()) return false;
    const auto parsed = parseNumber(args[++at]);
    if (!parsed || *parsed < 0) return false;
    *value = *parsed;
    return true;
}

int writerCommand(const SimPaths& paths, const std::vector<std::string>& args) {
    WriterOptions options;
    Options envOptions;
    for (size_t at = 0; at < args.size(); ++at) {
        if (parseEnvOption(args, at, envOptions)) continue;
        if (readSecondsOption(args, at, "--interval", &options.intervalSeconds)) continue;
        if (readSecondsOption(args, at, "--stale-after", &options.staleAfterSeconds)) continue;
        return usageError("snapshot-writer: unknown or incomplete option " + args[at]);
    }
    options.appEnv = envOptions.appEnv;
    if (options.intervalSeconds < 0.05) options.intervalSeconds = 0.05;
    return runSnapshotWriter(paths, options);
}

int writeOnceCommand(const SimPaths& paths, const std::vector<std::string>& args) {
    WriterOptions options;
    Options envOptions;
    bool bump = false;
    std::optional<int> pid;
    for (size_t at = 0; at < args.size(); ++at) {
        if (parseEnvOption(args, at, envOptions)) continue;
        if (readSecondsOption(args, at, "--stale-after", &options.staleAfterSeconds)) continue;
        if (args[at] == "--bump") {
            bump = true;
            continue;
        }
        if (args[at] == "--pid" && at + 1 < args.size()) {
            if (auto value = parseNumber(args[++at])) {
                pid = static_cast<int>(*value);
                continue;
            }
        }
        return usageError("snapshot-write-once: unknown or incomplete option " + args[at]);
    }
    options.appEnv = envOptions.appEnv;
    SnapshotStampSource source{randomUuid(), 1, pid.value_or(static_cast<int>(::getpid()))};
    if (bump) {
        const Json previous = Json::parse(readFile(paths.snapshotFile()).value_or(""), nullptr, false);
        if (previous.is_object() && previous.contains("snapshot") && previous["snapshot"].is_object()) {
            const Json& stamp = previous["snapshot"];
            if (stamp.contains("bootId") && stamp["bootId"].is_string()) source.bootId = stamp["bootId"];
            if (stamp.contains("sequence") && stamp["sequence"].is_number_integer())
                source.sequence = stamp["sequence"].get<long long>() + 1;
        }
    }
    std::string error;
    if (!writeSnapshot(paths, options, source, &error)) {
        std::fprintf(stderr, "corvane-sim: %s\n", error.c_str());
        return 1;
    }
    // Wake a reader that watches the watch path, so that it draws the new snapshot at once.
    touchFile(paths.watchFolder() + "/changed");
    std::printf("%s\n", paths.snapshotFile().c_str());
    return 0;
}

int updateCommand(const SimPaths& paths, const std::vector<std::string>& args) {
    for (const auto& arg : args)
        if (arg != "--background") return usageError("update: unknown option " + arg);
    SimState state = loadState(paths);
    if (!state.updateTarget) {
        std::printf("Corvane CLI %s is up to date.\n", state.version.c_str());
        return 0;
    }
    const std::string target = *state.updateTarget;
    catchStopSignals();
    appendLine(paths.updateLog(), isoTime(nowSeconds()) + " updating Corvane CLI " + state.version + " -> " + target);
    if (!sleepUnlessStopped(envSeconds("CORVANE_SIM_UPDATE_SECONDS", 1))) {
        appendLine(paths.updateLog(), isoTime(nowSeconds()) + " interrupted");
        return 143;
    }
    if (envText("CORVANE_SIM_UPDATE_FAIL").value_or("") == "1") {
        appendLine(paths.updateLog(), isoTime(nowSeconds()) + " failed");
        std::fprintf(stderr, "corvane: the update could not be installed\n");
        marker("UPDATE_FAILED");
        return 1;
    }
    state.version = target;
    state.updateTarget.reset();
    state.upToDateAt = nowSeconds();
    if (!saveState(paths, state)) {
        std::fprintf(stderr, "corvane: cannot record the new version\n");
        marker("UPDATE_FAILED");
        return 1;
    }
    appendLine(paths.updateLog(), isoTime(nowSeconds()) + " installed " + target);
    announceChange(paths);
    std::printf("Updated Corvane CLI to %s.\n", target.c_str());
    return 0;
}

int simCommand(const SimPaths& paths, const std::vector<std::string>& args) {
    if (args.size() != 2) return usageError("sim: expected `sim fault|offer|version VALUE`");
    const std::string& value = args[1];
    if (args[0] == "fault") return writeFileAtomically(paths.faultFile(), value + "\n") ? 0 : 1;
    SimState state = loadState(paths);
    if (args[0] == "offer") {
        state.updateTarget = value == "none" ? std::nullopt : std::optional(value);
        if (!state.updateTarget) state.upToDateAt = nowSeconds();
    } else if (args[0] == "version") {
        state.version = value;
    } else {
        return usageError("sim: unknown control " + args[0]);
    }
    if (!saveState(paths, state)) return 1;
    announceChange(paths);
    return 0;
}

void logInvocation(const SimPaths& paths, const std::vector<std::string>& args) {
    auto envValue = [](const char* name) {
        const auto value = envText(name);
        return value ? Json(*value) : Json(nullptr);
    };
    const Json line = {{"at", isoTime(nowSeconds())},
                       {"pid", static_cast<int>(::getpid())},
                       {"argv", args},
                       {"env",
                        {{"CORVANE_MENU_REFRESH_ID", envValue("CORVANE_MENU_REFRESH_ID")},
                         {"CORVANE_NATIVE_DIAGNOSTICS", envValue("CORVANE_NATIVE_DIAGNOSTICS")}}}};
    appendLine(paths.invocationLog(), line.dump());
}

}  // namespace

int runCommand(const SimPaths& paths, const std::vector<std::string>& all);

int main(int argc, char** argv) {
    const std::vector<std::string> all(argv + 1, argv + argc);
    if (all.empty()) return usageError("a command is required");
    const std::string& command = all[0];
    if (command == "--help" || command == "-h" || command == "help") {
        std::printf("%s", usageText);
        return 0;
    }
    std::string error;
    const auto paths = preparePaths(&error);
    if (!paths) {
        std::fprintf(stderr, "corvane-sim: %s\n", error.c_str());
        return 1;
    }
    logInvocation(*paths, all);
    const int status = runCommand(*paths, all);
    // Written last: output still buffered for a closed pipe ends the process before this line.
    std::fflush(nullptr);
    appendLine(paths->exitLog(), Json{{"pid", static_cast<int>(::getpid())}, {"argv", all}, {"exit", status}}.dump());
    return status;
}

int runCommand(const SimPaths& paths, const std::vector<std::string>& all) {
    const std::string& command = all[0];
    const std::vector<std::string> args(all.begin() + 1, all.end());
    auto is = [&](std::initializer_list<const char*> words) {
        if (args.size() + 1 != words.size()) return false;
        size_t at = 0;
        for (const char* word : words) {
            if ((at == 0 ? command : args[at - 1]) != word) return false;
            ++at;
        }
        return true;
    };

    if (command == "--version" || command == "version") {
        std::printf("%s\n", loadState(paths).version.c_str());
        return 0;
    }
    if (command == "menu") return menuCommand(paths, args);
    if (command == "snapshot-writer") return writerCommand(paths, args);
    if (command == "snapshot-write-once") return writeOnceCommand(paths, args);
    if (command == "update") return updateCommand(paths, args);
    if (command == "sim") return simCommand(paths, args);
    if (command == "report-agent-click") {
        const Json line = {{"at", isoTime(nowSeconds())}, {"args", args}};
        return appendLine(paths.clickLog(), line.dump()) ? 0 : 1;
    }
    if (is({"sessions", "sync"})) {
        announceChange(paths);
        std::printf("Synced 3 sessions.\n");
        return 0;
    }
    if (command == "sessions" && args.size() == 2 && args[0] == "open") {
        std::printf("Opening session %s…\n", args[1].c_str());
        return 0;
    }
    if (is({"doctor"})) {
        std::printf("✓ CLI installed\n✓ Signed in\n✓ Agents reachable\n");
        return 0;
    }
    if (is({"doctor", "--fail"})) {
        std::printf("✓ CLI installed\n✗ Agents reachable\n");
        std::fprintf(stderr, "corvane: 1 check failed\n");
        marker("DOCTOR_FAILED");
        return 3;
    }
    if (is({"index", "rebuild"})) {
        catchStopSignals();
        if (!sleepUnlessStopped(envSeconds("CORVANE_SIM_TASK_SECONDS", 3))) return 143;
        std::printf("Search index rebuilt.\n");
        return 0;
    }
    if (is({"agents", "resume"})) {
        announceChange(paths);
        std::printf("Resumed 1 agent.\n");
        return 0;
    }
    if (command == "notices" && args.size() == 2 && args[0] == "dismiss") {
        announceChange(paths);
        std::printf("Dismissed %s.\n", args[1].c_str());
        return 0;
    }
    if (is({"init"})) {
        std::printf("Corvane is set up.\n");
        return 0;
    }
    if (command == "sleep" && args.size() == 1) {
        const auto seconds = parseNumber(args[0]);
        if (!seconds || *seconds < 0) return usageError("sleep: expected a number of seconds");
        sleepUnlessStopped(*seconds);  // SIGTERM keeps its default action and ends the process
        std::printf("Slept %s s.\n", args[0].c_str());
        std::fprintf(stderr, "corvane-sim: slept %s s\n", args[0].c_str());
        return 0;
    }
    if (command == "print" && args.size() == 1) {
        const auto megabytes = parseNumber(args[0]);
        if (!megabytes || *megabytes < 0) return usageError("print: expected a number of MiB");
        const std::string line = std::string(63, 'x') + "\n";
        for (auto left = static_cast<size_t>(*megabytes * 1024 * 1024); left > 0;) {
            const size_t count = std::min(left, line.size());
            if (std::fwrite(line.data(), 1, count, stdout) != count) return 1;
            left -= count;
        }
        std::fflush(stdout);
        return 0;
    }
    std::string joined;
    for (const auto& word : all) joined += (joined.empty() ? "" : " ") + word;
    return usageError("unknown command: " + joined);
}
