// The headless app against a CLI that misbehaves, as a process or through the files it names:
// endless or huge output, floods of damaged diagnostic markers, a hung poll that ignores SIGTERM
// and leaves grandchildren behind, snapshot and request files that are folders, FIFOs, endless
// devices or huge, refresh intervals far out of range, and log writes that cannot complete (a
// file-size limit, a full disk). Whatever the case, the app keeps answering, does not run the CLI
// in a tight loop, stays small, quits within 3 s leaving none of the CLI's processes behind, and
// keeps its log files whole JSON lines.

#include "integration/ProcessHarness.h"

#include <dirent.h>

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using namespace harness;

constexpr const char* standInRow = "Stand-in row";

// Processes other than this one whose environment holds `mark`: the app's environment goes down
// to the CLI's grandchildren, so this finds whatever the app started, wherever it was reparented.
std::vector<pid_t> markedProcesses(const std::string& mark) {
    std::vector<pid_t> found;
    DIR* proc = opendir("/proc");
    if (proc == nullptr) return found;
    while (const dirent* entry = readdir(proc)) {
        const pid_t pid = static_cast<pid_t>(std::atoi(entry->d_name));
        if (pid <= 0 || pid == getpid()) continue;
        const std::string environment = readText(fs::path("/proc") / entry->d_name / "environ");
        if (environment.find(mark + '\0') != std::string::npos && processAlive(pid)) found.push_back(pid);
    }
    closedir(proc);
    return found;
}

// The stand-in's answer: one row, and snapshot files in the CLI's own state folder.
Json standInAnswer(const fs::path& state, double refreshSeconds) {
    return {{"contract", 1}, {"appEnv", "production"}, {"cliVersion", "1.4.0"}, {"icon", "running"},
            {"refreshSeconds", refreshSeconds}, {"watchPaths", Json::array()}, {"more", Json::array()},
            {"items", {{{"type", "action"}, {"title", standInRow}, {"run", {"doctor"}}}}},
            {"snapshotFiles", {{"snapshot", (state / "snapshot.json").string()},
                               {"refreshRequest", (state / "refresh-request").string()},
                               {"openRequest", (state / "open-request").string()}}},
            {"snapshotIdentity", {{"apiUrl", "https://api"}, {"webUrl", "https://app"}}}};
}

const std::string brokenCli = "echo 'corvane: broken' >&2\nexit 3";
const char* const tooLargeRow = "corvane menu answered with more than 16 MB. Reopen the menu to retry.";
const Json tooLarge = {{"operation", "menu.poll"}, {"outcome", "failed"}, {"domain", "payload"}, {"code", "TOO_LARGE"}};

struct Fault {
    const char* name;
    // What the stand-in does for `corvane menu`, in its own folder beside answer.json.
    std::string menu = "cat answer.json";
    // Puts hostile files in place, given the world and the CLI's state folder.
    std::function<void(const SimWorld&, const fs::path&)> setup = {};
    double refreshSeconds = 60;
    // The row that shows the answer or the failure: a payload whose own interval is negative is
    // never fresh, so the app words it as stale; one of 0.001 s is fresh only just after each answer.
    const char* shown = standInRow;
    double shownWithinSeconds = 10;
    int maxRunsIn3Seconds = 3;
    int openings = 2;
    std::string prelude = {};  // shell commands before the app starts, e.g. a limit
    bool fullDisk = false;     // the log folder on a tmpfs with about half a page left
    Json lastDiagnostic = {};  // of the last transition line, when given
    std::vector<std::string> environment = {};  // more changes to the app's environment
    // Checks once the app has ended, given the world and the CLI's state folder.
    std::function<void(const SimWorld&, const fs::path&)> verify = {};
};

// What a user's own file looks like, for the faults that point the app at one.
const std::string usersFile = "export PATH=\"$HOME/bin:$PATH\"\n";

const Fault faults[] = {
    {.name = "snapshot is a folder",
     .setup = [](const SimWorld&, const fs::path& state) { fs::create_directory(state / "snapshot.json"); }},
    {.name = "snapshot links to a folder",
     .setup = [](const SimWorld& w, const fs::path& state) { fs::create_directory_symlink(w.root, state / "snapshot.json"); }},
    {.name = "snapshot is a FIFO",
     .setup = [](const SimWorld&, const fs::path& state) { mkfifo((state / "snapshot.json").c_str(), 0600); }},
    {.name = "snapshot is /dev/zero",
     .setup = [](const SimWorld&, const fs::path& state) { fs::create_symlink("/dev/zero", state / "snapshot.json"); }},
    {.name = "snapshot of 100 MiB", .setup = [](const SimWorld&, const fs::path& state) {
         std::ofstream(state / "snapshot.json") << "{";
         fs::resize_file(state / "snapshot.json", 100u << 20);
     }},
    {.name = "detected-clients record is a FIFO", .setup = [](const SimWorld& w, const fs::path&) {
         fs::create_directories(w.home / ".config/corvane/state");
         mkfifo((w.home / ".config/corvane/state/detected-clients.json").c_str(), 0600);
     }},
    {.name = "refreshSeconds 1e10", .refreshSeconds = 1e10},
    {.name = "refreshSeconds 0.001", .refreshSeconds = 0.001, .shown = "", .maxRunsIn3Seconds = 5},
    {.name = "refreshSeconds -5", .refreshSeconds = -5, .shown = "The Corvane CLI isn't responding"},
    {.name = "hung poll ignoring SIGTERM with grandchildren",
     .menu = "trap '' TERM\nsleep 300 &\n(trap '' TERM; sleep 300) &\nwhile :; do sleep 1; done",
     .shown = "Connecting to the Corvane CLI"},
    // The answer is cut off at its cap, so memory stays bounded however much the CLI writes.
    {.name = "endless stdout", .menu = "exec cat /dev/zero", .shown = tooLargeRow, .shownWithinSeconds = 20,
     .lastDiagnostic = tooLarge},
    {.name = "endless stdout from a grandchild, SIGTERM ignored", .menu = "trap '' TERM\n(cat /dev/zero) &\nwait",
     .shown = tooLargeRow, .shownWithinSeconds = 20, .lastDiagnostic = tooLarge},
    // 500 lines of deeply nested markers (50 MB) on stderr cost a bounded search.
    {.name = "flood of damaged markers",
     .menu = "line=\"CORVANE_DIAGNOSTIC $(head -c 100000 /dev/zero | tr '\\0' '[')\"\n"
             "i=0; while [ $i -lt 500 ]; do echo \"$line\" >&2; i=$((i+1)); done\nexit 1",
     .shown = "corvane menu exited 1: ", .shownWithinSeconds = 60},
    // Log writes fail instead of ending the app with SIGXFSZ (512 bytes: the first lines pass).
    {.name = "file-size limit", .menu = brokenCli, .shown = "corvane menu exited 3", .shownWithinSeconds = 20,
     .openings = 15, .prelude = "ulimit -f 1"},
    {.name = "disk full", .menu = brokenCli, .shown = "corvane menu exited 3", .shownWithinSeconds = 20,
     .openings = 15, .fullDisk = true},
    // The app runs in the home folder (see below). A login shell's PATH recorded with "." must
    // not make it run a `corvane` planted there, nor give any child a relative PATH entry.
    {.name = "relative folders in the recorded PATH",
     .menu = "echo \"$PATH\" > path\ncat answer.json",
     .setup = [](const SimWorld& w, const fs::path&) {
         fs::create_directories(w.home / ".config/corvane/state");
         std::ofstream(w.home / ".config/corvane/state/detected-clients.json")
             << Json{{"path", ".:bin:" + w.cliPath.parent_path().string()}}.dump();
         std::ofstream(w.home / "corvane") << "#!/bin/sh\ntouch \"$HOME/planted-ran\"\n";
         fs::permissions(w.home / "corvane", fs::perms::owner_all);
     },
     .environment = {"CORVANE_CLI_PATH"},
     .verify = [](const SimWorld& w, const fs::path&) {
         EXPECT_FALSE(fs::exists(w.home / "planted-ran"));
         std::istringstream entries(readText(w.root / "path"));
         for (std::string entry; std::getline(entries, entry, ':');)
             EXPECT_TRUE(entry.starts_with("/")) << "relative PATH entry: " << entry;
     }},
    // The CLI names the user's own file as its open request: opening the menu leaves it whole.
    {.name = "open request is a file of the user",
     .setup = [](const SimWorld&, const fs::path& state) { std::ofstream(state / "open-request") << usersFile; },
     .verify = [](const SimWorld&, const fs::path& state) { EXPECT_EQ(readText(state / "open-request"), usersFile); }},
    // Whatever sits in the log folder, the app never waits on it, neither while running nor at
    // the last flush when it quits.
    {.name = "log lock is a FIFO", .menu = brokenCli,
     .setup = [](const SimWorld& w, const fs::path&) {
         fs::create_directories(w.logFolder());
         mkfifo((w.logFolder() / "write.lock").c_str(), 0600);
     },
     .shown = "corvane menu exited 3", .shownWithinSeconds = 20},
    {.name = "refresh log is a FIFO", .menu = brokenCli,
     .setup = [](const SimWorld& w, const fs::path&) {
         fs::create_directories(w.logFolder());
         mkfifo((w.logFolder() / "menubar-refresh.jsonl").c_str(), 0600);
     },
     .shown = "corvane menu exited 3", .shownWithinSeconds = 20},
};

class FaultTest : public ::testing::TestWithParam<Fault> {
protected:
    void TearDown() override {
        for (pid_t pid : markedProcesses(mark)) kill(pid, SIGKILL);
        if (mounted) {
            EXPECT_EQ(std::system(("umount '" + world.stateHome.string() + "'").c_str()), 0);
        }
    }

    int menuRuns() const { return static_cast<int>(std::ranges::count(readText(world.root / "runs"), '\n')); }

    SimWorld world{CORVANE_SIM_EXE};
    const std::string mark = "CORVANE_FAULT_MARK=" + world.root.filename().string();
    bool mounted = false;
};

TEST_P(FaultTest, TheAppKeepsAnsweringAndEndsCleanly) {
    const Fault& fault = GetParam();
    const fs::path state = world.root / "cli-state";
    fs::create_directories(state);
    std::ofstream(world.root / "answer.json") << standInAnswer(state, fault.refreshSeconds).dump();
    // The stand-in counts its menu runs; every other command succeeds at once.
    const fs::path script = world.root / "standin";
    std::ofstream(script) << "#!/bin/sh\ncd '" << world.root.string() << "'\n[ \"$1\" = menu ] || exit 0\n"
                          << "echo run >> runs\n" << fault.menu << "\n";
    fs::permissions(script, fs::perms::owner_all);
    fs::remove(world.cliPath);
    fs::create_symlink(script, world.cliPath);
    if (fault.setup) fault.setup(world, state);
    if (fault.fullDisk) {
        const std::string mount = "mount -t tmpfs -o size=8k tmpfs '" + world.stateHome.string() + "' 2>/dev/null";
        mounted = std::system(mount.c_str()) == 0;
        if (!mounted) GTEST_SKIP() << "no tmpfs here";
        std::ofstream(world.stateHome / "filler") << std::string(6000, 'x');
    }
    world.extraEnvironment = {mark};
    world.extraEnvironment.insert(world.extraEnvironment.end(), fault.environment.begin(), fault.environment.end());
    HeadlessApp app;
    // Started from the home folder, as a launcher would.
    ASSERT_TRUE(app.start("/bin/sh", world.appEnvironment(), world.root / "app.err",
                          {"-c", "cd \"$HOME\"\n" + fault.prelude + "\nexec \"$0\" --headless", CORVANE_MENUBAR_EXE}));
    ASSERT_TRUE(app.waitFrameWith(fault.shown, fault.shownWithinSeconds)) << app.errors();

    // Openings read the snapshot and write the open request; each must still get its frame.
    for (int opening = 0; opening < fault.openings; ++opening) {
        app.send("open");
        ASSERT_TRUE(app.waitFrame([](const Json& frame) { return frame.value("menuOpen", false); }, 3))
            << "opening " << opening << ": " << app.errors();
        app.send("close");
        ASSERT_TRUE(app.waitFrame([](const Json& frame) { return !frame.value("menuOpen", true); }, 3));
    }
    const int runsBefore = menuRuns();
    std::this_thread::sleep_for(std::chrono::seconds(3));
    EXPECT_LE(menuRuns() - runsBefore, fault.maxRunsIn3Seconds);
    EXPECT_TRUE(hasRow(app.lastFrame(), fault.shown));
    EXPECT_LT(peakMegabytes(app.pid()), 100.0);

    const auto quitAt = Clock::now();
    app.send("quit");
    EXPECT_EQ(app.waitExit(10), 0) << app.errors();
    EXPECT_LT(secondsSince(quitAt), 3.0);
    EXPECT_TRUE(waitFor([&] { return markedProcesses(mark).empty(); }, 3))
        << markedProcesses(mark).size() << " processes of the CLI outlived the app";
    for (const char* name : {"menubar.jsonl", "menubar-refresh.jsonl"}) {
        if (!fs::is_regular_file(world.logFolder() / name)) continue;  // a planted FIFO is left alone
        std::istringstream lines(readText(world.logFolder() / name));
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(Json::parse(line, nullptr, false).is_object()) << name << ": " << line;
    }
    if (fault.verify) fault.verify(world, state);
    if (!fault.lastDiagnostic.is_null()) {
        EXPECT_EQ(lastJsonLine(world.logFolder() / "menubar.jsonl")["diagnostic"], fault.lastDiagnostic);
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultTest, ::testing::ValuesIn(faults), [](const auto& info) {
    std::string name;
    for (const char* c = info.param.name; *c; ++c) name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
    return name;
});

}  // namespace
