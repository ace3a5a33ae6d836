#include "AppRun.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <pwd.h>
#include <thread>
#include <unistd.h>

#include <fcntl.h>

#include "app/ActionRunner.h"
#include "app/AppDelegate.h"
#include "ClientLog.h"
#include "DemoCli.h"
#include "platform/posix/HostPlatform.h"
#include "app/LaunchAtLoginSwitch.h"
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

    // The termination asked a running poll and a background action to stop their processes; their
    // jobs get what is left of its deadline. A job that still runs then, or a foreground action,
    // is left behind: everything that matters is already written.
    const auto& runState = runner->state();
    const bool busy = app->pollCycle().pollInFlight() || (runState && runState->isRunning());
    if (busy && (runner->runsInForeground() || !seams.background.waitUntilIdle(app->terminationWaitLeft()))) {
        std::fflush(nullptr);
        demo.stop();
        std::_Exit(status);
    }
    return status;
}

}  // namespace corvane
