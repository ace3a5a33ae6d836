#include "FileFacts.h"

#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <climits>
#include <cstdlib>

#include "FileTime.h"

namespace corvane {

namespace {

std::string decimal(double value) {
    char buffer[64];
    auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
    if (error != std::errc()) return "0";
    return std::string(buffer, end);
}

}  // namespace

bool isExecutableFile(const std::string& path) {
    struct stat info {};
    return !path.empty() && ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
}

bool isDirectory(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string parentFolder(const std::string& path) {
    auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

std::optional<Instant> modifiedTime(const std::string& path) {
    struct stat info {};
    if (path.empty() || ::stat(path.c_str(), &info) != 0) return std::nullopt;
    const timespec modified = statModificationTime(info);
    return Instant(std::chrono::seconds(modified.tv_sec)) +
           std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::nanoseconds(modified.tv_nsec));
}

std::optional<std::string> cliFileStamp(const std::string& path) {
    if (path.empty()) return std::nullopt;
    char resolved[PATH_MAX];
    if (!::realpath(path.c_str(), resolved)) return std::nullopt;
    struct stat info {};
    if (::stat(resolved, &info) != 0) return std::nullopt;
    const timespec modified = statModificationTime(info);
    double seconds = static_cast<double>(modified.tv_sec) + static_cast<double>(modified.tv_nsec) / 1e9;
    return std::string(resolved) + "@" + decimal(seconds);
}

}  // namespace corvane
