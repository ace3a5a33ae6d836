#include "MenuJson.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

using Json = nlohmann::json;

MenuAction act(std::string title, MenuVerb verb) { return MenuAction{std::move(title), std::move(verb), {}, {}, true}; }

TEST(MenuJson, WritesRowsUnderModelNames) {
    const CliUpdate update{CliUpdatePhase::upToDate, std::nullopt, "1.4.2", "d", true, {"update", "--background"}, "/l"};
    MenuAction reporting = act("Fix tests · 5m ago", verb::Run{{"open", "s1"}});
    reporting.reportClick = Arguments{"report-agent-click", "s1", "corvane"};
    reporting.badge = "paused";
    reporting.isEnabled = false;
    const std::pair<MenuItem, const char*> rows[] = {
        {row::Header{"Corvane", std::nullopt, "v1"}, R"({"type":"header","title":"Corvane","trailing":"v1"})"},
        {row::CliUpdate{update},
         R"({"type":"cliUpdate","update":{"phase":"upToDate","installedVersion":"1.4.2","detail":"d","isBlocked":true,"run":["update","--background"],"logPath":"/l"}})"},
        {row::Status{StatusMark::warn, "T", "S", act("Hide", verb::DismissRun{}), act("Go", verb::Url{"u"})},
         R"({"type":"status","mark":"warn","title":"T","subtitle":"S",
             "dismiss":{"title":"Hide","verb":{"kind":"dismissRun"},"isEnabled":true},
             "action":{"title":"Go","verb":{"kind":"url","url":"u"},"isEnabled":true}})"},
        {row::Connection{ConnectionMark::ok, "GitHub", "connected", std::nullopt, act("F", verb::File{"/f"})},
         R"({"type":"connection","mark":"ok","name":"GitHub","state":"connected",
             "action":{"title":"F","verb":{"kind":"file","path":"/f"},"isEnabled":true}})"},
        {row::Submenu{"More", {row::Submenu{"Deeper", {row::Action{act("C", verb::Copy{"x"})}}}}},
         R"({"type":"submenu","title":"More","items":[{"type":"submenu","title":"Deeper","items":[
             {"type":"action","action":{"title":"C","verb":{"kind":"copy","text":"x"},"isEnabled":true}}]}]})"},
        {row::Agent{AgentRow{"s1", "claude", "working", std::nullopt,
                             act("Open in Claude", verb::Focus{"/dev/t", 42, Arguments{"open"}}), reporting}},
         R"({"type":"agent","agent":{"id":"s1","icon":"claude","status":"working",
             "harness":{"title":"Open in Claude","verb":{"kind":"focus","tty":"/dev/t","appPid":42,"fallback":["open"]},"isEnabled":true},
             "corvane":{"title":"Fix tests · 5m ago","verb":{"kind":"run","arguments":["open","s1"]},
                        "reportClick":["report-agent-click","s1","corvane"],"badge":"paused","isEnabled":false}}})"},
        {row::Action{act("B", verb::Background{BackgroundAction{{"sync"}, "Syncing…", "d"}, std::nullopt})},
         R"({"type":"action","action":{"title":"B","verb":{"kind":"background","action":{"argv":["sync"],"progress":"Syncing…","detail":"d"}},"isEnabled":true}})"},
    };
    for (const auto& [item, expected] : rows) EXPECT_EQ(rowJson(item), Json::parse(expected)) << expected;
}

TEST(MenuJson, RendersAReadableTree) {
    MenuAction corvane = act("Fix tests · 5m ago", verb::Run{{"open", "s 1"}});
    corvane.badge = "paused";
    const std::vector<MenuItem> rows{
        row::Header{"Corvane", "acme", "v1.4.2"},
        row::Status{StatusMark::problem, "Sync failed", std::nullopt, act("Hide", verb::Run{{"hide"}}),
                    act("Retry", verb::RetryRun{})},
        row::Submenu{"More", {row::Connection{ConnectionMark::ok, "GitHub", "connected", {}, {}}, row::Separator{}}},
        row::Agent{AgentRow{"s1", "claude", "working", "Working", act("Open", verb::Focus{"/dev/t", 7, {}}), corvane}},
    };
    EXPECT_EQ(rowsText(rows),
              "header     Corvane — acme  (v1.4.2)\n"
              "status     [problem] Sync failed  → retry the last command\n"
              "             dismiss: Hide  → run corvane hide\n"
              "submenu    More ▸\n"
              "  connection [ok] GitHub: connected\n"
              "  separator  ────────\n"
              "agent      [claude · working] Fix tests · 5m ago — Working  → run corvane open \"s 1\"  [paused]\n"
              "             harness: Open  → focus /dev/t (pid 7)\n");
}

}  // namespace
}  // namespace corvane
