// Peak resident memory of the headless app while one menu poll's CLI writes a huge answer to
// stdout (500 MB by default), and how long until the poll's failure is drawn. The CLI is a
// stand-in script that writes zeros and then exits; the app is sampled every 10 ms and its own
// peak (VmHWM) is read at the end.
//
//   bench-headlessBigAnswerRss [--megabytes 500] [--bin-dir DIR]

#include "HeadlessBench.h"

using namespace headlessbench;

int main(int argc, char** argv) {
    const auto options = parseOptions(argc, argv);
    const long megabytes = static_cast<long>(numberOption(options, "--megabytes", 500));
    const Executables exe = executables(options);

    SimWorld world(exe.sim);
    const fs::path script = world.root / "bin" / "standin";
    std::ofstream(script) << "#!/bin/sh\nif [ \"$1\" != menu ]; then exit 0; fi\nhead -c " << megabytes * 1000 * 1000
                          << " /dev/zero\n";
    fs::permissions(script, fs::perms::owner_all);
    fs::remove(world.cliPath);
    fs::create_symlink(script, world.cliPath);

    HeadlessApp app;
    const auto start = Clock::now();
    if (!app.start(exe.app, world.appEnvironment(), world.root / "app.err")) return 1;
    long sampledPeakKb = 0;
    std::optional<Json> failed;
    while (!failed && secondsSince(start) < 120) {
        sampledPeakKb = std::max(sampledPeakKb, statusKb(app.pid(), "VmRSS"));
        failed = app.waitFrame(
            [](const Json& frame) {
                const std::string text = frame.dump();
                return text.find("corvane menu answered") != std::string::npos ||
                       text.find("corvane menu exited") != std::string::npos ||
                       text.find("didn't answer") != std::string::npos;
            },
            0.01);
    }
    const double seconds = secondsSince(start);
    const long peakKb = statusKb(app.pid(), "VmHWM");
    app.send("quit");
    app.waitExit(10);

    std::printf("load average: %s\n", loadAverage().c_str());
    std::printf("%ld MB answer: %s after %.1f s; app peak RSS %.1f MB (sampled %.1f MB) (goal <= 40 MB): %s\n",
                megabytes, failed ? "failure drawn" : "NO FAILURE DRAWN", seconds, peakKb / 1024.0,
                sampledPeakKb / 1024.0, peakKb / 1024.0 <= 40.0 ? "met" : "MISSED");
    return failed ? 0 : 1;
}
