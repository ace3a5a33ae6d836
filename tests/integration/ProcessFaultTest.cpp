// The headless app against CLIs that misbehave as processes: endless or huge output, floods of
// damaged diagnostic markers, children that ignore SIGTERM and leave grandchildren behind, a
// file-size limit and a disk that fills up. Whatever the CLI does, the app keeps answering,
// stays small, quits within 3 s, leaves none of the CLI's processes behind and keeps its log
// files whole JSON lines.

#include "integration/ProcessHarness.h"

#include <dirent.h>

#include <memory>

#include <gtest/gtest.h>

namespace {

using namespace harness;

// Every process carries the app's environment down to the CLI's grandchildren, so this variable
// finds whatever the app started, wherever it was reparented.
constexpr const char* markerName = "CORVANE_FAULT_MARK";

// Processes (not zombies) whose environment holds `mark`.
std::vector<pid_t> markedProcesses(const std::string& mark) {
    std::vector<pid_t> found;
    DIR* proc = opendir("/proc");
    if (proc == nullptr) return found;
    while (const dirent* entry = readdir(proc)) {
        const pid_t pid = static_cast<pid_t>(std::atoi(entry->d_name));
        if (pid <= 0 || pid == getpid()) continue;
        const std::string environment = readText(fs::path("/proc") / entry->d_name / "environ");
        if (environment.find(mark) != std::string::npos && processAlive(pid)) found.push_back(pid);
    }
    closedir(proc);
    return found;
}

// Peak resident memory of a live process in MB, from /proc.
double peakMegabytes(pid_t pid) {
    std::istringstream status(readText("/proc/" + std::to_string(pid) + "/status"));
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::stod(line.substr(6)) / 1024.0;
    return -1;
}

class ProcessFaultTest : public ::testing::Test {
protected:
    void TearDown() override {
        for (pid_t pid : markedProcesses(mark_)) kill(pid, SIGKILL);
    }

    // Replaces the CLI by a script whose `menu` runs `menuBody`; every other command succeeds.
    void useCli(const std::string& menuBody) {
        const fs::path script = world.root / "bin" / "standin";
        std::ofstream(script) << "#!/bin/sh\nif [ \"$1\" != menu ]; then exit 0; fi\n" << menuBody << "\n";
        fs::permissions(script, fs::perms::owner_all);
        fs::remove(world.cliPath);
        fs::create_symlink(script, world.cliPath);
    }

    // Starts the app (through `/bin/sh -c prelude` when given, e.g. to set a limit).
    void launch(const std::string& prelude = {}) {
        world.extraEnvironment = {std::string(markerName) + "=" + mark_};
        const auto env = world.appEnvironment();
        const fs::path err = world.root / "app.err";
        app = std::make_unique<HeadlessApp>();
        const bool started = prelude.empty() ? app->start(CORVANE_MENUBAR_EXE, env, err)
                                             : app->start("/bin/sh", env, err,
                                                          {"-c", prelude + "; exec \"$0\" --headless",
                                                           CORVANE_MENUBAR_EXE});
        ASSERT_TRUE(started);
    }

    // An `open` gets its frame at once, whatever the CLI is doing.
    void expectFramesAnswer() {
        app->send("open");
        EXPECT_TRUE(app->waitFrame([](const Json& frame) { return frame.value("menuOpen", false); }, 2))
            << app->errors();
        app->send("close");
        EXPECT_TRUE(app->waitFrame([](const Json& frame) { return !frame.value("menuOpen", true); }, 2));
    }

    // `quit` ends the app within 3 s, and nothing the app started is left running.
    void expectCleanQuit() {
        const auto asked = Clock::now();
        app->send("quit");
        EXPECT_EQ(app->waitExit(10), 0) << app->errors();
        EXPECT_LT(secondsSince(asked), 3.0);
        EXPECT_TRUE(waitFor([&] { return markedProcesses(mark_).empty(); }, 3))
            << markedProcesses(mark_).size() << " processes of the CLI outlived the app";
    }

    void expectWholeLogLines() {
        for (const char* name : {"menubar.jsonl", "menubar-refresh.jsonl"}) {
            std::istringstream lines(readText(world.logFolder() / name));
            for (std::string line; std::getline(lines, line);)
                EXPECT_TRUE(Json::parse(line, nullptr, false).is_object()) << name << ": " << line;
        }
    }

    SimWorld world{CORVANE_SIM_EXE};
    std::unique_ptr<HeadlessApp> app;

private:
    std::string mark_ = "fault-" + std::to_string(getpid()) + "-" + world.root.filename().string();
};

// The answer is cut off at its cap, so memory stays bounded however much the CLI writes.
TEST_F(ProcessFaultTest, EndlessOrHugeAnswers) {
    const std::vector<std::pair<const char*, std::string>> rows{
        {"endless stdout", "exec cat /dev/zero"},
        {"endless stdout, SIGTERM ignored, from a grandchild", "trap '' TERM\n(cat /dev/zero) &\nwait"},
    };
    for (const auto& [name, body] : rows) {
        SCOPED_TRACE(name);
        useCli(body);
        launch();
        ASSERT_TRUE(app->waitFrameWith("corvane menu answered with more than 16 MB. Reopen the menu to retry.", 20))
            << app->errors();
        expectFramesAnswer();
        EXPECT_LT(peakMegabytes(app->pid()), 100.0);
        expectCleanQuit();
        const auto lines = world.transitionLines();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back()["diagnostic"],
                  Json({{"operation", "menu.poll"}, {"outcome", "failed"}, {"domain", "payload"}, {"code", "TOO_LARGE"}}));
    }
}

// 500 lines of deeply nested markers (50 MB) on stderr cost a bounded search.
TEST_F(ProcessFaultTest, FloodOfDamagedMarkers) {
    useCli("line=\"CORVANE_DIAGNOSTIC $(head -c 100000 /dev/zero | tr '\\0' '[')\"\n"
           "i=0; while [ $i -lt 500 ]; do echo \"$line\" >&2; i=$((i+1)); done\nexit 1");
    launch();
    ASSERT_TRUE(app->waitFrameWith("corvane menu exited 1: ", 60)) << app->errors();
    expectFramesAnswer();
    expectCleanQuit();
}

// A hung poll whose CLI ignores SIGTERM and started children of its own: quitting ends all.
TEST_F(ProcessFaultTest, HungPollWithGrandchildrenAtQuit) {
    useCli("trap '' TERM\nsleep 300 &\n(trap '' TERM; sleep 300) &\nwhile :; do sleep 1; done");
    launch();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    expectFramesAnswer();
    expectCleanQuit();
}

// A file-size limit makes log writes fail instead of ending the app with SIGXFSZ; a disk that
// fills up keeps the log files whole lines.
TEST_F(ProcessFaultTest, LogWritesThatCannotComplete) {
    useCli("echo 'corvane: broken' >&2\nexit 3");
    struct Row { const char* name; std::string prelude; bool fullDisk; };
    const std::vector<Row> rows{
        {"ulimit -f", "ulimit -f 1", false},  // 512 bytes: the first log lines pass it
        {"disk full", "", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string where = world.stateHome.string();
        if (row.fullDisk) {
            if (std::system(("mount -t tmpfs -o size=8k tmpfs '" + where + "' 2>/dev/null").c_str()) != 0) {
                std::cout << "no tmpfs here: " << row.name << " not tried\n";
                continue;
            }
            // Leaves about half a page for the log.
            std::ofstream(world.stateHome / "filler") << std::string(6000, 'x');
        }
        launch(row.prelude);
        ASSERT_TRUE(app->waitFrameWith("corvane menu exited 3", 20)) << app->errors();
        for (int i = 0; i < 15; ++i) expectFramesAnswer();
        expectCleanQuit();
        expectWholeLogLines();
        if (row.fullDisk) {
            EXPECT_EQ(std::system(("umount '" + where + "'").c_str()), 0);
        }
    }
}

}  // namespace
