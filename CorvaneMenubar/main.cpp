// The entry point: picks the mode from the first argument and hands over to it.

#include <chrono>
#include <iostream>
#include <string>
#include <vector>

#include "PrintMenu.h"

namespace {

int usage() {
    std::cerr << corvane::printMenuUsage();
    return corvane::printMenuUsageError;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) return usage();
    const std::string mode = args.front();
    std::vector<std::string> rest(args.begin() + 1, args.end());

    if (mode == "--print-menu") {
        const auto now = std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
        return corvane::printMenu(rest, corvane::Instant(now.time_since_epoch()), std::cin, std::cout, std::cerr);
    }
    std::cerr << "corvane-menubar: unknown mode: " << mode << "\n";
    return usage();
}
