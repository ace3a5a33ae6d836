// Feeds arbitrary bytes to every other reader of outside data: the snapshot file, the CLI's
// stderr (the diagnostic marker line), the update state kept in the defaults, and the install
// and detected-clients records the locator reads. The first byte picks the reader so one corpus
// reaches all of them; none may crash, leak or run away.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "CliLocator.h"
#include "CliUpdatePresentation.h"
#include "ClientDiagnostic.h"
#include "MenuSnapshot.h"
#include "MenuTime.h"

namespace {

// A locator environment whose every file holds the fuzzed bytes.
corvane::CliLocator::Environment environmentReading(const std::string& bytes) {
    corvane::CliLocator::Environment environment;
    environment.home = "/home/fuzz";
    environment.readFile = [bytes](const std::string&) { return std::optional<std::string>(bytes); };
    environment.isExecutableFile = [](const std::string& path) { return path.size() % 2 == 0; };
    environment.listDirectory = [](const std::string&) { return std::vector<std::string>{"v20.1.0", "lts", "v"}; };
    return environment;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    static const corvane::Instant now = *corvane::parseMenuTime("2025-03-01T10:05:00Z");
    const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 4) {
    case 0: {
        auto isRunning = [](std::int32_t pid) { return pid % 2 == 0; };
        corvane::readMenuSnapshot(bytes, std::nullopt, now, now, isRunning);
        break;
    }
    case 1:
        corvane::cliFailureDiagnostic(corvane::DiagnosticOperation::cliRun, bytes);
        break;
    case 2:
        if (auto stored = corvane::decodeCliUpdatePresentation(bytes)) {
            // What was read back must survive being written and read again.
            auto again = corvane::decodeCliUpdatePresentation(corvane::encodeCliUpdatePresentation(*stored));
            if (!again || !(*again == *stored)) __builtin_trap();
        }
        corvane::clientDiagnosticFromJson(nlohmann::json::parse(bytes, nullptr, false));
        break;
    default: {
        auto environment = environmentReading(bytes);
        corvane::CliLocator::recordedProgram("production", environment);
        corvane::CliLocator::locate("staging", environment);
        break;
    }
    }
    return 0;
}
