#pragma once

// Small /bin/sh scripts in a temporary folder that stand in for the CLI in process tests.

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include "ProcessRunner.h"

namespace corvane::testing {

// Polls `done` every 10 ms for up to `limit` seconds.
template <class Condition>
bool pollUntil(Condition done, double limit) {
    auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(limit);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

class ScriptFolder {
public:
    explicit ScriptFolder(const std::string& label) {
        static int counter = 0;
        root_ = std::filesystem::temp_directory_path() /
                ("corvane-" + label + "-" + std::to_string(::getpid()) + "-" + std::to_string(++counter));
        std::filesystem::remove_all(root_);
        std::filesystem::create_directories(root_);
    }
    ~ScriptFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }

    std::string path(const std::string& name) const { return (root_ / name).string(); }
    std::string script(const std::string& name, const std::string& body) const {
        return file(name, "#!/bin/sh\n" + body + "\n", std::filesystem::perms::owner_all);
    }
    std::string file(const std::string& name, const std::string& text, std::filesystem::perms perms) const {
        std::string where = path(name);
        std::ofstream(where) << text;
        std::filesystem::permissions(where, perms);
        return where;
    }
    std::optional<std::string> read(const std::string& name) const {
        std::ifstream in(path(name));
        if (!in) return std::nullopt;
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    // Waits up to 10 s for a line-terminated file the child writes.
    bool await(const std::string& name) const {
        return pollUntil([&] { return read(name).value_or("").ends_with('\n'); }, 10);
    }

private:
    std::filesystem::path root_;
};

inline const std::string testSearchPath = "/usr/bin:/bin";

// A failure to start reads as an impossible outcome, so that comparing with the expected one fails.
inline ProcessRunner::Outcome outcomeOf(const ProcessRunner::Result& result) {
    if (auto* outcome = std::get_if<ProcessRunner::Outcome>(&result)) return *outcome;
    return ProcessRunner::Outcome{"", "", -100, false};
}

// A descriptor without close-on-exec, numbered well above what a child's listing itself opens.
inline int openLeakyDescriptor() {
    int opened = ::open("/dev/null", O_RDONLY);
    int leaky = ::fcntl(opened, F_DUPFD, 40);
    ::close(opened);
    return leaky;
}

// The descriptors in a listing of /dev/fd beyond the standard three.
inline std::set<std::string> extraDescriptors(const std::string& listing) {
    std::istringstream in(listing);
    std::set<std::string> extra{std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
    for (const char* standard : {"0", "1", "2"}) extra.erase(standard);
    return extra;
}

// A process that has ended but was not yet reaped by its new parent counts as gone.
inline bool isAlive(pid_t pid) {
    if (!processIsRunning(pid)) return false;
#if defined(__linux__)
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    auto close = text.rfind(')');
    if (close != std::string::npos && close + 2 < text.size() && text[close + 2] == 'Z') return false;
#endif
    return true;
}

inline bool awaitGone(pid_t pid) { return pollUntil([&] { return !isAlive(pid); }, 5); }

inline double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace corvane::testing
