#pragma once

#include <string>

namespace corvane {

// The bundled simulator as the CLI, for `--demo`: a private temporary folder holding the
// simulator's state and a `corvane` link to it, CORVANE_CLI_PATH pointing there for this process,
// and the simulator's snapshot writer running in the background. Everything is stopped and
// removed when the object is destroyed.
class DemoCli {
public:
    DemoCli() = default;
    ~DemoCli();
    DemoCli(const DemoCli&) = delete;
    DemoCli& operator=(const DemoCli&) = delete;

    // Finds `corvane-sim` (beside this executable in the build layout, or on PATH) and sets it
    // up for `appEnv`. False with a message on stderr when it cannot.
    bool start(const std::string& appEnv);
    // Stops the snapshot writer and removes the folder (also done on destruction).
    void stop();

private:
    std::string folder_;
    int writerPid_ = -1;
};

}  // namespace corvane
