#include "PrintMenu.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "app/AppDelegate.h"
#include "AppMenuState.h"
#include "CliLocator.h"
#include "MenuDecode.h"
#include "MenuJson.h"
#include "MenuTime.h"
#include "ProcessRunner.h"
#include "Uuid.h"
#include "Variant.h"

namespace corvane {
namespace {

struct Options {
    std::string payload;
    std::optional<Instant> now;
    bool json = false;
};

// Fills `options` or says what is wrong with the words.
std::optional<std::string> parseArguments(const std::vector<std::string>& args, Options& options) {
    bool havePayload = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& word = args[i];
        if (word == "--json") {
            options.json = true;
        } else if (word == "--payload" || word == "--now") {
            if (i + 1 >= args.size()) return word + " needs a value";
            const std::string& value = args[++i];
            if (word == "--payload") {
                if (value.empty()) return std::string("--payload needs a file name or -");
                options.payload = value;
                havePayload = true;
            } else {
                options.now = parseMenuTime(value);
                if (!options.now) return "--now: not an ISO 8601 time: " + value;
            }
        } else {
            return "unknown argument: " + word;
        }
    }
    if (!havePayload) return std::string("--payload is required");
    return std::nullopt;
}

bool readAll(std::istream& stream, std::string& bytes) {
    bytes.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    return !stream.bad();
}

}  // namespace

std::string printMenuUsage() {
    return "usage: corvane-menubar --print-menu --payload FILE|- [--now 2025-03-01T10:05:00Z] [--json]\n"
           "  Decodes a `corvane menu` answer (\"-\" reads standard input) and prints the icon state and\n"
           "  the rows the menu would show. --json prints one JSON object instead of the text tree.\n";
}

int printMenu(const std::vector<std::string>& args, Instant clockNow, std::istream& in, std::ostream& out,
              std::ostream& err) {
    Options options;
    if (auto problem = parseArguments(args, options)) {
        err << "corvane-menubar: " << *problem << "\n" << printMenuUsage();
        return printMenuUsageError;
    }
    const Instant now = options.now.value_or(clockNow);

    std::string bytes;
    if (options.payload == "-") {
        if (!readAll(in, bytes)) {
            err << "corvane-menubar: cannot read the answer from standard input\n";
            return 1;
        }
    } else {
        std::ifstream file(options.payload, std::ios::binary);
        if (!file) {
            err << "corvane-menubar: cannot open " << options.payload << ": " << std::strerror(errno) << "\n";
            return 1;
        }
        if (!readAll(file, bytes)) {
            err << "corvane-menubar: cannot read " << options.payload << "\n";
            return 1;
        }
    }

    // As for a CLI that was found and answered just now.
    AppStateInputs inputs;
    inputs.cliLocated = true;
    inputs.launchedAt = now;
    inputs.now = now;
    MenuDecodeResult decoded = decodeMenuPayload(bytes, now);
    if (auto* invalid = std::get_if<decode::Invalid>(&decoded)) {
        err << "corvane-menubar: the answer is unreadable: " << invalid->message << "\n";
        return 1;
    }
    if (auto* mismatch = std::get_if<decode::ContractMismatch>(&decoded)) {
        inputs.contractMismatch = mismatch->found;
    } else {
        inputs.lastPayload = std::move(std::get<MenuPayload>(decoded));
        inputs.lastSuccessAt = now;
    }

    const AppMenuState state = appMenuState(inputs);
    const IconState icon = iconState(state);
    const std::vector<MenuItem> none;
    std::optional<std::vector<MenuItem>> baked = bakedMenuItems(state, now);
    const auto* fresh = std::get_if<appstate::Payload>(&state);
    const std::vector<MenuItem>& items = baked ? *baked : fresh ? fresh->payload.items : none;
    const std::vector<MenuItem>& more = !baked && fresh ? fresh->payload.more : none;

    if (options.json) {
        nlohmann::json frame{{"state", stateName(state)}, {"icon", iconWord(icon)}};
        nlohmann::json itemRows = nlohmann::json::array(), moreRows = nlohmann::json::array();
        for (const auto& item : items) itemRows.push_back(rowJson(item));
        for (const auto& item : more) moreRows.push_back(rowJson(item));
        frame["items"] = std::move(itemRows);
        frame["more"] = std::move(moreRows);
        // Replace invalid UTF-8 rather than throw: the decoder only lets valid text through, but
        // the preview must never fail on what it prints.
        out << frame.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
    } else {
        out << "state: " << stateName(state) << "\n";
        out << "icon:  " << iconWord(icon) << "\n";
        out << "now:   " << iso8601(now) << "\n\n";
        out << "items:\n" << (items.empty() ? "(none)\n" : rowsText(items));
        out << "\nmore:\n" << (more.empty() ? "(none)\n" : rowsText(more));
    }
    out.flush();
    return out ? 0 : 1;
}

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
    const Instant now = std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
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

}  // namespace corvane
