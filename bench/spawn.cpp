// The cost of one CLI run through ProcessRunner next to the bare spawn it is built on: /bin/true
// started 200 times each, median per run. Goal: within 1.5x of the bare posix_spawn + waitpid.

#include <benchmark/benchmark.h>

#include <spawn.h>
#include <sys/wait.h>

#include "ProcessRunner.h"

extern char** environ;

namespace {

constexpr int runs = 200;

void processRunner(benchmark::State& state) {
    for (auto _ : state) {
        auto result = corvane::ProcessRunner::run("/bin/true", {}, "/usr/bin:/bin", 10);
        auto* outcome = std::get_if<corvane::ProcessRunner::Outcome>(&result);
        if (outcome == nullptr || outcome->exitCode != 0) state.SkipWithError("/bin/true did not run");
        benchmark::DoNotOptimize(result);
    }
}

void bareSpawn(benchmark::State& state) {
    char program[] = "/bin/true";
    char* argv[] = {program, nullptr};
    for (auto _ : state) {
        pid_t pid = -1;
        if (posix_spawn(&pid, program, nullptr, nullptr, argv, environ) != 0) state.SkipWithError("spawn failed");
        int status = 0;
        waitpid(pid, &status, 0);
        benchmark::DoNotOptimize(status);
    }
}

}  // namespace

BENCHMARK(bareSpawn)->Iterations(1)->Repetitions(runs)->ReportAggregatesOnly(true)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(processRunner)->Iterations(1)->Repetitions(runs)->ReportAggregatesOnly(true)->UseRealTime()->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
