#include "SimSupport.h"

#include "FileTime.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

namespace corvane::sim {

volatile std::sig_atomic_t stopRequested = 0;

double nowSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

std::string isoTime(double secondsSince1970) {
    const double whole = std::floor(secondsSince1970);
    auto millis = static_cast<int>((secondsSince1970 - whole) * 1000.0);
    if (millis > 999) millis = 999;
    const auto seconds = static_cast<time_t>(whole);
    tm parts{};
    gmtime_r(&seconds, &parts);
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", parts.tm_year + 1900, parts.tm_mon + 1,
                  parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, millis);
    return text;
}

std::optional<std::string> envText(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr) return std::nullopt;
    return std::string(value);
}

std::optional<double> parseNumber(const std::string& text) {
    if (text.empty()) return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text.c_str(), &end);
    if (errno != 0 || end != text.c_str() + text.size() || !std::isfinite(value)) return std::nullopt;
    return value;
}

double envSeconds(const char* name, double fallback) {
    const auto text = envText(name);
    if (!text) return fallback;
    const auto value = parseNumber(*text);
    return value && *value >= 0 ? *value : fallback;
}

std::optional<std::string> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

static bool writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

bool writeFileAtomically(const std::string& path, const std::string& contents) {
    const std::string temporary = path + ".tmp-" + std::to_string(::getpid());
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    const bool written = writeAll(fd, contents);
    const bool closed = ::close(fd) == 0;
    if (!written || !closed || ::rename(temporary.c_str(), path.c_str()) != 0) {
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

bool appendLine(const std::string& path, const std::string& line) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    const bool written = writeAll(fd, line + "\n");
    return ::close(fd) == 0 && written;
}

bool makeFolders(const std::string& path) {
    for (size_t at = 1; at <= path.size(); ++at) {
        if (at != path.size() && path[at] != '/') continue;
        const std::string prefix = path.substr(0, at);
        if (::mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
    struct stat info{};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::optional<long long> modifiedNanos(const std::string& path) {
    struct stat info{};
    if (::stat(path.c_str(), &info) != 0) return std::nullopt;
    const timespec modified = statModificationTime(info);
    return static_cast<long long>(modified.tv_sec) * 1000000000LL + modified.tv_nsec;
}

void touchFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return;
    ::futimens(fd, nullptr);
    ::close(fd);
}

std::string randomUuid() {
    unsigned char bytes[16] = {};
    if (::getentropy(bytes, sizeof bytes) != 0) {
        // Good enough for a stand-in: a boot id only has to differ between runs.
        std::srand(static_cast<unsigned>(::getpid()) ^ static_cast<unsigned>(std::time(nullptr)));
        for (auto& byte : bytes) byte = static_cast<unsigned char>(std::rand());
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80);
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0f];
    }
    return text;
}

static void onStopSignal(int) { stopRequested = 1; }

void catchStopSignals() {
    struct sigaction action{};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

bool sleepUnlessStopped(double seconds) {
    const double until = nowSeconds() + seconds;
    while (!stopRequested) {
        const double left = until - nowSeconds();
        if (left <= 0) return true;
        const double step = left < 0.05 ? left : 0.05;
        timespec pause{static_cast<time_t>(step), static_cast<long>((step - std::floor(step)) * 1e9)};
        ::nanosleep(&pause, nullptr);
    }
    return false;
}

std::optional<SimPaths> preparePaths(std::string* error) {
    std::string home;
    if (auto configured = envText("CORVANE_SIM_HOME"); configured && !configured->empty()) {
        home = *configured;
    } else if (auto user = envText("HOME"); user && !user->empty()) {
        home = *user + "/.corvane-sim";
    } else {
        *error = "set CORVANE_SIM_HOME to the folder where corvane-sim keeps its state";
        return std::nullopt;
    }
    if (home.front() != '/') {
        char cwd[4096];
        if (::getcwd(cwd, sizeof cwd) == nullptr) {
            *error = "cannot resolve the state folder " + home;
            return std::nullopt;
        }
        home = std::string(cwd) + "/" + home;
    }
    while (home.size() > 1 && home.back() == '/') home.pop_back();
    SimPaths paths{home};
    if (!makeFolders(paths.home) || !makeFolders(paths.watchFolder())) {
        *error = "cannot create the state folder " + home;
        return std::nullopt;
    }
    return paths;
}

SimState loadState(const SimPaths& paths) {
    if (const auto text = readFile(paths.stateFile())) {
        const Json stored = Json::parse(*text, nullptr, false);
        if (stored.is_object() && stored.contains("version") && stored["version"].is_string()) {
            SimState state{stored["version"].get<std::string>(), std::nullopt, std::nullopt};
            if (stored.contains("updateTarget") && stored["updateTarget"].is_string())
                state.updateTarget = stored["updateTarget"].get<std::string>();
            if (stored.contains("upToDateAt") && stored["upToDateAt"].is_number())
                state.upToDateAt = stored["upToDateAt"].get<double>();
            return state;
        }
    }
    SimState state{envText("CORVANE_SIM_VERSION").value_or("1.4.0"), "1.5.0", std::nullopt};
    if (const auto target = envText("CORVANE_SIM_UPDATE_TARGET"))
        state.updateTarget = (target->empty() || *target == "none") ? std::nullopt : std::optional(*target);
    if (!state.updateTarget) state.upToDateAt = nowSeconds();
    saveState(paths, state);
    return state;
}

bool saveState(const SimPaths& paths, const SimState& state) {
    Json stored = {{"version", state.version}};
    stored["updateTarget"] = state.updateTarget ? Json(*state.updateTarget) : Json(nullptr);
    if (state.upToDateAt) stored["upToDateAt"] = *state.upToDateAt;
    return writeFileAtomically(paths.stateFile(), stored.dump(2) + "\n");
}

}  // namespace corvane::sim
