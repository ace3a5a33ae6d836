// The headless app's own CPU time per process poll of `corvane menu`, the child excluded: user
// plus system time of the app process (all its threads) across N polls, divided by N. Each poll
// is started by a wake of the watched folder, with an answer that announces no snapshot, so that
// every wake runs the CLI. One phase repeats the same answer (nothing to redraw), one retitles it
// each time (a new menu and frame).
//
//   bench-headlessPollCpu [--polls 100] [--bin-dir DIR]

#include "HeadlessBench.h"

using namespace headlessbench;

int main(int argc, char** argv) {
    const auto options = parseOptions(argc, argv);
    const int polls = static_cast<int>(numberOption(options, "--polls", 100));
    const Executables exe = executables(options);

    SimWorld world(exe.sim);
    const fs::path scenario = world.root / "scenario.json";
    const Json demo = demoAnswer(world, exe);
    if (demo.is_null()) return 1;
    const Json answer = withoutSnapshotSource(demo);
    HeadlessApp app;
    if (!startOnScenario(app, world, exe, scenario, answer, "Same answer")) return 1;
    const fs::path touch = world.simHome / "watch" / "changed";

    // Wakes the watch folder and waits until the poll has been logged; false on a hang.
    auto pollOnce = [&](int serial) {
        const size_t before = world.refreshLines().size();
        std::ofstream(touch) << serial;
        return waitFor([&] { return world.refreshLines().size() > before; }, 10);
    };
    for (int i = 0; i < 3; ++i) pollOnce(-i);  // warm-up

    struct Phase {
        const char* name;
        bool retitle;
        double cpuMsPerPoll = 0;
        int menuRuns = 0;
    };
    Phase phases[] = {{"same answer", false}, {"changed answer", true}};
    for (auto& phase : phases) {
        const int runsBefore = world.countRuns({"menu"});
        const double before = cpuSeconds(app.pid());
        for (int poll = 1; poll <= polls; ++poll) {
            if (phase.retitle) writeScenario(scenario, retitled(answer, "Changed answer " + std::to_string(poll)));
            if (!pollOnce(poll)) {
                std::fprintf(stderr, "poll %d was not logged within 10 s\n", poll);
                return 1;
            }
            app.lastFrame();  // keep the pipe drained
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the render after the last log line
        phase.cpuMsPerPoll = (cpuSeconds(app.pid()) - before) * 1000.0 / polls;
        phase.menuRuns = world.countRuns({"menu"}) - runsBefore;
    }

    app.send("quit");
    app.waitExit(10);

    std::printf("load average: %s\n", loadAverage().c_str());
    std::printf("clock tick: %.0f ms, so the per-poll figure is good to about %.2f ms\n",
                1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK)), 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK)) / polls);
    for (const auto& phase : phases)
        std::printf("%-15s %3d polls (%3d menu runs): app CPU %.2f ms per poll (goal <= 2 ms): %s\n", phase.name, polls,
                    phase.menuRuns, phase.cpuMsPerPoll, phase.cpuMsPerPoll <= 2.0 ? "met" : "MISSED");
    return 0;
}
