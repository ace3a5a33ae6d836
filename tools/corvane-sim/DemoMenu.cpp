#include "DemoMenu.h"

#include <cmath>

namespace corvane::sim {

namespace {

std::string envHost(const std::string& appEnv, const std::string& service) {
    if (appEnv == "production") return "https://" + service + ".corvane.example";
    return "https://" + service + "." + appEnv + ".corvane.example";
}

Json reportClick(const std::string& sessionId, const std::string& harness) {
    return Json::array({"report-agent-click", sessionId, harness});
}

// One agent session row: the Corvane action, the harness action and the agent block.
Json agentRow(const std::string& id, const std::string& harness, const std::string& harnessTitle,
              const std::string& title, const std::string& status, const std::string& statusLabel,
              double lastActivityAt, const std::string& webUrl) {
    Json harnessItem = {{"type", "action"},
                        {"title", harnessTitle},
                        {"url", harness + "://sessions/" + id},
                        {"reportClick", reportClick(id, harness)}};
    Json row = {{"type", "action"},
                {"title", title},
                {"url", webUrl + "/sessions/" + id},
                {"reportClick", reportClick(id, harness)},
                {"agent",
                 {{"id", id},
                  {"icon", harness},
                  {"harness", harnessItem},
                  {"lastActivityAt", isoTime(lastActivityAt)},
                  {"status", status},
                  {"statusLabel", statusLabel}}}};
    if (status == "paused") row["badge"] = "paused";
    return row;
}

}  // namespace

Json snapshotIdentityFor(const std::string& appEnv) {
    return {{"apiUrl", envHost(appEnv, "api")},
            {"webUrl", envHost(appEnv, "app")},
            {"enrollment", {{"machineId", "sim-machine-0001"}, {"orgId", "sim-org-acme"}}}};
}

Json demoAnswer(const SimPaths& paths, const SimState& state, const std::string& appEnv, double now) {
    const Json identity = snapshotIdentityFor(appEnv);
    const std::string webUrl = identity["webUrl"].get<std::string>();
    const double minute = 60;

    Json items = Json::array();
    items.push_back({{"type", "header"}, {"title", "Corvane"}, {"subtitle", "3 agents, 2 working"}, {"trailing", "acme"}});

    Json update;
    if (state.updateTarget) {
        const std::string& target = *state.updateTarget;
        // Plain rows for apps that do not know the update block; the block replaces exactly these.
        const auto startIndex = static_cast<int>(items.size());
        items.push_back({{"type", "status"},
                         {"mark", "warn"},
                         {"title", "Corvane CLI " + target + " is available"},
                         {"subtitle", "You have " + state.version + "."}});
        items.push_back({{"type", "action"},
                         {"title", "Update Corvane CLI to " + target},
                         {"terminal", Json::array({"update"})}});
        update = {{"startIndex", startIndex},
                  {"itemCount", 2},
                  {"state", "available"},
                  {"target", target},
                  {"detail", "Includes faster session sync."},
                  {"run", Json::array({"update", "--background"})},
                  {"logPath", paths.updateLog()}};
    }

    items.push_back({{"type", "section"}, {"title", "Agents"}});
    items.push_back(agentRow("sess-claude-7f3a", "claude", "Open in Claude", "Fix flaky login test", "working",
                             "Working · 2m", now - 2 * minute - 5, webUrl));
    items.push_back(agentRow("sess-cursor-91bc", "cursor", "Open in Cursor", "Refactor billing module", "working",
                             "Running tests · 4m", now - 4 * minute - 12, webUrl));
    items.push_back(agentRow("sess-chatgpt-2d04", "chatgpt", "Open in ChatGPT", "Draft release notes", "paused",
                             "Paused · 25m", now - 25 * minute, webUrl));

    items.push_back({{"type", "section"}, {"title", "Status"}});
    items.push_back({{"type", "status"}, {"mark", "ok"}, {"title", "Sessions synced"}, {"subtitle", "3 sessions"}});
    items.push_back({{"type", "status"},
                     {"mark", "problem"},
                     {"title", "2 sessions could not sync"},
                     {"subtitle", "Network timeout"},
                     {"dismiss", {{"type", "action"}, {"title", "Dismiss"}, {"run", Json::array({"notices", "dismiss", "sync-errors"})}}}});
    // Sent twice: as a plain row for older apps and as the presentation of the action after it.
    const Json permissions = {{"type", "status"}, {"mark", "warn"}, {"title", "Terminal access is limited"}};
    items.push_back(permissions);
    items.push_back({{"type", "action"},
                     {"title", "Review permissions"},
                     {"url", webUrl + "/help/permissions"},
                     {"presentation", permissions}});

    items.push_back({{"type", "section"}, {"title", "Connections"}});
    items.push_back({{"type", "connection"}, {"mark", "ok"}, {"name", "GitHub"}, {"state", "connected"}, {"checkedAt", isoTime(now - 5 * minute)}});
    items.push_back({{"type", "connection"},
                     {"mark", "warn"},
                     {"name", "Slack"},
                     {"state", "token expires soon"},
                     {"checkedAt", isoTime(now - 130 * minute)},
                     {"dismiss", {{"type", "action"}, {"title", "Dismiss"}, {"run", Json::array({"notices", "dismiss", "slack-token"})}}}});
    items.push_back({{"type", "connection"}, {"mark", "muted"}, {"name", "Linear"}, {"state", "not connected"}});

    items.push_back({{"type", "section"}, {"title", "Actions"}});
    items.push_back({{"type", "action"}, {"title", "Sync sessions now"}, {"run", Json::array({"sessions", "sync"})}});
    items.push_back({{"type", "action"},
                     {"title", "Rebuild search index"},
                     {"background", {{"argv", Json::array({"index", "rebuild"})}, {"progress", "Rebuilding search index…"}, {"detail", "This takes a few seconds."}}},
                     {"terminal", Json::array({"index", "rebuild"})}});
    items.push_back({{"type", "action"}, {"title", "Check setup"}, {"terminal", Json::array({"doctor"})}});
    items.push_back({{"type", "action"}, {"title", "Check setup (fails)"}, {"run", Json::array({"doctor", "--fail"})}});
    items.push_back({{"type", "action"}, {"title", "Long task (30 s)"}, {"run", Json::array({"sleep", "30"})}});
    items.push_back({{"type", "action"}, {"title", "Resume paused agents"}, {"badge", "paused"}, {"run", Json::array({"agents", "resume"})}});
    items.push_back({{"type", "action"}, {"title", "Open dashboard"}, {"url", webUrl}});
    items.push_back({{"type", "action"}, {"title", "Copy machine ID"}, {"copy", "sim-machine-0001"}});
    items.push_back({{"type", "submenu"},
                     {"title", "Harnesses"},
                     {"items", Json::array({
                                   {{"type", "action"}, {"title", "Claude"}, {"url", "claude://"}},
                                   {{"type", "action"}, {"title", "Cursor"}, {"url", "cursor://"}},
                                   {{"type", "separator"}},
                                   {{"type", "action"}, {"title", "Show state folder"}, {"file", paths.home}},
                               })}});

    Json more = Json::array({
        {{"type", "action"}, {"title", "Open Corvane folder"}, {"file", paths.home}},
        {{"type", "action"}, {"title", "Copy diagnostics"}, {"diagnostics", true}},
        {{"type", "separator"}},
        {{"type", "action"}, {"title", "Settings"}, {"url", webUrl + "/settings"}},
    });

    Json answer = {
        {"contract", 1},
        {"appEnv", appEnv},
        {"cliVersion", state.version},
        {"icon", "running"},
        {"refreshSeconds", envSeconds("CORVANE_SIM_REFRESH_SECONDS", 30)},
        {"watchPaths", Json::array({paths.watchFolder()})},
        {"items", items},
        {"more", more},
        {"snapshotFiles",
         {{"snapshot", paths.snapshotFile()}, {"refreshRequest", paths.refreshRequestFile()}, {"openRequest", paths.openRequestFile()}}},
        {"snapshotIdentity", identity},
        {"desktopDiagnostic",
         {{"outcome", "available"},
          {"domain", "Corvane"},
          {"code", "OK"},
          {"stageMs", {{"sessions", 14}, {"connections", 6}, {"render", 2}}},
          {"requests", Json::array({{{"route", "sessions"}, {"status", 200}, {"requestId", "sim-req-0001"}, {"durationMs", 12}}})}}},
    };
    if (!update.is_null()) answer["cliUpdate"] = update;
    if (state.upToDateAt) answer["cliUpToDateAt"] = isoTime(*state.upToDateAt);
    return answer;
}

std::optional<Json> menuAnswer(const SimPaths& paths, const SimState& state, const std::string& appEnv, double now,
                               std::string* error) {
    const auto scenarioPath = envText("CORVANE_SIM_SCENARIO");
    if (!scenarioPath || scenarioPath->empty()) return demoAnswer(paths, state, appEnv, now);
    const auto text = readFile(*scenarioPath);
    if (!text) {
        *error = "cannot read the scenario file " + *scenarioPath;
        return std::nullopt;
    }
    Json scenario = Json::parse(*text, nullptr, false);
    if (!scenario.is_object()) {
        *error = "the scenario file " + *scenarioPath + " does not hold a JSON object";
        return std::nullopt;
    }
    if (scenario.contains("cliVersion") && scenario["cliVersion"] == "$version") scenario["cliVersion"] = state.version;
    return scenario;
}

}  // namespace corvane::sim
