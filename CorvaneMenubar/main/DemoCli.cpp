#include "DemoCli.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <fcntl.h>

#include "FileFacts.h"
#include "platform/posix/HostPlatform.h"
#include "Variant.h"

extern char** environ;

namespace corvane {
namespace {

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
    auto path = std::string(std::getenv("PATH") ? std::getenv("PATH") : "/usr/local/bin:/usr/bin:/bin");
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

}  // namespace

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

}  // namespace corvane
