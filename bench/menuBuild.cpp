// Everything the main thread does with a CLI answer of n rows: decode, menu state, menu build
// applied to the live menu, and the headless frame. Time per row must stay flat as n grows; 1,000
// rows should take at most 20 ms at -O2.
//   build/ci/bench/bench-menuBuild   (read the "perRow" counter of BM_Answer/<n> and BM_OpenRewrite/<n>)

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <string>

#include "AppMenuState.h"
#include "menu/MenuBuilder.h"
#include "MenuDecode.h"
#include "MenuTime.h"
#include "menu/MemoryMenu.h"
#include "menu/MenuTreeJson.h"

namespace {

using Json = nlohmann::json;
using namespace corvane;

const Instant now = *parseMenuTime("2025-03-01T10:05:00Z");

// An answer of `rows` rows, mostly agent sessions with a status row and an action now and then;
// `generation` changes every status label, as a later poll would.
std::string answer(int rows, int generation) {
    Json items = Json::array();
    items.push_back({{"type", "header"}, {"title", "Corvane"}, {"subtitle", "Acme"}, {"trailing", "v1.4.2"}});
    for (int i = 1; i < rows; ++i) {
        const std::string id = "ses_" + std::to_string(100000 + i);
        if (i % 10 == 0) {
            items.push_back({{"type", "action"}, {"title", "Open project " + std::to_string(i)},
                             {"url", "https://app.usecorvane.com/p/" + std::to_string(i)}});
        } else if (i % 10 == 5) {
            items.push_back({{"type", "status"}, {"mark", "warn"}, {"title", "Sync late " + std::to_string(i)},
                             {"subtitle", std::to_string(generation) + " min"}});
        } else {
            items.push_back({{"type", "action"},
                             {"title", "Fix flaky checkout tests in module " + std::to_string(i)},
                             {"run", {"session", "open", id}},
                             {"agent",
                              {{"id", id},
                               {"icon", "claude"},
                               {"status", i % 4 == 0 ? "working" : "idle"},
                               {"statusLabel", "Idle · " + std::to_string(generation + i % 7) + "m"},
                               {"harness", {{"title", "Open in Claude"}, {"run", {"session", "focus", id}}}}}}});
        }
    }
    Json root = {{"contract", 1},       {"appEnv", "production"}, {"cliVersion", "1.4.2"},
                 {"icon", "running"},   {"refreshSeconds", 60},   {"watchPaths", Json::array()}, {"items", items},
                 {"more", {{{"type", "action"}, {"title", "Copy Diagnostics"}, {"diagnostics", true}}}}};
    return root.dump();
}

struct App {
    MemoryMenuFactory factory;
    FixedWidthTextMeasure measure;
    MenuBuilder builder{factory, measure, MenuBuilderHooks{[](const MenuAction&) {}, [] { return false; }, [] {},
                                                           [] {}, [] {}, [] { return false; }},
                        "Corvane"};

    // The main thread's share of one poll: returns the frame's size.
    std::size_t poll(const std::string& bytes) {
        auto decoded = decodeMenuPayload(bytes, now);
        auto* payload = std::get_if<MenuPayload>(&decoded);
        if (!payload) std::abort();  // the benchmark's answer must decode
        AppStateInputs inputs;
        inputs.cliLocated = true;
        inputs.lastPayload = std::move(*payload);
        inputs.lastSuccessAt = now;
        inputs.launchedAt = now;
        inputs.now = now;
        const auto state = appMenuState(inputs);
        const auto& shown = std::get<appstate::Payload>(state).payload;
        builder.submit(MenuBuild{shown.items, shown.more, false});
        return menuTreeJson(*builder.menu()).dump().size();
    }
};

void run(benchmark::State& state, bool open) {
    const int rows = static_cast<int>(state.range(0));
    const std::string answers[2] = {answer(rows, 1), answer(rows, 2)};
    App app;
    app.poll(answers[0]);
    if (open) app.builder.menu()->reportTrackingBegan();
    int turn = 1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(app.poll(answers[turn]));
        turn ^= 1;
    }
    state.counters["perRow"] = benchmark::Counter(static_cast<double>(state.iterations()) * rows,
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["answerBytes"] = static_cast<double>(answers[0].size());
}

// The menu closed: each poll reconciles the live menu (new session rows are new native items).
void BM_Answer(benchmark::State& state) { run(state, false); }
// The menu open: each poll rewrites the same shape in place.
void BM_OpenRewrite(benchmark::State& state) { run(state, true); }

BENCHMARK(BM_Answer)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenRewrite)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
