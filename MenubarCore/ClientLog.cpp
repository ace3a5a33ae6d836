#include "ClientLog.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "Patterns.h"
#include "UntrustedInput.h"
#include "Uuid.h"
#include "WordTable.h"

namespace corvane {
namespace {

using Json = nlohmann::json;

constexpr WordTable<PollTrigger, 6> triggerWords{{
    {PollTrigger::launch, "launch"},
    {PollTrigger::timer, "timer"},
    {PollTrigger::directoryChange, "directory-change"},
    {PollTrigger::menuOpen, "menu-open"},
    {PollTrigger::actionFinished, "action-finished"},
    {PollTrigger::retry, "retry"},
}};

constexpr std::string_view lockFileName = "write.lock";

bool isFailure(DiagnosticOutcome outcome) {
    return outcome != DiagnosticOutcome::available && outcome != DiagnosticOutcome::notNeeded;
}

int levelOf(DiagnosticOutcome outcome) {
    switch (outcome) {
        case DiagnosticOutcome::failed: return 50;
        case DiagnosticOutcome::denied: return 40;
        default: return 30;
    }
}

std::string guardedVersion(const std::string& version) {
    return patterns::isVersionText(version) ? version : std::string("unrecognized");
}

int writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (written == 0) return EIO;  // no progress and no error: give up rather than spin
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

// Opens `name` inside the folder `folder` for writing, without following a link and without
// blocking, and keeps it only when it is a regular file: a FIFO planted as a log file or as the
// lock must never hold the app (without a reader its open fails at once; with one it is refused
// here). Returns the descriptor, or -1 with errno set.
int openRegularIn(int folder, std::string_view name, int flags) {
    const std::string fileName(name);
    const int fd = ::openat(folder, fileName.c_str(),
                            flags | O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0600);
    if (fd < 0) return -1;
    struct stat info {};
    int error = ::fstat(fd, &info) != 0 ? errno : S_ISREG(info.st_mode) ? 0 : EINVAL;
    if (error == 0) return fd;
    ::close(fd);
    errno = error;
    return -1;
}

// renameat where a missing source just means there is nothing to move.
int moveAside(int folder, const std::string& from, const std::string& to) {
    if (::renameat(folder, from.c_str(), folder, to.c_str()) == 0 || errno == ENOENT) return 0;
    return errno;
}

// Appends one whole line to `directory/file` under the folder's advisory lock. Returns 0 or an
// errno. The folder must be the user's own and writable by nobody else (it is created so when
// missing); every file in it is reached through the folder's descriptor, so a folder swapped for
// a link meanwhile changes nothing. The lock is tried once and never waited for: a busy lock
// loses the line. The size check covers the whole line before writing, so a line is never split
// across a rotation.
int appendLine(const std::string& directory, std::string_view fileName, std::string_view bytes,
               std::int64_t maxBytes) {
    const int folder = openTrustedFolder(directory, true, false);
    if (folder < 0) return errno;
    const int lockFd = openRegularIn(folder, lockFileName, 0);
    if (lockFd < 0) {
        const int error = errno;
        ::close(folder);
        return error;
    }
    int locked;
    do {
        locked = ::flock(lockFd, LOCK_EX | LOCK_NB);
    } while (locked != 0 && errno == EINTR);
    if (locked != 0) {
        const int error = errno;
        ::close(lockFd);
        ::close(folder);
        return error;
    }

    auto result = [&]() -> int {
        const std::string name(fileName);
        struct stat info {};
        const std::int64_t size =
            ::fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 ? static_cast<std::int64_t>(info.st_size) : 0;
        if (size + static_cast<std::int64_t>(bytes.size()) > maxBytes) {
            const std::string first = name + ".1";
            const std::string second = name + ".2";
            if (::unlinkat(folder, second.c_str(), 0) != 0 && errno != ENOENT) return errno;
            if (int error = moveAside(folder, first, second)) return error;
            if (int error = moveAside(folder, name, first)) return error;
        }
        const int fd = openRegularIn(folder, name, O_APPEND);
        if (fd < 0) return errno;
        int error = ::fchmod(fd, 0600) == 0 ? 0 : errno;
        struct stat before {};
        if (error == 0 && ::fstat(fd, &before) != 0) error = errno;
        if (error == 0) {
            error = writeAll(fd, bytes);
            // A full disk or a file-size limit may have taken part of the line: cut it off again,
            // so that the next line does not continue it and the file stays one JSON value a line.
            if (error != 0) {
                [[maybe_unused]] int cut = ::ftruncate(fd, before.st_size);
            }
        }
        ::close(fd);
        return error;
    }();

    ::flock(lockFd, LOCK_UN);
    ::close(lockFd);
    ::close(folder);
    return result;
}

}  // namespace

std::string_view wireWord(PollTrigger trigger) { return wordIn(triggerWords, trigger); }

Json toJson(const RefreshSnapshot& snapshot) {
    Json value = Json::object();
    value["outcome"] = snapshot.skipped ? wireWord(*snapshot.skipped) : std::string_view("drawn");
    if (snapshot.sequence) value["sequence"] = *snapshot.sequence;
    if (snapshot.ageMs) value["ageMs"] = *snapshot.ageMs;
    return value;
}

Json toJson(const CliRefreshReport& report) {
    Json stages = Json::object();
    for (const auto& [stage, ms] : report.stageMs) stages[stage] = ms;
    Json requests = Json::array();
    for (const auto& request : report.requests) {
        Json item = Json::object();
        item["route"] = request.route;
        if (request.status) item["status"] = *request.status;
        if (request.requestId) item["requestId"] = *request.requestId;
        item["durationMs"] = request.durationMs;
        requests.push_back(std::move(item));
    }
    return Json{{"stageMs", std::move(stages)}, {"requests", std::move(requests)}};
}

std::string logDirectory(std::string_view home, std::string_view appEnv,
                         const std::optional<std::string>& xdgStateHome, bool isMacOS) {
    std::string base(home);
    while (base.size() > 1 && base.back() == '/') base.pop_back();
    if (isMacOS) return base + "/Library/Logs/Corvane/" + std::string(appEnv);
    std::string state = xdgStateHome && !xdgStateHome->empty() && xdgStateHome->front() == '/'
                            ? *xdgStateHome
                            : base + "/.local/state";
    while (state.size() > 1 && state.back() == '/') state.pop_back();
    return state + "/corvane/logs/" + std::string(appEnv);
}

std::string osVersionText(std::string_view osRelease, std::string_view kernelName, std::string_view kernelRelease) {
    std::string pretty;
    while (!osRelease.empty()) {
        std::size_t end = osRelease.find('\n');
        std::string_view line = osRelease.substr(0, end);
        osRelease = end == std::string_view::npos ? std::string_view{} : osRelease.substr(end + 1);
        constexpr std::string_view key = "PRETTY_NAME=";
        if (line.substr(0, key.size()) != key) continue;
        std::string_view value = line.substr(key.size());
        while (!value.empty() && (value.back() == '\r' || value.back() == ' ')) value.remove_suffix(1);
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
            value = value.substr(1, value.size() - 2);
        pretty.clear();
        // Shell-style quoting: a backslash keeps the next character.
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (value[i] == '\\' && i + 1 < value.size()) ++i;
            pretty += value[i];
        }
    }
    std::string kernel(kernelName);
    if (!kernelRelease.empty()) {
        if (!kernel.empty()) kernel += ' ';
        kernel += kernelRelease;
    }
    if (pretty.empty()) return kernel.empty() ? std::string("unknown") : kernel;
    if (kernel.empty()) return pretty;
    return pretty + "; " + kernel;
}

std::string osVersionString() {
    std::string osRelease;
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        std::ifstream file(path);
        if (!file) continue;
        std::ostringstream text;
        text << file.rdbuf();
        osRelease = text.str();
        break;
    }
    struct utsname names {};
    if (::uname(&names) != 0) return osVersionText(osRelease, {}, {});
    return osVersionText(osRelease, names.sysname, names.release);
}

struct ClientLog::RefreshFields {
    PollTrigger trigger;
    std::optional<std::int64_t> durationMs;
    const std::optional<CliRefreshReport>& cli;
    const std::optional<RefreshSnapshot>& snapshot;
};

ClientLog::ClientLog(std::string directory, std::string appVersion, std::string appEnv, std::string osVersion,
                     std::int64_t maxBytes)
    : directory_(std::move(directory)),
      appVersion_(std::move(appVersion)),
      appEnv_(std::move(appEnv)),
      osVersion_(std::move(osVersion)),
      runId_(makeUuid()),
      maxBytes_(maxBytes) {}

std::optional<std::string> ClientLog::emit(std::string_view file, std::string_view event, std::string_view id,
                                           Instant at, const ClientDiagnostic& diagnostic, std::int64_t count,
                                           const RefreshFields* refresh) {
    Json line = Json::object();
    line["time"] = millisecondsSince1970(at);
    line["level"] = levelOf(diagnostic.outcome);
    line["component"] = "menubar";
    line["appVersion"] = guardedVersion(appVersion_);
    if (cliVersion_) line["cliVersion"] = guardedVersion(*cliVersion_);
    line["osVersion"] = osVersion_;
    line["appEnv"] = appEnv_;
    line["runId"] = runId_;
    line["requestId"] = id;
    line["event"] = event;
    line["diagnostic"] = toJson(diagnostic);
    line["count"] = count;
    line["lostWrites"] = lostWrites_;
    if (refresh) {
        line["trigger"] = wireWord(refresh->trigger);
        if (refresh->durationMs) line["durationMs"] = *refresh->durationMs;
        if (refresh->cli) line["cli"] = toJson(*refresh->cli);
        if (refresh->snapshot) line["snapshot"] = toJson(*refresh->snapshot);
    }

    int error = 0;
    std::string text;
    try {
        // Objects keep their keys in a std::map, so the dump is sorted bytewise at every level and
        // has no spaces. Invalid UTF-8 (say in an OS version string) makes the encoder throw.
        std::string dumped = line.dump();
        // Forward slashes are written escaped. A "/" byte can only occur inside a string in this
        // JSON (numbers, literals and structure never hold one), so replacing every one is safe.
        text.reserve(dumped.size() + 16);
        for (char c : dumped) {
            if (c == '/') text += '\\';
            text += c;
        }
    } catch (const Json::exception&) {
        error = EILSEQ;
    }
    if (error == 0) {
        text += '\n';
        error = appendLine(directory_, file, text, maxBytes_);
        text.pop_back();
    }
    if (error != 0) {
        ++lostWrites_;
        ClientDiagnostic failure = ClientDiagnostic::system(diagnostic.operation, SystemError::posix(error));
        auto it = failures_.find(file);
        if (it == failures_.end())
            failures_.emplace(std::string(file), std::move(failure));
        else
            it->second = std::move(failure);
        return std::nullopt;
    }
    if (auto it = failures_.find(file); it != failures_.end()) failures_.erase(it);
    return text;
}

void ClientLog::emitTransition(std::string_view event, std::string_view id, Instant at,
                               const ClientDiagnostic& diagnostic, std::int64_t count) {
    auto text = emit(transitionsFile, event, id, at, diagnostic, count, nullptr);
    if (!text) return;
    recent_.push_back(std::move(*text));
    while (recent_.size() > recentLimit) recent_.pop_front();
}

void ClientLog::record(std::string_view id, Instant at, const ClientDiagnostic& diagnostic) {
    std::optional<Streak>& streak = streaks_[static_cast<std::size_t>(diagnostic.operation)];
    auto transitionsFailing = [&] { return failures_.find(transitionsFile) != failures_.end(); };
    // This path runs for every repetition of a failure and allocates nothing.
    if (streak && streak->diagnostic == diagnostic && !transitionsFailing()) {
        if (isFailure(diagnostic.outcome)) {
            ++streak->pending;
            if (at - streak->lastWritten >= std::chrono::seconds(static_cast<int>(repeatIntervalSeconds))) {
                emitTransition("repeat", id, at, diagnostic, streak->pending);
                streak->pending = 0;
                streak->lastWritten = at;
            }
        }
        return;
    }
    // Suppressed repetitions are never lost when the state changes.
    if (streak && streak->pending >= 1) emitTransition("repeat", id, at, streak->diagnostic, streak->pending);
    // A healthy first run of an operation is not news.
    const bool quietFirstSuccess = !isFailure(diagnostic.outcome) && !streak && !transitionsFailing();
    if (!quietFirstSuccess)
        emitTransition(diagnostic.outcome == DiagnosticOutcome::available ? "recovery" : "transition", id, at,
                       diagnostic, 1);
    streak = Streak{diagnostic, 0, at};
}

void ClientLog::recordRefresh(std::string_view id, PollTrigger trigger, std::optional<std::int64_t> durationMs,
                              const std::optional<CliRefreshReport>& cli,
                              const std::optional<RefreshSnapshot>& snapshot, Instant at,
                              const ClientDiagnostic& diagnostic) {
    RefreshFields fields{trigger, durationMs, cli, snapshot};
    auto text = emit(refreshFile, "refresh", id, at, diagnostic, 1, &fields);
    if (!text) return;
    recentRefreshes_.push_back(std::move(*text));
    while (recentRefreshes_.size() > recentRefreshLimit) recentRefreshes_.pop_front();
}

void ClientLog::flush(Instant at) {
    for (auto& streak : streaks_) {
        if (!streak || streak->pending < 1) continue;
        emitTransition("repeat", runId_, at, streak->diagnostic, streak->pending);
        streak->pending = 0;
    }
}

std::optional<ClientDiagnostic> ClientLog::writeFailure() const {
    if (auto it = failures_.find(transitionsFile); it != failures_.end()) return it->second;
    if (auto it = failures_.find(refreshFile); it != failures_.end()) return it->second;
    return std::nullopt;
}

std::string ClientLog::supportSummary() const {
    std::string text;
    auto addLine = [&](std::string_view line) {
        if (!text.empty()) text += '\n';
        text += line;
    };
    auto failure = writeFailure();
    for (const auto& line : recent_) addLine(line);
    if (failure) {
        addLine("Local diagnostic logging unavailable: " + failure->summary() + ". Lost writes: " +
                std::to_string(lostWrites_) + ".");
    } else if (recent_.empty()) {
        addLine("No client error transitions recorded this run.");
    }
    if (!recentRefreshes_.empty()) {
        addLine("Recent menu refreshes:");
        for (const auto& line : recentRefreshes_) addLine(line);
    }
    return text;
}

}  // namespace corvane
