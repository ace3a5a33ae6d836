// The entry point: reads the command line, picks a shell and runs the app on it (AppRun.h).
//
//   (no mode)                       the desktop shell when this build has one and a display is
//                                   present; otherwise the headless shell, saying why on stderr
//   --headless [--json]             the whole app on the text shell (see headless/HeadlessShell.h);
//                                   --json keeps the JSON-lines protocol on a terminal too
//   --window                        the Qt shell's window instead of a tray icon
//   --unregister-login-item         forget the first-launch attempt, unregister, exit (uninstallers)
//   --print-menu [--payload FILE|-] [--now TIME] [--json]
//                                   a preview of the menu: of the given answer, or without
//                                   --payload of one real poll of the installed CLI
//   --demo                          with any mode: the bundled simulator stands in for the CLI

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "AppRun.h"
#include "DemoCli.h"
#include "app/DesktopShell.h"
#include "platform/posix/HostPlatform.h"
#include "PrintMenu.h"
#include "ShellChoice.h"
#include "Variant.h"
#include "platform/headless/HeadlessShell.h"

namespace {

bool take(std::vector<std::string>& args, const std::string& flag) {
    auto found = std::find(args.begin(), args.end(), flag);
    if (found == args.end()) return false;
    args.erase(found);
    return true;
}

int usage() {
    std::cerr << "usage: corvane-menubar [--demo] [--headless [--json] | --window | --unregister-login-item | "
                 "--print-menu ...]\n"
              << corvane::printMenuUsage();
    return corvane::printMenuUsageError;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    std::erase_if(args, [](const std::string& arg) { return corvane::isLaunchServicesArgument(arg); });
    const bool demo = take(args, "--demo");

    if (!args.empty() && args.front() == "--print-menu") {
        std::vector<std::string> rest(args.begin() + 1, args.end());
        if (std::find(rest.begin(), rest.end(), "--payload") != rest.end()) {
            const corvane::Instant now =
                std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
            return corvane::printMenu(rest, now, std::cin, std::cout, std::cerr);
        }
        corvane::DemoCli simulator;
        if (demo && !simulator.start(corvane::detectVariant().appEnv)) return 1;
        return corvane::printInstalledMenu(rest);
    }

    corvane::RunOptions run{.unregisterLoginItem = take(args, std::string(corvane::unregisterLoginItemFlag)),
                            .demo = demo};
    const bool headless = take(args, "--headless");
    corvane::ShellOptions options{.window = take(args, "--window"),
                                  .json = take(args, "--json"),
                                  .loginItemOnly = run.unregisterLoginItem,
                                  .arguments = std::vector<std::string>(argv, argv + argc)};
    if (!args.empty()) {
        std::cerr << "corvane-menubar: unknown argument: " << args.front() << "\n";
        return usage();
    }
    if (headless && options.window) {
        std::cerr << "corvane-menubar: --headless and --window exclude each other\n";
        return usage();
    }

    const auto choice = corvane::chooseShell({
        .headlessFlag = headless,
        .loginItemOnly = run.unregisterLoginItem,
        .desktopShell = corvane::desktopShellName(),
        .isMacOS = corvane::hostIsMacOS(),
        .environment = [](std::string_view name) -> std::optional<std::string> {
            const char* value = std::getenv(std::string(name).c_str());
            if (!value) return std::nullopt;
            return std::string(value);
        },
    });
    std::unique_ptr<corvane::Shell> shell;
    if (choice.kind == corvane::ShellKind::desktop) shell = corvane::makeDesktopShell(options);
    if (!shell) {
        std::string notice = choice.kind == corvane::ShellKind::desktop
                                 ? "Running headless: the desktop shell could not start."
                                 : choice.notice;
        if (run.unregisterLoginItem) notice.clear();
        if (!notice.empty()) std::cerr << "corvane-menubar: " << notice << "\n";
        shell = corvane::makeHeadlessShell(options, notice);
    }
    return corvane::runApp(*shell, run);
}
