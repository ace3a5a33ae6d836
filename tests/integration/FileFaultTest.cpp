// The headless app against files and intervals that a broken or hostile CLI can leave behind: a
// snapshot path that is a folder, a FIFO, an endless device or a huge file, FIFOs where the app
// writes its open request or reads the detected-clients record, and refresh intervals far out
// of range. Whatever the case, the app keeps answering, ends within 3 s of `quit`, stays small,
// leaves no process behind and keeps its log files as JSON lines.

#include "integration/ProcessHarness.h"

#include <dirent.h>

#include <gtest/gtest.h>

namespace {

using namespace harness;

constexpr const char* standInRow = "Stand-in row";

// A CLI stand-in that answers a fixed menu naming snapshot files in its own state folder, and
// counts its runs.
class FaultWorld {
public:
    FaultWorld() : folder_("corvane-file-fault") {
        root = folder_.path();
        home = root / "home";
        state = root / "state";
        cli = root / "bin" / "corvane";
        for (const auto& dir : {home, state, root / "xdg-state", root / "xdg-config", cli.parent_path()})
            fs::create_directories(dir);
        marker = "CORVANE_FAULT_MARK=" + root.filename().string();
        std::ofstream(cli) << "#!/bin/sh\necho run >> '" << (root / "runs").string() << "'\ncat '"
                           << (root / "answer.json").string() << "'\n";
        fs::permissions(cli, fs::perms::owner_all);
    }

    void writeAnswer(double refreshSeconds) const {
        Json answer = {{"contract", 1},
                       {"appEnv", "production"},
                       {"cliVersion", "1.4.0"},
                       {"icon", "running"},
                       {"refreshSeconds", refreshSeconds},
                       {"watchPaths", Json::array()},
                       {"items", {{{"type", "action"}, {"title", standInRow}, {"run", {"doctor"}}}}},
                       {"more", Json::array()},
                       {"snapshotFiles",
                        {{"snapshot", (state / "snapshot.json").string()},
                         {"refreshRequest", (state / "refresh-request").string()},
                         {"openRequest", (state / "open-request").string()}}},
                       {"snapshotIdentity", {{"apiUrl", "https://api"}, {"webUrl", "https://app"}}}};
        std::ofstream(root / "answer.json") << answer.dump();
    }

    std::vector<std::string> environment() const {
        return {"HOME=" + home.string(),
                "XDG_STATE_HOME=" + (root / "xdg-state").string(),
                "XDG_CONFIG_HOME=" + (root / "xdg-config").string(),
                "CORVANE_CLI_PATH=" + cli.string(),
                "CORVANE_MENUBAR_ENV",
                marker};
    }
    fs::path logFolder() const { return root / "xdg-state" / "corvane" / "logs" / "production"; }
    int runs() const {
        std::istringstream lines(readText(root / "runs"));
        int count = 0;
        for (std::string line; std::getline(lines, line);) ++count;
        return count;
    }

    fs::path root, home, state, cli;
    std::string marker;  // in the environment of the app and everything it starts

private:
    TempFolder folder_;
};

// Processes other than this one whose environment carries `marker`.
std::vector<pid_t> markedProcesses(const std::string& marker) {
    std::vector<pid_t> found;
    DIR* proc = opendir("/proc");
    if (proc == nullptr) return found;
    while (const dirent* entry = readdir(proc)) {
        const std::string name = entry->d_name;
        if (name.find_first_not_of("0123456789") != std::string::npos || std::stoi(name) == getpid()) continue;
        const std::string environ = readText("/proc/" + name + "/environ");
        if (environ.find(marker + '\0') != std::string::npos && processAlive(std::stoi(name))) found.push_back(std::stoi(name));
    }
    closedir(proc);
    return found;
}

long residentKilobytes(pid_t pid) {
    std::istringstream status(readText("/proc/" + std::to_string(pid) + "/status"));
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    return -1;
}

struct Fault {
    const char* name;
    double refreshSeconds;
    std::function<void(const FaultWorld&)> setup;
    int maxRunsIn3Seconds = 3;
    // The row that shows the answer: a payload whose own interval is negative is never fresh, so
    // the app words it as stale; one of 0.001 s is fresh only just after each answer.
    const char* shown = standInRow;
};

const Fault faults[] = {
    {"snapshot is a folder", 60, [](const FaultWorld& w) { fs::create_directory(w.state / "snapshot.json"); }},
    {"snapshot links to a folder", 60,
     [](const FaultWorld& w) { fs::create_directory_symlink(w.root, w.state / "snapshot.json"); }},
    {"snapshot is a FIFO", 60, [](const FaultWorld& w) { mkfifo((w.state / "snapshot.json").c_str(), 0600); }},
    {"snapshot is /dev/zero", 60,
     [](const FaultWorld& w) { fs::create_symlink("/dev/zero", w.state / "snapshot.json"); }},
    {"snapshot of 100 MiB", 60,
     [](const FaultWorld& w) {
         std::ofstream(w.state / "snapshot.json") << "{";
         fs::resize_file(w.state / "snapshot.json", 100u << 20);
     }},
    {"open request is a FIFO", 60, [](const FaultWorld& w) { mkfifo((w.state / "open-request").c_str(), 0600); }},
    {"detected-clients record is a FIFO", 60,
     [](const FaultWorld& w) {
         fs::create_directories(w.home / ".config/corvane/state");
         mkfifo((w.home / ".config/corvane/state/detected-clients.json").c_str(), 0600);
     }},
    {"refreshSeconds 1e10", 1e10, [](const FaultWorld&) {}},
    {"refreshSeconds 0.001", 0.001, [](const FaultWorld&) {}, 5, ""},
    {"refreshSeconds -5", -5, [](const FaultWorld&) {}, 3, "The Corvane CLI isn't responding"},
};

class FileFaultTest : public ::testing::TestWithParam<Fault> {};

TEST_P(FileFaultTest, TheAppKeepsAnsweringAndEndsCleanly) {
    const Fault& fault = GetParam();
    FaultWorld world;
    world.writeAnswer(fault.refreshSeconds);
    fault.setup(world);
    HeadlessApp app;
    ASSERT_TRUE(app.start(CORVANE_MENUBAR_EXE, world.environment(), world.root / "app.err"));
    ASSERT_TRUE(app.waitFrameWith(fault.shown, 10)) << app.errors();

    // Openings read the snapshot and write the open request; each must still get its frame.
    for (int opening = 0; opening < 2; ++opening) {
        app.send("open");
        ASSERT_TRUE(app.waitFrame([](const Json& frame) { return frame.value("menuOpen", false); }, 3))
            << "opening " << opening << ": " << app.errors();
        app.send("close");
        ASSERT_TRUE(app.waitFrame([](const Json& frame) { return !frame.value("menuOpen", true); }, 3));
    }
    const int runsBefore = world.runs();
    std::this_thread::sleep_for(std::chrono::seconds(3));
    EXPECT_LE(world.runs() - runsBefore, fault.maxRunsIn3Seconds);
    EXPECT_TRUE(hasRow(app.lastFrame(), fault.shown));
    EXPECT_LT(residentKilobytes(app.pid()), 150 * 1024);

    const auto quitAt = Clock::now();
    app.send("quit");
    EXPECT_EQ(app.waitExit(3), 0) << app.errors();
    EXPECT_LT(secondsSince(quitAt), 3.0);
    EXPECT_TRUE(waitFor([&] { return markedProcesses(world.marker).empty(); }, 2));

    for (const auto* name : {"menubar.jsonl", "menubar-refresh.jsonl"}) {
        std::istringstream lines(readText(world.logFolder() / name));
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(Json::parse(line, nullptr, false).is_object()) << name << ": " << line;
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, FileFaultTest, ::testing::ValuesIn(faults), [](const auto& info) {
    std::string name;
    for (const char* c = info.param.name; *c; ++c) name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
    return name;
});

}  // namespace
