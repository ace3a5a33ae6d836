#pragma once

// Small /bin/sh scripts in a temporary folder that stand in for the CLI in process tests.

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include <sys/types.h>
#include <unistd.h>

#include "ProcessRunner.h"

namespace corvane::testing {

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
    ScriptFolder(const ScriptFolder&) = delete;
    ScriptFolder& operator=(const ScriptFolder&) = delete;

    std::string path(const std::string& name) const { return (root_ / name).string(); }

    // An executable script with `body` after the #! line.
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
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }

    // Waits up to `limit` for a file the child writes.
    std::optional<std::string> await(const std::string& name, std::chrono::milliseconds limit = std::chrono::seconds(10)) const {
        auto until = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < until) {
            auto text = read(name);
            if (text && !text->empty() && text->back() == '\n') return text;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return read(name);
    }

private:
    std::filesystem::path root_;
};

inline const std::string testSearchPath = "/usr/bin:/bin";

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

inline bool awaitGone(pid_t pid, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
    auto until = std::chrono::steady_clock::now() + limit;
    while (isAlive(pid)) {
        if (std::chrono::steady_clock::now() >= until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

inline double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace corvane::testing
