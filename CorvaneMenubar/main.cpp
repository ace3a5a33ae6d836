// The entry point: picks the mode from the command line and hands over to it.
//
//   --unregister-login-item         forget the first-launch attempt, unregister, exit (uninstallers)
//   --print-menu [--payload FILE|-] [--now TIME] [--json]
//                                   a preview of the menu: of the given answer, or without
//                                   --payload of one real poll of the installed CLI
//   --headless                      the whole app on the text shell (see headless/HeadlessApp.h)
//   --demo                          with any mode: the bundled simulator stands in for the CLI

#include <algorithm>
#include <chrono>
#include <iostream>
#include <string>
#include <vector>

#include "PrintMenu.h"
#include "Variant.h"
#include "headless/HeadlessApp.h"

namespace {

bool take(std::vector<std::string>& args, const std::string& flag) {
    auto found = std::find(args.begin(), args.end(), flag);
    if (found == args.end()) return false;
    args.erase(found);
    return true;
}

int usage() {
    std::cerr << "usage: corvane-menubar [--demo] [--headless | --unregister-login-item | --print-menu ...]\n"
              << corvane::printMenuUsage();
    return corvane::printMenuUsageError;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (take(args, "--unregister-login-item")) return corvane::unregisterLoginItem();
    const bool demo = take(args, "--demo");

    if (!args.empty() && args.front() == "--print-menu") {
        std::vector<std::string> rest(args.begin() + 1, args.end());
        if (std::find(rest.begin(), rest.end(), "--payload") != rest.end()) {
            const auto now = std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
            return corvane::printMenu(rest, corvane::Instant(now.time_since_epoch()), std::cin, std::cout, std::cerr);
        }
        corvane::DemoCli simulator;
        if (demo && !simulator.start(corvane::detectVariant().appEnv)) return 1;
        return corvane::printInstalledMenu(rest);
    }
    const bool headless = take(args, "--headless");
    if (!args.empty()) {
        std::cerr << "corvane-menubar: unknown argument: " << args.front() << "\n";
        return usage();
    }
    if (!headless) return usage();
    return corvane::runHeadless(corvane::HeadlessOptions{demo});
}
