// Client log throughput: lines appended per second (lock, size check and write included) and the
// cost of a throttled repetition, which must stay free of I/O and allocation.

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>

#include <benchmark/benchmark.h>

#include "ClientLog.h"

namespace {

std::atomic<std::size_t> allocations{0};

struct TempDir {
    std::filesystem::path path;
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "corvane-bench-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

using namespace corvane;

const Instant start = instantFromSeconds(1'750'000'000.0);

// Alternating failure and recovery: every record appends exactly one line.
void appendTransitions(benchmark::State& state) {
    TempDir dir;
    ClientLog log(dir.path.string(), "0.3.1", "production", "Debian GNU/Linux 12 (bookworm); Linux 6.1.0");
    log.setCliVersion("1.4.0");
    const ClientDiagnostic failure{DiagnosticOperation::menuPoll, DiagnosticOutcome::failed, "process", "TIMEOUT", {}, {}};
    const ClientDiagnostic recovery{DiagnosticOperation::menuPoll, DiagnosticOutcome::available, {}, {}, {}, {}};
    const std::string id = "6F9619FF-8B86-4011-B42D-00C04FC964FF";
    std::int64_t i = 0;
    for (auto _ : state) {
        log.record(id, plusSeconds(start, static_cast<double>(i)), (i % 2) ? recovery : failure);
        ++i;
    }
    if (log.lostWrites() != 0) state.SkipWithError("lines were lost");
    state.SetItemsProcessed(state.iterations());
    state.counters["lines/s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(appendTransitions)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The same failure again and again within five minutes: counted, never written.
void throttledRepeat(benchmark::State& state) {
    TempDir dir;
    ClientLog log(dir.path.string(), "0.3.1", "production", "Linux");
    const ClientDiagnostic failure{DiagnosticOperation::cliRun, DiagnosticOutcome::failed, "NSPOSIXErrorDomain", "5",
                                   {}, {}};
    const std::string id = "poll";
    log.record(id, start, failure);  // the transition line
    const std::size_t before = allocations.load();
    for (auto _ : state) log.record(id, start, failure);
    const std::size_t during = allocations.load() - before;
    state.SetItemsProcessed(state.iterations());
    state.counters["allocs/record"] = static_cast<double>(during) / static_cast<double>(state.iterations());
}
BENCHMARK(throttledRepeat);

}  // namespace

// Counts every allocation of the process, so the throttled path can prove it makes none.
// GCC 12 at -O2 inlines the replaced pair and then flags malloc/free as a mismatch with the
// built-in new/delete it assumes; the pair below is consistent.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

BENCHMARK_MAIN();
