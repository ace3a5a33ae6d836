#pragma once

// Child processes for the end-to-end tests and the benchmarks: the CLI simulator in a private
// state folder, and the headless app driven through its standard input and output. Header-only
// and free of GoogleTest so that the benchmarks can use it too.

#include <nlohmann/json.hpp>

#include "support/TempFolder.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

extern char** environ;

namespace harness {

using Json = nlohmann::json;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct ProcessResult {
    int exitCode = -1;  // -1 when ended by a signal or killed after its time limit
    std::string out;
    std::string err;
};

struct Spawned {
    pid_t pid = -1;
    int inFd = -1;  // only when asked for
    int outFd = -1;
    int errFd = -1;  // -1 when stderr went to a file
};

// This process's environment with `overrides` applied in order: "NAME=value" adds or replaces, a
// bare "NAME" removes the variable.
inline std::vector<std::string> mergedEnvironment(const std::vector<std::string>& overrides) {
    std::map<std::string, std::optional<std::string>> merged;
    auto nameOf = [](const std::string& entry) { return entry.substr(0, entry.find('=')); };
    for (char** entry = environ; *entry != nullptr; ++entry) merged.try_emplace(nameOf(*entry), *entry);
    for (const auto& entry : overrides)
        merged[nameOf(entry)] = entry.find('=') == std::string::npos ? std::nullopt : std::optional(entry);
    std::vector<std::string> env;
    for (const auto& [name, entry] : merged)
        if (entry) env.push_back(*entry);
    return env;
}

// Starts `program` with pipes for stdout (and stdin when `withInput`); stderr goes to `errFile`
// when given, else to a pipe.
inline Spawned spawnProcess(const std::string& program, const std::vector<std::string>& args,
                            const std::vector<std::string>& envOverrides, bool withInput = false,
                            const std::string& errFile = {}) {
    std::vector<std::string> env = mergedEnvironment(envOverrides);
    std::vector<std::string> argvText{program};
    argvText.insert(argvText.end(), args.begin(), args.end());
    std::vector<char*> argv, envp;
    for (auto& arg : argvText) argv.push_back(arg.data());
    for (auto& entry : env) envp.push_back(entry.data());
    argv.push_back(nullptr);
    envp.push_back(nullptr);

    // pipe + FD_CLOEXEC rather than pipe2, which macOS lacks.
    auto makePipe = [](int fds[2]) {
        return pipe(fds) == 0 && fcntl(fds[0], F_SETFD, FD_CLOEXEC) == 0 && fcntl(fds[1], F_SETFD, FD_CLOEXEC) == 0;
    };
    int inPipe[2] = {-1, -1}, outPipe[2] = {-1, -1}, errPipe[2] = {-1, -1};
    if (!makePipe(outPipe) || (withInput && !makePipe(inPipe)) || (errFile.empty() && !makePipe(errPipe))) return {};
    // Input written after the child has gone must fail, not end the test process.
    if (withInput) signal(SIGPIPE, SIG_IGN);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (withInput) posix_spawn_file_actions_adddup2(&actions, inPipe[0], 0);
    posix_spawn_file_actions_adddup2(&actions, outPipe[1], 1);
    if (errFile.empty()) posix_spawn_file_actions_adddup2(&actions, errPipe[1], 2);
    else posix_spawn_file_actions_addopen(&actions, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    Spawned child;
    if (posix_spawn(&child.pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) child.pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    for (int fd : {inPipe[0], outPipe[1], errPipe[1]})
        if (fd >= 0) close(fd);
    child.inFd = inPipe[1];
    child.outFd = outPipe[0];
    child.errFd = errPipe[0];
    return child;
}

// Appends what `fd` has within `timeoutMs` to `sink`, closing it (to -1) at the end of the output;
// false when nothing came.
inline bool readSome(int& fd, std::string& sink, int timeoutMs) {
    pollfd ready{fd, POLLIN, 0};
    if (fd < 0 || poll(&ready, 1, timeoutMs) <= 0) return false;
    char buffer[65536];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n > 0) sink.append(buffer, static_cast<size_t>(n));
    if (n == 0) {
        close(fd);
        fd = -1;
    }
    return n > 0;
}

// Waits up to `limitSeconds` for `pid` to exit, calling `meanwhile` (which reads its output) in
// between, and kills it then to catch hangs; its exit code, or -1 when killed or ended by a signal.
inline int reap(pid_t pid, double limitSeconds, const std::function<void()>& meanwhile) {
    const auto deadline = Clock::now() + std::chrono::duration<double>(limitSeconds);
    for (int status = 0;;) {
        meanwhile();
        const pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        // Reaped already (by a test that waited itself): its pid may be another process's now.
        if (done < 0 && errno == ECHILD) return -1;
        if (Clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            return -1;
        }
    }
}

// Waits for the child to exit, reading its output; kills it after `limitSeconds` to catch hangs.
inline ProcessResult finish(Spawned child, double limitSeconds = 20) {
    ProcessResult result;
    if (child.inFd >= 0) close(child.inFd);
    auto readBoth = [&](int timeoutMs) {
        // Both pipes at their end while the child lives on: wait instead of spinning on waitpid.
        if (child.outFd < 0 && child.errFd < 0) std::this_thread::sleep_for(std::chrono::milliseconds(timeoutMs));
        const bool out = readSome(child.outFd, result.out, timeoutMs);
        return readSome(child.errFd, result.err, timeoutMs) || out;
    };
    result.exitCode = reap(child.pid, limitSeconds, [&] { readBoth(20); });
    while (readBoth(0)) {
    }
    for (int fd : {child.outFd, child.errFd})
        if (fd >= 0) close(fd);
    return result;
}

inline bool waitFor(const std::function<bool()>& condition, double limitSeconds = 5) {
    const auto deadline = Clock::now() + std::chrono::duration<double>(limitSeconds);
    while (Clock::now() < deadline) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return condition();
}

inline double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

inline std::string readText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// An object, or an empty object for anything else, so that a file caught mid-write reads as empty.
inline Json objectOf(const std::string& text) {
    Json value = Json::parse(text, nullptr, false);
    return value.is_object() ? value : Json::object();
}

// Every complete line of a JSON-lines file, as objects (a damaged line reads as an empty object).
inline std::vector<Json> jsonLines(const fs::path& path) {
    std::vector<Json> result;
    std::istringstream lines(readText(path));
    for (std::string line; std::getline(lines, line);)
        if (!line.empty()) result.push_back(objectOf(line));
    return result;
}

inline Json lastJsonLine(const fs::path& path) {
    auto lines = jsonLines(path);
    return lines.empty() ? Json::object() : lines.back();
}

// True while a process with this id exists and is not a zombie (without /proc, as on macOS, a
// zombie counts as alive).
inline bool processAlive(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    if (!stat) return kill(pid, 0) == 0 || errno == EPERM;
    std::string text;
    std::getline(stat, text);
    const auto close = text.rfind(')');
    return close != std::string::npos && close + 2 < text.size() && text[close + 2] != 'Z';
}

// Peak resident memory of a live process in MB, from /proc (-1 where there is none).
inline double peakMegabytes(pid_t pid) {
    std::istringstream status(readText("/proc/" + std::to_string(pid) + "/status"));
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::stod(line.substr(6)) / 1024.0;
    return -1;
}

// A private world for one app run: a home, XDG folders, the simulator's state folder and a
// `corvane` link to the simulator that the app finds through CORVANE_CLI_PATH.
class SimWorld {
public:
    explicit SimWorld(std::string simExe) : simExe_(std::move(simExe)) {
        root = folder_.path();
        home = root / "home";
        stateHome = root / "state";
        configHome = root / "config";
        simHome = root / "sim";
        cliPath = root / "bin" / "corvane";
        for (const auto& dir : {home, stateHome, configHome, simHome, cliPath.parent_path()}) fs::create_directories(dir);
        fs::create_symlink(simExe_, cliPath);
    }

    // The environment the app runs in; the simulator it starts inherits it.
    std::vector<std::string> appEnvironment() const {
        std::vector<std::string> env{"HOME=" + home.string(),
                                     "XDG_STATE_HOME=" + stateHome.string(),
                                     "XDG_CONFIG_HOME=" + configHome.string(),
                                     "CORVANE_CLI_PATH=" + cliPath.string(),
                                     "CORVANE_SIM_HOME=" + simHome.string(),
                                     "CORVANE_MENUBAR_ENV",
                                     "CORVANE_SIM_FAULT",
                                     "CORVANE_SIM_SCENARIO"};
        env.insert(env.end(), extraEnvironment.begin(), extraEnvironment.end());
        return env;
    }

    ProcessResult sim(const std::vector<std::string>& args, double limitSeconds = 20) const {
        return finish(spawnProcess(simExe_, args, appEnvironment()), limitSeconds);
    }

    // Replaces the CLI on disk by a new wrapper script around the simulator (a new file, so a
    // new path and modification time).
    void replaceCli() const {
        const fs::path wrapper = root / "bin" / ("corvane-wrapper-" + std::to_string(++replacements_));
        std::ofstream(wrapper) << "#!/bin/sh\nexec '" << simExe_ << "' \"$@\"\n";
        fs::permissions(wrapper, fs::perms::owner_all);
        const fs::path fresh = cliPath.string() + ".new";
        fs::create_symlink(wrapper, fresh);
        fs::rename(fresh, cliPath);
    }

    std::vector<Json> invocations() const { return jsonLines(simHome / "invocations.jsonl"); }
    // The exit status of the first simulator run with exactly these arguments that ran to its end.
    std::optional<int> exitStatus(const std::vector<std::string>& argv) const {
        for (const auto& line : jsonLines(simHome / "exits.jsonl"))
            if (line.value("argv", Json::array()) == Json(argv)) return line.value("exit", -1);
        return std::nullopt;
    }
    // Simulator runs whose arguments begin with `prefix`.
    int countRuns(const std::vector<std::string>& prefix) const {
        int count = 0;
        for (const auto& line : invocations()) {
            const Json argv = line.value("argv", Json::array());
            count += argv.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), argv.begin());
        }
        return count;
    }

    fs::path logFolder() const { return stateHome / "corvane" / "logs" / "production"; }
    std::vector<Json> refreshLines() const { return jsonLines(logFolder() / "menubar-refresh.jsonl"); }
    std::vector<Json> transitionLines() const { return jsonLines(logFolder() / "menubar.jsonl"); }

    fs::path root, home, stateHome, configHome, simHome, cliPath;
    std::vector<std::string> extraEnvironment;  // more variables for the app and the simulator

private:
    corvane::testing::TempFolder folder_;
    std::string simExe_;
    mutable int replacements_ = 0;
};

// ---- Frames -----------------------------------------------------------------------------------

inline bool isFrame(const Json& line) { return line.contains("frame"); }

// Everything a row says: its title, a custom row's text and its tool tip (which carries the
// whole text of a row whose title is cut short).
inline std::string rowText(const Json& row) {
    std::string text = row.value("title", "");
    for (const char* key : {"text", "toolTip"}) {
        const std::string more = row.value(key, "");
        if (!more.empty()) text += (text.empty() ? "" : "\n") + more;
    }
    return text;
}

// The path ("3", "24/1") of the first row whose title or text holds `needle` (or, when `exact`,
// whose title is `needle`), depth first.
inline std::optional<std::string> rowPath(const Json& items, std::string_view needle, bool exact = false) {
    for (size_t i = 0; i < items.size(); ++i) {
        const Json& row = items[i];
        if (exact ? row.value("title", "") == needle : rowText(row).find(needle) != std::string::npos)
            return std::to_string(i);
        if (row.contains("submenu"))
            if (auto inner = rowPath(row["submenu"], needle, exact)) return std::to_string(i) + "/" + *inner;
    }
    return std::nullopt;
}

inline const Json* rowAt(const Json& items, const std::string& path) {
    const Json* current = &items;
    const Json* row = nullptr;
    std::istringstream pieces(path);
    for (std::string piece; std::getline(pieces, piece, '/');) {
        if (current == nullptr || !current->is_array()) return nullptr;
        const size_t index = std::stoul(piece);
        if (index >= current->size()) return nullptr;
        row = &(*current)[index];
        current = row->contains("submenu") ? &(*row)["submenu"] : nullptr;
    }
    return row;
}

inline bool hasRow(const Json& frame, std::string_view needle, bool exact = false) {
    return rowPath(frame.value("items", Json::array()), needle, exact).has_value();
}

// ---- The headless app -------------------------------------------------------------------------

// `corvane-menubar --headless` as a child: commands go to its stdin, its stdout lines are parsed
// as JSON and kept in order. Waits consume lines, so a later wait never matches an earlier line.
class HeadlessApp {
public:
    HeadlessApp() = default;
    ~HeadlessApp() {
        if (child_.pid > 0 && !exited_) reap(child_.pid, 0, [] {});
        for (int fd : {child_.inFd, child_.outFd})
            if (fd >= 0) close(fd);
    }
    HeadlessApp(const HeadlessApp&) = delete;
    HeadlessApp& operator=(const HeadlessApp&) = delete;

    bool start(const std::string& exe, const std::vector<std::string>& env, const fs::path& errFile,
               std::vector<std::string> args = {"--headless"}) {
        errFile_ = errFile;
        child_ = spawnProcess(exe, args, env, true, errFile.string());
        return child_.pid > 0;
    }
    pid_t pid() const { return child_.pid; }

    void send(const std::string& command) {
        const std::string line = command + "\n";
        if (child_.inFd >= 0) [[maybe_unused]] auto written = write(child_.inFd, line.data(), line.size());
    }
    void closeInput() {
        if (child_.inFd >= 0) close(child_.inFd);
        child_.inFd = -1;
    }

    // The next line that satisfies `matches`, reading up to `limitSeconds`; lines before it are
    // passed over.
    std::optional<Json> waitLine(const std::function<bool(const Json&)>& matches, double limitSeconds = 10) {
        const auto deadline = Clock::now() + std::chrono::duration<double>(limitSeconds);
        while (true) {
            for (; cursor_ < lines_.size(); ++cursor_) {
                if (matches(lines_[cursor_])) return lines_[cursor_++];
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
            if (left <= 0 || !readSome(static_cast<int>(left))) return std::nullopt;
        }
    }
    std::optional<Json> waitFrame(const std::function<bool(const Json&)>& matches, double limitSeconds = 10) {
        return waitLine([&](const Json& line) { return isFrame(line) && matches(line); }, limitSeconds);
    }
    std::optional<Json> waitFrameWith(std::string_view needle, double limitSeconds = 10) {
        return waitFrame([&](const Json& frame) { return hasRow(frame, needle); }, limitSeconds);
    }
    std::optional<Json> waitEvent(std::string_view name, double limitSeconds = 10) {
        return waitLine([&](const Json& line) { return line.value("event", "") == name; }, limitSeconds);
    }

    // The newest frame printed so far (after reading whatever is ready).
    Json lastFrame() {
        readSome(0);
        for (auto it = lines_.rbegin(); it != lines_.rend(); ++it)
            if (isFrame(*it)) return *it;
        return Json::object();
    }
    const std::vector<Json>& lines() const { return lines_; }

    // Waits for the exit (reading the rest of the output); -1 when it did not exit in time (it is
    // then killed) or ended by a signal.
    int waitExit(double limitSeconds = 10) {
        if (!exited_) exitStatus_ = reap(child_.pid, limitSeconds, [&] { readSome(20); });
        exited_ = true;
        while (readSome(0)) {
        }
        return exitStatus_;
    }

    std::string errors() const { return readText(errFile_); }

private:
    // Reads what is available within `timeoutMs`; false when nothing new came.
    bool readSome(int timeoutMs) {
        if (!harness::readSome(child_.outFd, pending_, timeoutMs)) return false;
        for (auto end = pending_.find('\n'); end != std::string::npos; end = pending_.find('\n')) {
            lines_.push_back(Json::parse(pending_.substr(0, end), nullptr, false));
            if (lines_.back().is_discarded()) lines_.back() = Json{{"unparsed", pending_.substr(0, end)}};
            pending_.erase(0, end + 1);
        }
        return true;
    }

    Spawned child_;
    fs::path errFile_;
    std::string pending_;
    std::vector<Json> lines_;
    size_t cursor_ = 0;
    bool exited_ = false;
    int exitStatus_ = -1;
};

}  // namespace harness
