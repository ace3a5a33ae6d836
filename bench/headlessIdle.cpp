// The headless app left alone with a fresh payload and a running snapshot writer: CPU time over
// the idle period, the processes it starts (only the refresh timer may poll, and with a snapshot
// to read it should run none), and its resident memory.
//
//   bench-headlessIdle [--seconds 120] [--bin-dir DIR]

#include "HeadlessBench.h"

using namespace headlessbench;

int main(int argc, char** argv) {
    const auto options = parseOptions(argc, argv);
    const double seconds = numberOption(options, "--seconds", 120);
    const Executables exe = executables(options);

    SimWorld world(exe.sim);
    Spawned writer = spawnProcess(exe.sim, {"snapshot-writer", "--interval", "10"}, world.appEnvironment(), false,
                                  (world.root / "writer.err").string());
    HeadlessApp app;
    if (!app.start(exe.app, world.appEnvironment(), world.root / "app.err") ||
        !app.waitFrameWith("Fix flaky login test", 20)) {
        std::fprintf(stderr, "the app showed no payload: %s\n", app.errors().c_str());
        kill(writer.pid, SIGTERM);
        finish(writer, 5);
        return 1;
    }
    // Let the launch settle: the first wakes of the watch folder and the writer's first rewrite.
    app.waitLine([](const Json&) { return false; }, 2);

    const size_t invocationsBefore = world.invocations().size();
    const size_t refreshesBefore = world.refreshLines().size();
    const double cpuBefore = cpuSeconds(app.pid());
    app.waitLine([](const Json&) { return false; }, seconds);  // reads frames as they come
    const double cpuMs = (cpuSeconds(app.pid()) - cpuBefore) * 1000.0;
    const long rssKb = statusKb(app.pid(), "VmRSS");
    const long hwmKb = statusKb(app.pid(), "VmHWM");

    std::map<std::string, int> started;
    const auto invocations = world.invocations();
    for (size_t i = invocationsBefore; i < invocations.size(); ++i) {
        const Json argv = invocations[i].value("argv", Json::array());
        started[argv.empty() ? "" : argv[0].get<std::string>()] += 1;
    }
    std::map<std::string, int> refreshes;
    const auto lines = world.refreshLines();
    for (size_t i = refreshesBefore; i < lines.size(); ++i) {
        const std::string outcome =
            lines[i].contains("snapshot") ? lines[i]["snapshot"].value("outcome", "") : std::string("process");
        refreshes[lines[i].value("trigger", "") + " / " + outcome] += 1;
    }

    app.send("quit");
    app.waitExit(10);
    kill(writer.pid, SIGTERM);
    finish(writer, 5);

    std::printf("load average: %s\n", loadAverage().c_str());
    std::printf("idle %.0f s: app CPU %.0f ms (goal <= 50 ms): %s\n", seconds, cpuMs, cpuMs <= 50 ? "met" : "MISSED");
    std::printf("resident memory: VmRSS %.1f MB, VmHWM %.1f MB (goal <= 12 MB): %s\n", rssKb / 1024.0, hwmKb / 1024.0,
                hwmKb >= 0 && hwmKb <= 12 * 1024 ? "met" : "MISSED");
    std::printf("processes the app started while idle: %d\n", static_cast<int>(invocations.size() - invocationsBefore));
    for (const auto& [command, count] : started) std::printf("  %s: %d\n", command.c_str(), count);
    std::printf("refreshes logged while idle (trigger / snapshot outcome):\n");
    for (const auto& [what, count] : refreshes) std::printf("  %s: %d\n", what.c_str(), count);
    return 0;
}
