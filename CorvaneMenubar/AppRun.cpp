#include "AppRun.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <pwd.h>
#include <sstream>
#include <thread>
#include <unistd.h>

#include <fcntl.h>

#include "ActionRunner.h"
#include "AppDelegate.h"
#include "ClientLog.h"
#include "DemoCli.h"
#include "HostPlatform.h"
#include "LaunchAtLoginSwitch.h"
#include "ProcessRunner.h"

namespace corvane {
namespace {

std::atomic<int> signalPipeWrite{-1};

void onTerminationSignal(int) {
    int fd = signalPipeWrite.load();
    if (fd >= 0) {
        const char byte = 's';
        [[maybe_unused]] auto ignored = ::write(fd, &byte, 1);
    }
}

// SIGTERM and SIGINT, turned into a call of `onSignal` on a thread of its own (a signal handler
// may not take the main loop's lock). Restores the default dispositions when destroyed.
class TerminationSignals {
public:
    explicit TerminationSignals(std::function<void()> onSignal) : onSignal_(std::move(onSignal)) {
        if (!openPipe(pipe_, false)) return;
        // The handler must never block on a full pipe; the reader blocks on its end.
        ::fcntl(pipe_[1], F_SETFL, ::fcntl(pipe_[1], F_GETFL) | O_NONBLOCK);
        signalPipeWrite.store(pipe_[1]);
        struct sigaction action {};
        action.sa_handler = onTerminationSignal;
        ::sigemptyset(&action.sa_mask);
        ::sigaction(SIGTERM, &action, nullptr);
        ::sigaction(SIGINT, &action, nullptr);
        thread_ = std::thread([this] { serve(); });
    }
    ~TerminationSignals() {
        if (pipe_[1] < 0) return;
        std::signal(SIGTERM, SIG_DFL);
        std::signal(SIGINT, SIG_DFL);
        signalPipeWrite.store(-1);
        const char stop = 'q';
        while (::write(pipe_[1], &stop, 1) < 0 && errno == EINTR) {
        }
        thread_.join();
        ::close(pipe_[0]);
        ::close(pipe_[1]);
    }
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    void serve() {
        for (;;) {
            char byte = 0;
            const auto count = ::read(pipe_[0], &byte, 1);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0 || byte == 'q') return;
            onSignal_();
        }
    }

    std::function<void()> onSignal_;
    int pipe_[2] = {-1, -1};
    std::thread thread_;
};

std::optional<std::string> environmentValue(const char* name) {
    const char* value = std::getenv(name);
    if (!value) return std::nullopt;
    return std::string(value);
}

std::string homeFolder() {
    if (auto home = environmentValue("HOME"); home && !home->empty()) return *home;
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir) return entry->pw_dir;
    return "/";
}

// Asks every child process of this one to stop (SIGTERM): a menu poll or a foreground action
// that the app leaves behind at exit would otherwise run on, orphaned, until its own end. Where
// there is no /proc (macOS) it does nothing.
void terminateChildren() {
    const std::string self = std::to_string(::getpid());
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename().string();
        if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::ifstream stat(entry.path() / "stat");
        std::string line;
        if (!std::getline(stat, line)) continue;
        // "pid (command) state ppid ...": the command may hold spaces and parentheses.
        auto close = line.rfind(')');
        if (close == std::string::npos) continue;
        std::istringstream rest(line.substr(close + 1));
        std::string state, parent;
        if (rest >> state >> parent && parent == self) ::kill(static_cast<pid_t>(std::stol(name)), SIGTERM);
    }
}

}  // namespace

int runApp(Shell& shell, const RunOptions& options) {
    ignoreProcessSignals();

    const auto info = shell.infoDictionary();
    const Variant variant = Variant::detect(info, currentProcessEnvironment());
    if (!shell.prepare(variant)) return 1;
    auto systemLog = [&shell](std::string_view line) { shell.systemLog(line); };

    if (options.unregisterLoginItem) {
        LaunchAtLoginSwitch launchAtLogin(shell.loginItem(), systemLog);
        return launchAtLogin.unregisterForUninstall(shell.defaults());
    }

    DemoCli demo;
    if (options.demo && !demo.start(variant.appEnv)) return 1;
    const std::string version = appVersion(info);
    const AppSeams seams = shell.seams();
    ClientLog log(logDirectory(homeFolder(), variant.appEnv, environmentValue("XDG_STATE_HOME"), hostIsMacOS()),
                  version, variant.appEnv, shell.osVersion());
    auto runner = ActionRunner::create(seams.loop, seams.background, seams.effects);

    bool terminated = false;
    std::shared_ptr<AppDelegate> app;
    const std::function<void()> terminate = [&] {
        if (terminated) return;
        terminated = true;
        app->applicationWillTerminate();
        shell.quit();
    };
    auto postTerminate = [&loop = seams.loop, &terminate] { loop.post(terminate); };

    AppOperations operations;
    operations.bundlePath = shell.bundlePath();
    operations.appVersion = version;
    operations.showAbout = [&shell] { shell.showAbout(); };
    operations.quit = postTerminate;
    operations.systemLog = systemLog;
    app = AppDelegate::create(seams, variant, log, runner, std::move(operations));

    int status = 0;
    {
        TerminationSignals signals(postTerminate);
        seams.loop.post([&app] { app->applicationDidFinishLaunching(); });
        status = shell.exec(*app, terminate);
        terminate();
    }

    const auto& runState = runner->state();
    if (app->pollInFlight() || (runState && runState->isRunning())) {
        // A menu poll or a foreground action cannot be interrupted and may run until its time
        // limit; everything that matters is already written, so leave without waiting for it.
        std::fflush(nullptr);
        demo.stop();
        terminateChildren();
        std::_Exit(status);
    }
    return status;
}

}  // namespace corvane
