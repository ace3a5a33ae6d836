// The headless app against a CLI that misbehaves, as a process or through the files it names:
// endless or huge output, floods of damaged diagnostic markers, a hung poll that ignores SIGTERM
// and leaves grandchildren behind, snapshot and request files that are folders, FIFOs, endless
// devices or huge, refresh intervals far out of range, log writes that cannot complete (a
// file-size limit, a full disk) or a log folder others may write to, rows whose verbs the system
// would misread, thousands of folders to watch or one that never stops changing.
// Whatever the case, the app keeps answering, does not run the CLI in a tight loop, stays small,
// quits within 3 s leaving none of the CLI's processes behind, and keeps its log files whole JSON
// lines. The second table starts the desktop shell on a private X server against another local
// user's files: a planted lock folder and links at the autostart entry's temporary names.

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
    // Checks while the app runs, after the openings, given the world and the app.
    std::function<void(const SimWorld&, HeadlessApp&)> whileRunning = {};
};

// The stand-in's answer asks to watch `paths`.
void watch(const SimWorld& w, const std::vector<std::string>& paths) {
    Json answer = objectOf(readText(w.root / "answer.json"));
    answer["watchPaths"] = paths;
    std::ofstream(w.root / "answer.json") << answer.dump();
}

int menuRuns(const SimWorld& w) { return static_cast<int>(std::ranges::count(readText(w.root / "runs"), '\n')); }

// The inotify instances a process holds.
int inotifyInstances(pid_t pid) {
    int count = 0;
    const fs::path fds = "/proc/" + std::to_string(pid) + "/fd";
    for (const auto& fd : fs::directory_iterator(fds, fs::directory_options::skip_permission_denied)) {
        std::error_code error;
        count += fs::read_symlink(fd.path(), error).string() == "anon_inode:inotify";
    }
    return count;
}

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
    // A log folder anyone may write to (or a link) is not written into: another user could read or
    // plant what the app writes there.
    {.name = "log folder everyone may write to", .menu = brokenCli,
     .setup = [](const SimWorld& w, const fs::path&) {
         fs::create_directories(w.logFolder());
         fs::permissions(w.logFolder(), fs::perms::all);
     },
     .shown = "corvane menu exited 3", .shownWithinSeconds = 20,
     .verify = [](const SimWorld& w, const fs::path&) { EXPECT_TRUE(fs::is_empty(w.logFolder())); }},
    // Rows whose verb the system would misread are not shown (a NUL that would cut an argument
    // short, a script URL, option-like text for the opener); a program named as a file to open is
    // refused with an alert instead of being handed to the opener, which would run it.
    {.name = "verbs the system would misread",
     .setup = [](const SimWorld& w, const fs::path&) {
         Json answer = objectOf(readText(w.root / "answer.json"));
         for (const auto& [title, verb] : std::vector<std::pair<std::string, Json>>{
                  {"Cut short", {{"run", {"doctor", std::string("a\0b", 3)}}}}, {"Script", {{"url", "javascript:alert(1)"}}},
                  {"Option", {{"file", "--help"}}}, {"Program", {{"file", "/bin/sh"}}}}) {
             Json row = verb;
             row["type"] = "action";
             row["title"] = title;
             answer["items"].push_back(row);
         }
         std::ofstream(w.root / "answer.json") << answer.dump();
     },
     .whileRunning = [](const SimWorld&, HeadlessApp& app) {
         const Json items = app.lastFrame()["items"];
         for (const char* title : {"Cut short", "Script", "Option"}) EXPECT_FALSE(rowPath(items, title, true)) << title;
         const auto program = rowPath(items, "Program", true);
         ASSERT_TRUE(program);
         app.send("pick " + *program);
         EXPECT_TRUE(app.waitEvent("alert"));
         for (const Json& line : app.lines()) EXPECT_NE(line.value("event", ""), "openFile") << line.dump();
     }},
    // Thousands of watched folders cost one inotify instance, not one each: the user's limit of
    // 128 stays free for every other program.
    {.name = "2000 folders to watch",
     .setup = [](const SimWorld& w, const fs::path&) {
         std::vector<std::string> paths;
         for (int i = 0; i < 2000; ++i) paths.push_back((w.root / "watched" / std::to_string(i)).string());
         for (const auto& path : paths) fs::create_directories(path);
         watch(w, paths);
     },
     .whileRunning = [](const SimWorld&, HeadlessApp& app) { EXPECT_EQ(inotifyInstances(app.pid()), 1); }},
    // A folder that changes every 50 ms still asks the CLI again at least once a second.
    {.name = "a watched folder that never stops changing",
     .setup = [](const SimWorld& w, const fs::path&) {
         fs::create_directories(w.root / "busy");
         watch(w, {(w.root / "busy").string()});
     },
     .whileRunning = [](const SimWorld& w, HeadlessApp&) {
         const int before = menuRuns(w);
         for (auto start = Clock::now(); secondsSince(start) < 3;) {
             std::ofstream(w.root / "busy" / "file") << secondsSince(start);
             std::this_thread::sleep_for(std::chrono::milliseconds(50));
         }
         EXPECT_GE(menuRuns(w) - before, 2);
     }},
};

class FaultTest : public ::testing::TestWithParam<Fault> {
protected:
    void TearDown() override {
        for (pid_t pid : markedProcesses(mark)) kill(pid, SIGKILL);
        if (mounted) {
            EXPECT_EQ(std::system(("umount '" + world.stateHome.string() + "'").c_str()), 0);
        }
    }

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
    if (fault.whileRunning) fault.whileRunning(world, app);
    const int runsBefore = menuRuns(world);
    std::this_thread::sleep_for(std::chrono::seconds(3));
    EXPECT_LE(menuRuns(world) - runsBefore, fault.maxRunsIn3Seconds);
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


void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

const auto rowName = [](const auto& info) {
    std::string name;
    for (const char* c = info.param.name; *c; ++c) name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
    return name;
};

INSTANTIATE_TEST_SUITE_P(Faults, FaultTest, ::testing::ValuesIn(faults), rowName);

// ---- The desktop shell on a private X server -------------------------------------------------

using Start = std::function<pid_t(std::vector<std::string>)>;  // a copy of the app, given more environment

struct DesktopFault {
    const char* name;
    std::function<void(const SimWorld&, const Start&)> setup;  // may start a copy of its own (the attacker's)
    bool installed = false;  // run from ~/.local/bin/100%/, which counts as installed: the first start registers at login
    std::function<bool(const SimWorld&)> settled = {};  // waited for up to 20 s; else 3 s pass
    std::function<void(const SimWorld&, const std::string& errors)> verify = {};
};

void PrintTo(const DesktopFault& fault, std::ostream* out) { *out << fault.name; }

constexpr const char* appId = "com.usecorvane.Menubar";
fs::path autostartEntry(const SimWorld& w) { return w.configHome / "autostart" / (std::string(appId) + ".desktop"); }

// "corvane-<uid>" in the temporary folder holds the lock and socket of a running copy, then
// becomes another user's or open to everyone: the app must start on its own, not hand over.
void plantLockFolder(const SimWorld& w, const Start& start, bool otherUser) {
    const fs::path folder = w.root / "tmp" / ("corvane-" + std::to_string(getuid()));
    fs::create_directories(folder);
    fs::permissions(folder, fs::perms::owner_all);
    start({"XDG_RUNTIME_DIR=" + folder.string()});
    ASSERT_TRUE(waitFor([&] { return fs::exists(folder / (std::string(appId) + ".socket")); }, 10));
    if (otherUser && geteuid() != 0) GTEST_SKIP() << "only root can give a folder to another user";
    if (otherUser) ASSERT_EQ(chown(folder.c_str(), 65534, 65534), 0);
    else fs::permissions(folder, fs::perms::all);
}

void ranUnguarded(const SimWorld&, const std::string& errors) {
    EXPECT_NE(errors.find("no private folder for the single-instance lock"), std::string::npos) << errors;
}

const DesktopFault desktopFaults[] = {
    {.name = "lock folder of another user",
     .setup = [](const SimWorld& w, const Start& start) { plantLockFolder(w, start, true); }, .verify = ranUnguarded},
    {.name = "lock folder everyone may write to",
     .setup = [](const SimWorld& w, const Start& start) { plantLockFolder(w, start, false); }, .verify = ranUnguarded},
    // Links at the names the entry's temporary file once had (".tmp-<pid>", for the next 2,000
    // process ids) point at a file of the user's, which stays whole; Exec= escapes the "%".
    {.name = "autostart entry from a path with % and planted links",
     .setup = [](const SimWorld& w, const Start&) {
         std::ofstream(w.home / "notes") << usersFile;
         fs::create_directories(autostartEntry(w).parent_path());
         const int last = std::stoi(readText("/proc/sys/kernel/ns_last_pid"));
         for (int pid = last + 1; pid <= last + 2000; ++pid)
             fs::create_symlink(w.home / "notes", autostartEntry(w).string() + ".tmp-" + std::to_string(pid));
     },
     .installed = true,
     .settled = [](const SimWorld& w) { return fs::is_regular_file(autostartEntry(w)); },
     .verify = [](const SimWorld& w, const std::string&) {
         EXPECT_EQ(readText(w.home / "notes"), usersFile);
         EXPECT_NE(readText(autostartEntry(w)).find("/.local/bin/100%%/corvane-menubar"), std::string::npos);
         const auto check = finish(spawnProcess("/usr/bin/desktop-file-validate", {autostartEntry(w).string()}, {}));
         EXPECT_TRUE(check.exitCode == 0 || !fs::exists("/usr/bin/desktop-file-validate")) << check.out;
     }},
};

class DesktopFaultTest : public ::testing::TestWithParam<DesktopFault> {
protected:
    void TearDown() override {
        for (pid_t pid : markedProcesses(mark)) kill(pid, SIGKILL);
    }
    SimWorld world{CORVANE_SIM_EXE};
    const std::string mark = "CORVANE_FAULT_MARK=" + world.root.filename().string();
};

TEST_P(DesktopFaultTest, TheDesktopAppStartsOnItsOwnAndWritesOnlyItsOwnFiles) {
#ifndef CORVANE_DESKTOP_SHELL
    GTEST_SKIP() << "this build has no desktop shell";
#endif
    const DesktopFault& fault = GetParam();
    // The server says its display number once it is ready.
    Spawned server = spawnProcess("/usr/bin/Xvfb", {"-displayfd", "1", "-nolisten", "tcp"}, {mark});
    std::string display;
    if (!waitFor([&] { return readSome(server.outFd, display, 100) && display.ends_with('\n'); }, 10))
        GTEST_SKIP() << "no Xvfb here";
    std::string exe = CORVANE_MENUBAR_EXE;
    if (fault.installed) {
        const fs::path copy = world.home / ".local/bin/100%/corvane-menubar";
        fs::create_directories(copy.parent_path());
        std::error_code error;
        fs::create_hard_link(exe, copy, error);
        if (error) fs::copy_file(exe, copy);
        exe = copy.string();
    }
    fs::create_directories(world.root / "tmp");
    world.extraEnvironment = {mark, "DISPLAY=:" + display.substr(0, display.size() - 1), "WAYLAND_DISPLAY",
                              "DBUS_SESSION_BUS_ADDRESS", "QT_QPA_PLATFORM=xcb", "TMPDIR=" + (world.root / "tmp").string()};
    const fs::path errors = world.root / "app.err";
    const Start start = [&](std::vector<std::string> more) {
        std::vector<std::string> env = world.appEnvironment();
        env.insert(env.end(), more.begin(), more.end());
        return spawnProcess(exe, {}, env, false, errors.string()).pid;
    };
    if (fault.setup) fault.setup(world, start);
    if (HasFatalFailure() || IsSkipped()) return;
    const pid_t app = start({"XDG_RUNTIME_DIR"});
    if (fault.settled) EXPECT_TRUE(waitFor([&] { return fault.settled(world); }, 20)) << readText(errors);
    else std::this_thread::sleep_for(std::chrono::seconds(3));
    EXPECT_TRUE(processAlive(app)) << "the app left: " << readText(errors);
    kill(app, SIGTERM);
    reap(app, 5, [] {});
    if (fault.verify) fault.verify(world, readText(errors));
}

INSTANTIATE_TEST_SUITE_P(Faults, DesktopFaultTest, ::testing::ValuesIn(desktopFaults), rowName);

}  // namespace
