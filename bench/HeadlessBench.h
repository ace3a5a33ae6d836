#pragma once

// Shared by the benchmarks that run the headless app as a process against the CLI simulator:
// where the executables are, what /proc says about a process, and small statistics.

#include "../tests/integration/ProcessHarness.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>

namespace headlessbench {

using namespace harness;

struct Executables {
    std::string app;
    std::string sim;
};

// The build folder's executables; "--bin-dir DIR" picks another build.
inline Executables executables(const std::map<std::string, std::string>& options) {
    std::string dir = CORVANE_BIN_DIR;
    if (auto found = options.find("--bin-dir"); found != options.end()) dir = found->second;
    return {dir + "/CorvaneMenubar/corvane-menubar", dir + "/tools/corvane-sim"};
}

// "--name value" pairs; a lone "--name" reads as "1".
inline std::map<std::string, std::string> parseOptions(int argc, char** argv) {
    std::map<std::string, std::string> options;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (i + 1 < argc && std::strncmp(argv[i + 1], "--", 2) != 0) {
            options[name] = argv[++i];
        } else {
            options[name] = "1";
        }
    }
    return options;
}

inline double numberOption(const std::map<std::string, std::string>& options, const std::string& name, double fallback) {
    auto found = options.find(name);
    return found == options.end() ? fallback : std::stod(found->second);
}

// User plus system CPU seconds of the process itself (all its threads, no children).
inline double cpuSeconds(pid_t pid) {
    const std::string text = readText("/proc/" + std::to_string(pid) + "/stat");
    const auto close = text.rfind(')');
    if (close == std::string::npos) return -1;
    std::istringstream fields(text.substr(close + 2));
    std::string field;
    unsigned long long utime = 0, stime = 0;
    // After the name: state is field 3; utime and stime are fields 14 and 15.
    for (int index = 3; index <= 15 && fields >> field; ++index) {
        if (index == 14) utime = std::stoull(field);
        if (index == 15) stime = std::stoull(field);
    }
    return static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// A "Vm…:" figure of /proc/<pid>/status in kB, or -1.
inline long statusKb(pid_t pid, const std::string& key) {
    std::istringstream lines(readText("/proc/" + std::to_string(pid) + "/status"));
    for (std::string line; std::getline(lines, line);)
        if (line.rfind(key + ":", 0) == 0) return std::stol(line.substr(key.size() + 1));
    return -1;
}

inline double percentile(std::vector<double> values, double fraction) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const auto index = static_cast<size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5);
    return values[std::min(index, values.size() - 1)];
}

inline std::string loadAverage() {
    std::string text = readText("/proc/loadavg");
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

// Writes `answer` as the simulator's scenario in one step, so that no reader sees half a file.
inline void writeScenario(const fs::path& path, const Json& answer) {
    const fs::path temporary = path.string() + ".tmp";
    std::ofstream(temporary) << answer.dump();
    fs::rename(temporary, path);
}

// The demo answer with its header retitled, so that each sample draws a different frame.
inline Json retitled(Json answer, const std::string& title) {
    for (auto& item : answer["items"])
        if (item.value("type", "") == "header") {
            item["title"] = title;
            break;
        }
    return answer;
}

// The same answer without its snapshot source, so that every trigger runs the CLI as a process.
inline Json withoutSnapshotSource(Json answer) {
    answer.erase("snapshotFiles");
    answer.erase("snapshotIdentity");
    return answer;
}

// The simulator's demo answer, or null (with a message) when it gave none.
inline Json demoAnswer(SimWorld& world, const Executables& exe) {
    Json answer = Json::parse(world.sim({"menu"}).out, nullptr, false);
    if (!answer.is_object()) {
        std::fprintf(stderr, "the simulator gave no answer (%s)\n", exe.sim.c_str());
        return Json();
    }
    return answer;
}

// Makes the simulator answer `answer` retitled `title` (from `scenario`), starts the headless
// app on it and waits for that frame; false (with a message) when the app showed none.
inline bool startOnScenario(HeadlessApp& app, SimWorld& world, const Executables& exe, const fs::path& scenario,
                            const Json& answer, const std::string& title) {
    writeScenario(scenario, retitled(answer, title));
    world.extraEnvironment = {"CORVANE_SIM_SCENARIO=" + scenario.string()};
    if (app.start(exe.app, world.appEnvironment(), world.root / "app.err") && app.waitFrameWith(title, 20)) return true;
    std::fprintf(stderr, "the app showed no payload: %s\n", app.errors().c_str());
    return false;
}

}  // namespace headlessbench
