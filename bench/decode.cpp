// Decoding a menu answer against nlohmann's bare parse of the same bytes: the decoder's own work
// (type checks, rows, ages, the dedupe) should cost at most as much again as the parse itself.
//   build/ci/bench/bench-decode   (compare BM_Decode/<n> with BM_BareParse/<n>)

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <string>

#include "MenuDecode.h"
#include "MenuTime.h"

namespace {

using Json = nlohmann::json;

const corvane::Instant now = *corvane::parseMenuTime("2025-03-01T10:05:00Z");

Json agent(int i) {
    const std::string id = "ses_01HZ" + std::to_string(100000 + i);
    return {{"type", "action"},
            {"title", "Fix flaky checkout tests in module " + std::to_string(i)},
            {"run", {"session", "open", id}},
            {"terminal", {"session", "open", id, "--terminal"}},
            {"reportClick", {"report-agent-click", id, "corvane"}},
            {"agent",
             {{"id", id},
              {"icon", i % 3 == 0 ? "claude" : i % 3 == 1 ? "codex" : "cursor"},
              {"status", i % 4 == 0 ? "working" : "idle"},
              {"statusLabel", i % 4 == 0 ? "Working" : "Idle"},
              {"lastActivityAt", "2025-03-01T10:0" + std::to_string(i % 5) + ":10.250Z"},
              {"harness",
               {{"title", "Open in Claude"},
                {"focus", {{"tty", "/dev/ttys0" + std::to_string(i % 90 + 10)}, {"appPid", 40000 + i}}},
                {"terminal", {"session", "focus", id}}}}}}};
}

// An answer with `agents` agent rows plus the usual header, connections, a submenu, an update
// block with its fallback rows and a desktop diagnostic.
std::string answer(int agents, int connections, int submenus) {
    Json items = Json::array();
    items.push_back({{"type", "header"}, {"title", "Corvane"}, {"subtitle", "Acme · dana@acme.dev"}, {"trailing", "v1.4.2"}});
    items.push_back({{"type", "status"}, {"mark", "warn"}, {"title", "Update available"}});
    items.push_back({{"type", "action"}, {"title", "Update"}, {"terminal", {"update"}}});
    items.push_back({{"type", "section"}, {"title", "Agents"}});
    for (int i = 0; i < agents; ++i) items.push_back(agent(i));
    items.push_back({{"type", "separator"}});
    for (int i = 0; i < connections; ++i) {
        Json connection = {{"type", "connection"}, {"mark", "warn"}, {"name", "Service " + std::to_string(i)},
                           {"state", "rate limited"}, {"checkedAt", "2025-03-01T09:55:00Z"}};
        items.push_back(connection);
        items.push_back({{"type", "action"}, {"title", "Reconnect"}, {"run", {"connect", std::to_string(i)}},
                         {"presentation", connection}});
    }
    for (int i = 0; i < submenus; ++i)
        items.push_back({{"type", "submenu"},
                         {"title", "Open"},
                         {"items",
                          {{{"type", "action"}, {"title", "Dashboard"}, {"url", "https://app.usecorvane.com"}},
                           {{"type", "submenu"}, {"title", "Recent"},
                            {"items", {{{"type", "action"}, {"title", "Folder"}, {"file", "/Users/dana/code"}}}}}}}});
    Json root = {
        {"contract", 1},
        {"appEnv", "production"},
        {"cliVersion", "1.4.2"},
        {"icon", "attention"},
        {"refreshSeconds", 60},
        {"watchPaths", {"/Users/dana/.corvane/state"}},
        {"cliUpdate",
         {{"startIndex", 1}, {"itemCount", 2}, {"state", "available"}, {"target", "1.5.0"},
          {"run", {"update", "--background"}}, {"logPath", "/Users/dana/.corvane/logs/update.log"}}},
        {"desktopDiagnostic",
         {{"outcome", "failed"}, {"domain", "Node"}, {"code", "ECONNRESET"},
          {"stageMs", {{"readState", 12}, {"fetchAgents", 184.6}}},
          {"requests", {{{"route", "agents"}, {"status", 200}, {"requestId", "req-1"}, {"durationMs", 171.2}}}}}},
        {"items", items},
        {"more", {{{"type", "action"}, {"title", "Copy Diagnostics"}, {"diagnostics", true}}}},
    };
    return root.dump();
}

const std::string& small() {
    static const std::string bytes = answer(2, 1, 1);  // about 2 KB
    return bytes;
}
const std::string& large() {
    static const std::string bytes = answer(200, 20, 10);  // about 100 KB
    return bytes;
}

void run(benchmark::State& state, const std::string& bytes, bool decode) {
    for (auto _ : state) {
        if (decode) {
            auto result = corvane::decodeMenuPayload(bytes, now);
            benchmark::DoNotOptimize(result);
        } else {
            auto parsed = Json::parse(bytes);
            benchmark::DoNotOptimize(parsed);
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
    state.counters["answerBytes"] = static_cast<double>(bytes.size());
}

void BM_Decode2K(benchmark::State& state) { run(state, small(), true); }
void BM_BareParse2K(benchmark::State& state) { run(state, small(), false); }
void BM_Decode100K(benchmark::State& state) { run(state, large(), true); }
void BM_BareParse100K(benchmark::State& state) { run(state, large(), false); }

BENCHMARK(BM_Decode2K);
BENCHMARK(BM_BareParse2K);
BENCHMARK(BM_Decode100K);
BENCHMARK(BM_BareParse100K);

}  // namespace

BENCHMARK_MAIN();
