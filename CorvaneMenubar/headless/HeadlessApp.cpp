#include "headless/HeadlessApp.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <poll.h>
#include <pwd.h>
#include <spawn.h>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <fcntl.h>

#include <nlohmann/json.hpp>

#include "ActionRunner.h"
#include "AppDelegate.h"
#include "ClientLog.h"
#include "LaunchAtLoginSwitch.h"
#include "MenuDecode.h"
#include "PrintMenu.h"
#include "Uuid.h"
#include "Variant.h"
#include "headless/FixedAppearance.h"
#include "headless/HeadlessLoginItem.h"
#include "headless/HeadlessMainLoop.h"
#include "headless/InotifyDirectoryWatcher.h"
#include "headless/JsonFileDefaults.h"
#include "headless/LineSink.h"
#include "headless/MemoryMenu.h"
#include "headless/MenuTreeJson.h"
#include "headless/PrintingEffects.h"
#include "headless/ThreadBackgroundWork.h"

extern char** environ;

namespace corvane {
namespace {

using Json = nlohmann::json;

std::atomic<int> signalPipeWrite{-1};

void onTerminationSignal(int) {
    int fd = signalPipeWrite.load();
    if (fd >= 0) {
        char byte = 's';
        [[maybe_unused]] auto ignored = ::write(fd, &byte, 1);
    }
}

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

std::string executablePath() {
    char resolved[PATH_MAX];
    if (::realpath("/proc/self/exe", resolved)) return resolved;
    return {};
}

std::string defaultsPath(const std::string& appEnv) {
    auto path = JsonFileDefaults::defaultPath(appEnv, std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME"));
    if (path) return *path;
    return (std::filesystem::temp_directory_path() / ("corvane-menubar-" + appEnv + ".json")).string();
}

Instant wallClock() {
    return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

std::vector<std::string> words(std::string_view line) {
    std::vector<std::string> result;
    std::istringstream stream{std::string(line)};
    for (std::string word; stream >> word;) result.push_back(word);
    return result;
}

std::optional<RowPart> rowPart(const std::string& word) {
    if (word == "main") return RowPart::main;
    if (word == "harness") return RowPart::harness;
    if (word == "corvane") return RowPart::corvane;
    if (word == "dismiss") return RowPart::dismiss;
    return std::nullopt;
}

// The item at "3" or "7/2" in `menu`, or null.
std::shared_ptr<NativeMenuItem> itemAtPath(const std::shared_ptr<NativeMenu>& menu, const std::string& path) {
    auto current = menu;
    std::shared_ptr<NativeMenuItem> item;
    std::size_t start = 0;
    while (current) {
        auto slash = path.find('/', start);
        auto piece = path.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (piece.empty() || piece.size() > 6 || piece.find_first_not_of("0123456789") != std::string::npos)
            return nullptr;
        auto index = static_cast<std::size_t>(std::stoul(piece));
        if (index >= current->count()) return nullptr;
        item = current->itemAt(index);
        if (slash == std::string::npos) return item;
        current = item->submenu();
        start = slash + 1;
    }
    return nullptr;
}

Json event(std::string_view name) { return Json{{"event", name}}; }

Json errorEvent(const std::string& message) {
    Json line = event("error");
    line["message"] = message;
    return line;
}

std::string compact(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

// Reads stdin and the signal pipe on a thread of its own and hands every command line, the end
// of input and every termination signal to the main loop.
class InputReader {
public:
    using LineHandler = std::function<void(std::string)>;

    InputReader(MainLoop& loop, int signalFd, LineHandler onLine, Job onEnd)
        : loop_(loop), signalFd_(signalFd), onLine_(std::move(onLine)), onEnd_(std::move(onEnd)) {
        if (::pipe2(stopPipe_, O_CLOEXEC) != 0) stopPipe_[0] = stopPipe_[1] = -1;
        thread_ = std::thread([this] { serve(); });
    }
    ~InputReader() {
        if (stopPipe_[1] >= 0) {
            char byte = 'q';
            [[maybe_unused]] auto ignored = ::write(stopPipe_[1], &byte, 1);
        }
        if (thread_.joinable()) thread_.join();
        for (int fd : stopPipe_)
            if (fd >= 0) ::close(fd);
    }

private:
    void serve() {
        std::string pending;
        bool inputOpen = true;
        char buffer[4096];
        while (true) {
            pollfd fds[3] = {{inputOpen ? STDIN_FILENO : -1, POLLIN, 0}, {signalFd_, POLLIN, 0}, {stopPipe_[0], POLLIN, 0}};
            if (::poll(fds, 3, -1) < 0) {
                if (errno == EINTR) continue;
                return;
            }
            if (fds[2].revents) return;
            if (fds[1].revents) {
                [[maybe_unused]] auto ignored = ::read(signalFd_, buffer, sizeof buffer);
                loop_.post(onEnd_);
            }
            if (inputOpen && fds[0].revents) {
                auto count = ::read(STDIN_FILENO, buffer, sizeof buffer);
                if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
                if (count <= 0) {
                    inputOpen = false;
                    if (!pending.empty()) post(std::move(pending));
                    loop_.post(onEnd_);
                    continue;
                }
                pending.append(buffer, static_cast<std::size_t>(count));
                for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
                    post(pending.substr(0, end));
                    pending.erase(0, end + 1);
                }
            }
        }
    }
    void post(std::string line) {
        loop_.post([handler = onLine_, line = std::move(line)] { handler(line); });
    }

    MainLoop& loop_;
    int signalFd_;
    LineHandler onLine_;
    Job onEnd_;
    int stopPipe_[2] = {-1, -1};
    std::thread thread_;
};

std::optional<std::string> findSimulator() {
    auto exe = executablePath();
    if (!exe.empty()) {
        auto folder = std::filesystem::path(exe).parent_path();
        for (const auto& candidate : {folder / "../tools/corvane-sim", folder / "corvane-sim"}) {
            std::error_code error;
            auto resolved = std::filesystem::weakly_canonical(candidate, error);
            if (!error && isExecutableFile(resolved.string())) return resolved.string();
        }
    }
    auto path = environmentValue("PATH").value_or("/usr/local/bin:/usr/bin:/bin");
    std::size_t start = 0;
    while (start <= path.size()) {
        auto end = path.find(':', start);
        auto folder = path.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (!folder.empty() && isExecutableFile(folder + "/corvane-sim")) return folder + "/corvane-sim";
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return std::nullopt;
}

// Asks every child process of this one to stop (SIGTERM): a menu poll or a foreground action
// that the app leaves behind at exit would otherwise run on, orphaned, until its own end.
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

// ---- The simulator as the CLI ----------------------------------------------------------------

bool DemoCli::start(const std::string& appEnv) {
    auto simulator = findSimulator();
    if (!simulator) {
        std::cerr << "corvane-menubar: --demo needs corvane-sim (beside this program or on PATH)\n";
        return false;
    }
    std::string pattern = (std::filesystem::temp_directory_path() / "corvane-demo-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        std::cerr << "corvane-menubar: --demo could not create a temporary folder\n";
        return false;
    }
    folder_ = pattern;
    std::string home = folder_ + "/sim";
    std::string link = folder_ + "/corvane";
    ::mkdir(home.c_str(), 0700);
    if (::symlink(simulator->c_str(), link.c_str()) != 0) {
        std::cerr << "corvane-menubar: --demo could not link the simulator\n";
        return false;
    }
    ::setenv("CORVANE_SIM_HOME", home.c_str(), 1);
    ::setenv("CORVANE_CLI_PATH", link.c_str(), 1);

    std::vector<std::string> arguments{link, "snapshot-writer"};
    if (appEnv != productionEnvironment) {
        arguments.push_back("--env");
        arguments.push_back(appEnv);
    }
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // The writer's output must not mix with the frames on stdout.
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    int status = ::posix_spawn(&pid, link.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (status == 0) writerPid_ = pid;
    return true;
}

DemoCli::~DemoCli() { stop(); }

void DemoCli::stop() {
    if (writerPid_ > 0) {
        ::kill(writerPid_, SIGTERM);
        int status = 0;
        for (int waited = 0; waited < 200; ++waited) {
            if (::waitpid(writerPid_, &status, WNOHANG) != 0) {
                writerPid_ = -1;
                break;
            }
            ::usleep(10'000);
        }
        if (writerPid_ > 0) {
            ::kill(writerPid_, SIGKILL);
            ::waitpid(writerPid_, &status, 0);
        }
    }
    if (!folder_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
        folder_.clear();
    }
}

// ---- The headless app ------------------------------------------------------------------------

int runHeadless(const HeadlessOptions& options) {
    ignoreProcessSignals();
    Variant variant = detectVariant();
    DemoCli demo;
    if (options.demo && !demo.start(variant.appEnv)) return 1;
    std::string version = appVersion(buildInfoDictionary());

    int signalPipe[2] = {-1, -1};
    if (::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0) return 1;
    signalPipeWrite.store(signalPipe[1]);
    struct sigaction action {};
    action.sa_handler = onTerminationSignal;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);

    // Declared so that the loop outlives the background work (whose jobs post into it), and
    // every seam outlives the delegate.
    HeadlessMainLoop loop;
    ThreadBackgroundWork work;
    InotifyDirectoryWatcher watcher(loop);
    MemoryStatusItem statusItem;
    MemoryMenuFactory factory;
    FixedWidthTextMeasure measure;
    LineSink sink;
    PrintingEffects effects([&sink](std::string_view line) { sink.write(line); });
    HeadlessLoginItem loginItem;
    JsonFileDefaults defaults(defaultsPath(variant.appEnv));
    FixedAppearance appearance;
    ClientLog log(logDirectory(homeFolder(), variant.appEnv, environmentValue("XDG_STATE_HOME"), false), version,
                  variant.appEnv, osVersionString());
    auto runner = ActionRunner::create(loop, work, effects);

    bool terminated = false;
    std::shared_ptr<AppDelegate> app;
    auto terminate = [&] {
        if (terminated) return;
        terminated = true;
        app->applicationWillTerminate();
        loop.quit();
    };

    AppOperations operations;
    operations.bundlePath = executablePath();
    operations.appVersion = version;
    operations.showAbout = [&sink] { sink.write(compact(event("about"))); };
    operations.quit = [&loop, &terminate] { loop.post(terminate); };
    app = AppDelegate::create(AppSeams{loop, work, watcher, statusItem, factory, measure, effects, loginItem, defaults,
                                       appearance},
                              variant, log, runner, std::move(operations));
    factory.setCloseMenu([&] {
        if (app->menuIsOpen()) statusItem.reportMenuDidClose();
    });

    std::string lastFrame;
    std::int64_t frameCount = 0;
    auto printFrame = [&] {
        if (terminated || !statusItem.menu()) return;
        Json frame;
        frame["icon"] = std::string(iconWord(app->renderedIconState().value_or(IconState::unknown)));
        auto badge = variant.badgeLetter();
        frame["badge"] = badge ? Json(*badge) : Json(nullptr);
        frame["tooltip"] = statusItem.toolTip();
        frame["menuOpen"] = app->menuIsOpen();
        frame["items"] = menuTreeJson(*statusItem.menu());
        auto text = compact(frame);
        if (text == lastFrame) return;
        lastFrame = text;
        frame["frame"] = ++frameCount;
        sink.write(compact(frame));
    };
    app->onRendered = printFrame;

    auto command = [&](const std::string& line) {
        if (terminated) return;
        auto parts = words(line);
        if (parts.empty()) return;
        const auto& name = parts[0];
        if (name == "open" && parts.size() == 1) {
            if (!app->menuIsOpen()) statusItem.reportMenuWillOpen();
        } else if (name == "close" && parts.size() == 1) {
            if (app->menuIsOpen()) statusItem.reportMenuDidClose();
        } else if (name == "quit" && parts.size() == 1) {
            return terminate();
        } else if (name == "pick" && (parts.size() == 2 || parts.size() == 3)) {
            auto item = itemAtPath(statusItem.menu(), parts[1]);
            auto part = parts.size() == 3 ? rowPart(parts[2]) : std::optional<RowPart>(RowPart::main);
            if (!item) return sink.write(compact(errorEvent("no row at " + parts[1])));
            if (!part) return sink.write(compact(errorEvent("unknown row part " + parts[2])));
            if (app->menuIsOpen()) statusItem.reportMenuDidClose();
            if (!item->fire(Activation{*part, false})) {
                return sink.write(compact(errorEvent("row " + parts[1] + " cannot be chosen")));
            }
            Json picked = event("picked");
            picked["path"] = parts[1];
            sink.write(compact(picked));
        } else if (name == "highlight" && parts.size() == 2) {
            if (parts[1] == "-") {
                statusItem.reportHighlight(nullptr);
            } else if (auto item = itemAtPath(statusItem.menu(), parts[1])) {
                statusItem.reportHighlight(item.get());
            } else {
                return sink.write(compact(errorEvent("no row at " + parts[1])));
            }
        } else {
            return sink.write(compact(errorEvent("unknown command: " + line)));
        }
        loop.post(printFrame);
    };

    {
        InputReader reader(loop, signalPipe[0], command, terminate);
        loop.post([&] { app->applicationDidFinishLaunching(); });
        loop.run();
        if (!terminated) terminate();
    }
    signalPipeWrite.store(-1);
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
    sink.write(compact(event("exit")));

    const auto& runState = runner->state();
    if (app->pollInFlight() || (runState && runState->isRunning())) {
        // A menu poll or a foreground action cannot be interrupted and may run until its time
        // limit; everything that matters is already written, so leave without waiting for it.
        std::fflush(nullptr);
        demo.stop();
        terminateChildren();
        std::_Exit(0);
    }
    return 0;
}

// ---- One-shot modes --------------------------------------------------------------------------

int printInstalledMenu(const std::vector<std::string>& args) {
    Variant variant = detectVariant();
    auto located = CliLocator::locate(variant.appEnv, CliLocator::realLocatorEnvironment());
    if (!located) {
        std::cerr << "The Corvane CLI isn't installed. Install it with: " << cliInstallCommand << "\n";
        return 2;
    }
    auto result = ProcessRunner::run(located->cliPath, variant.menuArguments(), located->searchPath,
                                     menuPollTimeoutSeconds, {{std::string(menuRefreshIdEnvironmentKey), makeUuid()}});
    auto verdict = judgeMenuRun(result);
    if (verdict.failure) {
        std::cerr << *verdict.failure << "\n";
        return 1;
    }
    const auto& text = std::get<ProcessRunner::Outcome>(result).stdout;
    Instant now = wallClock();
    auto decoded = decodeMenuPayload(text, now);
    if (auto mismatch = std::get_if<decode::ContractMismatch>(&decoded)) {
        std::cerr << "This app is too old for the installed Corvane CLI: the CLI speaks menu format "
                  << mismatch->found << "; this app speaks " << menuContract << ".\n";
        return 1;
    }
    if (std::holds_alternative<decode::Invalid>(decoded)) {
        std::cerr << unreadableAnswerSentence << "\n";
        return 1;
    }
    std::vector<std::string> previewArgs = args;
    previewArgs.push_back("--payload");
    previewArgs.push_back("-");
    std::istringstream input(text);
    return printMenu(previewArgs, now, input, std::cout, std::cerr);
}

int unregisterLoginItem() {
    Variant variant = detectVariant();
    JsonFileDefaults defaults(defaultsPath(variant.appEnv));
    HeadlessLoginItem loginItem;
    LaunchAtLoginSwitch launchAtLogin(loginItem, [](std::string_view line) {
        std::cerr << line << "\n";
    });
    return launchAtLogin.unregisterForUninstall(defaults);
}

}  // namespace corvane
