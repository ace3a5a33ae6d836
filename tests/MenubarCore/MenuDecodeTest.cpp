#include "MenuDecode.h"

#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "MenuJson.h"
#include "MenuTime.h"
#include "UntrustedInput.h"

namespace corvane {

// Failed comparisons print rows as JSON rather than as bytes.
inline void PrintTo(const MenuItem& item, std::ostream* out) { *out << rowJson(item).dump(); }

namespace {

using Json = nlohmann::json;

const Instant now = *parseMenuTime("2025-03-01T10:05:00Z");

Json base() {
    return Json::parse(R"({"contract": 1, "appEnv": "production", "cliVersion": "1.4.2", "icon": "running",
                           "refreshSeconds": 30, "watchPaths": ["/home/u/.corvane"], "items": [], "more": []})");
}

std::string answerWith(const Json& changes) {
    Json answer = base();
    answer.merge_patch(changes);
    return answer.dump();
}

MenuDecodeResult decode(const std::string& bytes) { return decodeMenuPayload(bytes, now); }

const MenuPayload* payloadOf(const MenuDecodeResult& result) { return std::get_if<MenuPayload>(&result); }

std::string describe(const MenuDecodeResult& result) {
    if (auto* invalid = std::get_if<decode::Invalid>(&result)) return "invalid: " + invalid->message;
    if (auto* mismatch = std::get_if<decode::ContractMismatch>(&result))
        return "mismatch: " + std::to_string(mismatch->found);
    return "payload";
}

// The payload `bytes` decode to; an answer that does not decode fails the test and reads as an empty payload.
MenuPayload decoded(const std::string& bytes) {
    auto result = decode(bytes);
    auto* payload = payloadOf(result);
    EXPECT_TRUE(payload) << describe(result) << " for " << bytes.substr(0, 300);
    return payload ? *payload : MenuPayload{};
}

std::vector<MenuItem> rowsOf(const Json& items) { return decoded(answerWith({{"items", items}})).items; }

MenuAction act(std::string title, MenuVerb verb, std::optional<Arguments> report = {},
               std::optional<std::string> badge = {}) {
    return MenuAction{std::move(title), std::move(verb), std::move(report), std::move(badge), true};
}

MenuItem actionRow(std::string title, MenuVerb verb) { return row::Action{act(std::move(title), std::move(verb))}; }

Json item(const char* type, Json fields) {
    fields["type"] = type;
    return fields;
}

TEST(MenuDecode, StrictAtTheTop) {
    struct Row { std::string bytes, expected; };  // expected: "mismatch: N" or the start of "invalid: ..."
    const Row rows[] = {  // a null in the changes removes the key
        {answerWith({{"contract", 2}}), "mismatch: 2"},
        {answerWith({{"contract", 2}, {"items", nullptr}}), "invalid: items: missing"},
        {answerWith({{"contract", "1"}}), "invalid: contract: expected an integer, found a string"},
        {R"({"contract": 9223372036854775808})", "invalid: contract: expected an integer"},
        {answerWith({{"cliVersion", nullptr}}), "invalid: cliVersion: missing"},
        {answerWith({{"watchPaths", {"/a", 3}}}), "invalid: watchPaths[1]: expected a string, found a number"},
        {answerWith({{"items", {Json::object(), Json::object(), 5}}}), "invalid: items[2]: expected an object"},
        {answerWith({{"more", {{{"type", "action"}, {"run", {"ok", 2}}}}}}),
         "invalid: more[0].run[1]: expected a string"},
        {answerWith({{"items", {{{"type", "submenu"}, {"title", "S"}, {"items", {{{"diagnostics", "yes"}}}}}}}}),
         "invalid: items[0].items[0].diagnostics: expected a boolean, found a string"},
        // Strict keys fail on any item type, even one that would not be shown.
        {answerWith({{"items", {{{"type", "weird"}, {"badge", 1}}}}}), "invalid: items[0].badge: expected a string"},
        // The version check comes after the whole answer was read.
        {answerWith({{"contract", 2}, {"items", {{{"title", 1}}}}}), "invalid: items[0].title"},
        {std::string("\x00\xff\xfe{", 4), "invalid: not a JSON answer"},
        {answerWith({{"appEnv", "x"}}).replace(1, 0, "\"bad\xc3\x28\": 1, "), "invalid: not a JSON answer"},
    };
    for (const auto& row : rows) {
        std::string got = describe(decode(row.bytes));
        EXPECT_EQ(got.substr(0, row.expected.size()), row.expected) << row.bytes << "\n got " << got;
    }
}

TEST(MenuDecode, LenientKeysNeverFailTheAnswer) {
    const Json damaged[] = {
        {{"cliUpdate", 5}}, {{"cliUpToDateAt", "yesterday"}}, {{"desktopDiagnostic", 3}},
        // A damaged enrollment or a missing file path spoils the whole block, not the answer.
        {{"snapshotFiles", {{"snapshot", "/s"}, {"refreshRequest", "/r"}}}},
        {{"snapshotFiles", {{"snapshot", "/s"}, {"refreshRequest", "r"}, {"openRequest", "/o"}}}},
        {{"snapshotIdentity", {{"apiUrl", "a"}, {"webUrl", "w"}, {"enrollment", {{"machineId", "m"}, {"orgId", 4}}}}}},
        {{"items", {item("action", {{"title", "T"}, {"run", Json::array()}, {"presentation", 5}, {"dismiss", "x"},
                                    {"agent", Json::array()}, {"focus", 1}, {"background", ""}, {"reportClick", Json::object()}})}}},
        {{"items", {item("status", {{"title", "T"}, {"dismiss", {{"items", {1}}}}})}}},
    };
    for (const auto& changes : damaged) {
        const MenuPayload p = decoded(answerWith(changes));
        EXPECT_TRUE(!p.cliUpToDateAt && !p.snapshotFiles && !p.snapshotIdentity && !p.desktopDiagnostic && !p.refreshReport)
            << changes.dump();
        EXPECT_LE(p.items.size(), 1u) << changes.dump();
    }
    const MenuPayload payload = decoded(answerWith(
        {{"icon", "sleeping"}, {"cliUpToDateAt", "2025-03-01T09:00:00.5Z"}, {"unknownKey", {1}},
         {"snapshotFiles", {{"snapshot", "/s"}, {"refreshRequest", "/r"}, {"openRequest", "/o"}}},
         {"snapshotIdentity", {{"apiUrl", "https://api"}, {"webUrl", "https://web"}, {"enrollment", {{"machineId", "m1"}}}}}}));
    EXPECT_FALSE(payload.icon);
    EXPECT_EQ(payload.cliUpToDateAt, parseMenuTime("2025-03-01T09:00:00.500Z"));
    EXPECT_EQ(payload.snapshotFiles, (SnapshotFiles{"/s", "/r", "/o"}));
    EXPECT_EQ(payload.snapshotIdentity,
              (SnapshotIdentity{"production", "1.4.2", "https://api", "https://web", SnapshotEnrollment{"m1", {}}}));
}

TEST(MenuDecode, MapsEachRowType) {
    struct Row { Json item; std::vector<MenuItem> expected; };
    const Arguments report3{"report-agent-click", "s1", "corvane"}, report5{"report-agent-click", "s1", "corvane", "x", "y"};
    const Json focus = {{"tty", "/dev/t"}, {"appPid", 7}}, sync = {{"argv", {"sync"}}, {"progress", "Syncing…"}, {"detail", "d"}};
    const Row rows[] = {
        {item("header", {{"title", "Corvane"}, {"subtitle", "acme"}, {"trailing", "v1"}}), {row::Header{"Corvane", "acme", "v1"}}},
        {item("section", {{"title", "Agents"}}), {row::Section{"Agents"}}},
        {item("status", {{"title", "T"}, {"mark", "error"}}), {row::Status{StatusMark::muted, "T", {}, {}, {}}}},
        {item("status", {{"title", "T"}, {"mark", "warn"}, {"subtitle", "S"}, {"dismiss", {{"title", "D"}, {"run", {"d"}}}}}),
         {row::Status{StatusMark::warn, "T", "S", act("D", verb::Run{{"d"}}), {}}}},
        {item("connection", {{"name", "G"}, {"state", "connected"}, {"mark", "ok"}, {"checkedAt", "2025-03-01T10:00:00Z"}}),
         {row::Connection{ConnectionMark::ok, "G", "connected, checked 5m ago", {}, {}}}},
        {item("connection", {{"name", "G"}, {"state", "on, checked 2d ago"}, {"mark", "problem"}, {"checkedAt", "2025-03-01T10:04:30Z"}}),
         {row::Connection{ConnectionMark::muted, "G", "on, checked just now", {}, {}}}},
        {item("connection", {{"name", "G"}}), {}},
        {item("submenu", {{"title", "More"}, {"items", {item("action", {{"title", "Docs"}, {"url", "https://d"}}), item("bogus", {})}}}),
         {row::Submenu{"More", {actionRow("Docs", verb::Url{"https://d"})}}}},
        {item("action", {{"title", "No verb"}, {"diagnostics", false}}), {}},
        // Verb choice: first match wins; a focus whose pid is out of range is passed over.
        {item("action", {{"title", "T"}, {"focus", focus}, {"terminal", {"open"}}}), {actionRow("T", verb::Focus{"/dev/t", 7, Arguments{"open"}})}},
        {item("action", {{"title", "T"}, {"focus", {{"tty", "/dev/t"}, {"appPid", 0}}}, {"terminal", {"open"}}}),
         {actionRow("T", verb::Terminal{{"open"}})}},
        {item("action", {{"title", "T"}, {"background", sync}, {"terminal", {"sync"}}, {"run", {"r"}}}),
         {actionRow("T", verb::Background{BackgroundAction{{"sync"}, "Syncing…", "d"}, Arguments{"sync"}})}},
        {item("action", {{"title", "T"}, {"background", {{"argv", Json::array()}, {"progress", "p"}}}, {"run", {"r"}}}),
         {actionRow("T", verb::Run{{"r"}})}},
        {item("action", {{"title", "T"}, {"diagnostics", true}}), {actionRow("T", verb::Diagnostics{})}},
        // Click reports of 3 or 5 words and the badge "paused" are kept; anything else is dropped.
        {item("action", {{"title", "T"}, {"url", "https://u"}, {"reportClick", report3}, {"badge", "paused"}}),
         {row::Action{act("T", verb::Url{"https://u"}, report3, "paused")}}},
        {item("action", {{"title", "T"}, {"url", "https://u"}, {"reportClick", report5}, {"badge", "new"}}), {row::Action{act("T", verb::Url{"https://u"}, report5)}}},
        {item("action", {{"title", "T"}, {"url", "https://u"}, {"reportClick", {"report-agent-click", "a", "b", "c"}}}), {actionRow("T", verb::Url{"https://u"})}},
        // Agents: the title takes the age; id and icon make an agent row, else a plain action.
        {item("action", {{"title", "Fix · 3m ago"}, {"run", {"o"}}, {"reportClick", report3},
                         {"agent", {{"id", "s1"}, {"icon", "claude"}, {"status", "working"}, {"statusLabel", "Working"},
                                    {"lastActivityAt", "2025-03-01T10:00:00Z"},
                                    {"harness", {{"title", "H"}, {"focus", focus}, {"badge", "paused"}}}}}}),
         {row::Agent{AgentRow{"s1", "claude", "working", "Working", act("H", verb::Focus{"/dev/t", 7, std::nullopt}, {}, "paused"),
                              act("Fix · 5m ago", verb::Run{{"o"}}, report3)}}}},
        {item("action", {{"title", "Fix"}, {"run", {"o"}}, {"agent", {{"id", "s1"}, {"icon", 5}, {"lastActivityAt", "2025-03-01T10:05:00Z"}}}}),
         {actionRow("Fix · just now", verb::Run{{"o"}})}},
        {item("action", {{"title", "Fix"}, {"run", {"o"}},
                         {"agent", {{"id", "s1"}, {"icon", "codex"}, {"statusLabel", 3}, {"harness", {{"title", 3}, {"url", "https://u"}}}}}}),
         {row::Agent{AgentRow{"s1", "codex", {}, {}, {}, act("Fix", verb::Run{{"o"}})}}}},
        // Presentations: a status or connection row carrying the action.
        {item("action", {{"title", "Open"}, {"url", "https://u"},
                         {"presentation", item("status", {{"title", "R"}, {"mark", "warn"}, {"dismiss", {{"title", "H"}, {"run", {"h"}}}}})}}),
         {row::Status{StatusMark::warn, "R", {}, act("H", verb::Run{{"h"}}), act("Open", verb::Url{"https://u"})}}},
        {item("action", {{"title", "Re"}, {"run", {"a"}}, {"presentation", item("connection", {{"name", "S"}, {"state", "expired"}})}}),
         {row::Connection{ConnectionMark::muted, "S", "expired", {}, act("Re", verb::Run{{"a"}})}}},
    };
    for (const auto& row : rows) EXPECT_EQ(rowsOf(Json::array({row.item})), row.expected) << row.item.dump();
}

TEST(MenuDecode, DropsPlainRowsThatTheNextActionPresents) {
    const Json status = {{"type", "status"}, {"title", "Sync paused"}, {"mark", "paused"}};
    const Json presenting = {{"type", "action"}, {"title", "Resume"}, {"run", {"resume"}}, {"presentation", status}};
    const Json presentingNoVerb = {{"type", "action"}, {"title", "Resume"}, {"presentation", status}};
    const row::Status shown{StatusMark::paused, "Sync paused", {}, {}, act("Resume", verb::Run{{"resume"}})};
    const row::Status plain{StatusMark::paused, "Sync paused", {}, {}, {}};
    struct Row { Json items; std::vector<MenuItem> expected; };
    const Row rows[] = {
        {{status, presenting}, {shown}},
        {{presenting, status}, {shown, plain}},
        {{status, presentingNoVerb}, {}},
        {{{{"type", "submenu"}, {"title", "S"}, {"items", {status, presenting}}}}, {row::Submenu{"S", {shown}}}},
    };
    for (const auto& row : rows) EXPECT_EQ(rowsOf(row.items), row.expected) << row.items.dump();
}

TEST(MenuDecode, SplicesTheUpdateBlock) {
    const Json status = {{"type", "status"}, {"title", "Update available"}, {"mark", "warn"}};
    const Json presenting = {{"type", "action"}, {"title", "Update"}, {"run", {"update"}}, {"presentation", status}};
    const Json items = {{{"type", "section"}, {"title", "A"}}, status, presenting, {{"type", "section"}, {"title", "B"}}};
    const Json good = {{"startIndex", 2}, {"itemCount", 1}, {"state", "available"}, {"target", "1.5.0"},
                       {"run", {"update", "--background", "--to", "1.5.0"}}, {"logPath", "/tmp/update.log"}};
    const MenuItem update = row::CliUpdate{CliUpdate{CliUpdatePhase::available, "1.5.0", "1.4.2", {}, false,
                                                     {"update", "--background", "--to", "1.5.0"}, "/tmp/update.log"}};
    const MenuItem sectionA = row::Section{"A"}, sectionB = row::Section{"B"};
    const MenuItem plain = row::Status{StatusMark::warn, "Update available", {}, {}, {}};
    const MenuItem shown = row::Status{StatusMark::warn, "Update available", {}, {}, act("Update", verb::Run{{"update"}})};
    const std::vector<MenuItem> unspliced{sectionA, shown, sectionB};

    auto with = [&](const Json& patch) { Json block = good; block.merge_patch(patch); return block; };
    struct Row { Json block; std::vector<MenuItem> expected; };
    std::vector<Row> rows = {
        // The plain row before the block stays: the dedupe does not look across the block.
        {good, {sectionA, plain, update, sectionB}},
        {with({{"startIndex", 1}, {"itemCount", 2}}), {sectionA, update, sectionB}},
        {with({{"startIndex", 0}, {"itemCount", 4}, {"state", "installing"}, {"detail", "d"}}),
         {row::CliUpdate{CliUpdate{CliUpdatePhase::installing, "1.5.0", "1.4.2", "d", false,
                                   {"update", "--background", "--to", "1.5.0"}, "/tmp/update.log"}}}},
    };
    const Json refused[] = {{{"itemCount", 0}}, {{"itemCount", 3}}, {{"startIndex", 4}}, {{"startIndex", -1}},
        {{"itemCount", 9223372036854775807LL}}, {{"state", "succeeded"}}, {{"logPath", "logs/update.log"}},
        {{"run", {"update"}}}, {{"run", {"--background", "update"}}}, {{"target", 3}}};
    for (const auto& patch : refused) rows.push_back({with(patch), unspliced});
    for (const auto& row : rows)
        EXPECT_EQ(decoded(answerWith({{"items", items}, {"cliUpdate", row.block}})).items, row.expected) << row.block.dump();
    // Rows inside the replaced range are still read strictly.
    Json badFallback = items;
    badFallback[2]["title"] = 1;
    EXPECT_EQ(describe(decode(answerWith({{"items", badFallback}, {"cliUpdate", good}}))).substr(0, 25),
              "invalid: items[2].title: ");
}

TEST(MenuDecode, ReadsTheDesktopDiagnosticFieldByField) {
    struct Row { Json diagnostic; std::optional<ClientDiagnostic> expected; std::optional<CliRefreshReport> report; };
    const auto poll = DiagnosticOperation::claudeDesktopRegistry;
    const CliRefreshReport empty;  // a present diagnostic always carries a report, empty or not
    const Row rows[] = {
        {{{"outcome", "failed"}, {"domain", "Node"}, {"code", "ECONNREFUSED"}},
         ClientDiagnostic{poll, DiagnosticOutcome::failed, "Node", "ECONNREFUSED", {}, {}}, empty},
        {{{"outcome", "denied"}, {"domain", "bad domain!"}, {"code", -13}, {"stageMs", 2}, {"requests", "r"}},
         ClientDiagnostic{poll, DiagnosticOutcome::denied, {}, "-13", {}, {}}, empty},
        {{{"outcome", "not-needed"}, {"code", "/Users/someone/secret path"}},
         ClientDiagnostic{poll, DiagnosticOutcome::notNeeded, {}, {}, {}, {}}, empty},
        {{{"outcome", "exploded"}, {"domain", "Node"}}, {}, empty},
        {{{"stageMs", {{"fetch", 120.4}, {"Fetch", 1}, {"render", -1}, {"parse", "5"}, {"cacheRead", 86400000.5}, {"total", 0.5}}}},
         {},
         CliRefreshReport{{{"fetch", 120}, {"total", 1}}, {}}},
        {{{"outcome", "failed"},
          {"requests", {{{"route", "agents"}, {"status", 200}, {"requestId", "req-1"}, {"durationMs", 85.5}},
                        {{"route", "Agents"}, {"durationMs", 1}},
                        {{"route", "orgs"}, {"status", 99}, {"requestId", "bad id"}, {"durationMs", 3}},
                        {{"route", "orgs"}, {"status", 600}},
                        {{"route", "me"}, {"status", "200"}, {"durationMs", 0}},
                        7}}},
         ClientDiagnostic{poll, DiagnosticOutcome::failed, {}, {}, {}, {}},
         CliRefreshReport{{}, {{"agents", 200, "req-1", 86}, {"orgs", {}, {}, 3}, {"me", {}, {}, 0}}}},
    };
    for (const auto& row : rows) {
        const MenuPayload payload = decoded(answerWith({{"desktopDiagnostic", row.diagnostic}}));
        EXPECT_EQ(payload.desktopDiagnostic, row.expected) << row.diagnostic.dump();
        EXPECT_EQ(payload.refreshReport, row.report) << row.diagnostic.dump();
    }

    // Only the first 16 requests are looked at.
    Json many = Json::array();
    for (int i = 0; i < 40; ++i) many.push_back({{"route", "r"}, {"durationMs", i}});
    many[3] = "not a request";
    const auto report = decoded(answerWith({{"desktopDiagnostic", {{"requests", many}}}})).refreshReport;
    ASSERT_TRUE(report);
    EXPECT_EQ(report->requests.size(), 15u);
    EXPECT_EQ(report->requests.back().durationMs, 15);
}

int depthOf(const std::vector<MenuItem>& items) {
    int depth = 0;
    const std::vector<MenuItem>* level = &items;
    while (!level->empty() && level->front().is<row::Submenu>()) {
        ++depth;
        level = &level->front().as<row::Submenu>()->items;
    }
    return depth;
}

// The answer with `rows` (JSON text) as its items.
std::string answerWithItems(const std::string& rows) {
    std::string answer = answerWith({{"items", Json::array()}});
    return answer.replace(answer.find("\"items\":[]") + 9, 0, rows);
}

// `open` and `close` around `middle`, `times` deep.
std::string nested(const std::string& open, const std::string& middle, const std::string& close, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += open;
    text += middle;
    for (int i = 0; i < times; ++i) text += close;
    return text;
}

TEST(MenuDecode, SurvivesHostileAnswers) {
    // 100,000 nested submenus: rows below the depth limit are dropped, nothing overflows the stack.
    const std::string submenus = nested(R"({"type":"submenu","title":"S","items":[)", "", "]}", 100'000);
    EXPECT_EQ(depthOf(decoded(answerWithItems(submenus)).items), maxMenuDepth);
    // The same through presentations and dismiss items.
    const std::string actions =
        nested(R"({"type":"action","title":"A","url":"https://u","dismiss":{"title":"D","url":"https://v","presentation":)", "1", "}}", 100'000);
    EXPECT_EQ(decoded(answerWithItems(actions)).items, std::vector<MenuItem>{actionRow("A", verb::Url{"https://u"})});
    // Deeply nested arrays are not an answer, and freeing them must not recurse either.
    const std::string arrays = nested("[", "", "]", 300'000);
    EXPECT_EQ(describe(decode(arrays)).substr(0, 16), "invalid: answer:");
    EXPECT_EQ(describe(decode(answerWithItems(arrays))).substr(0, 20), "invalid: items[0]: e");
}

// What an action hands to the system (CLI arguments, a terminal device, an opener) must reach it
// exactly as the row says and be something the app means to open: a verb that fails this is
// dropped like any damaged verb, and the next verb key is tried.
TEST(MenuDecode, VerbsHandNothingOnThatTheSystemWouldMisread) {
    const std::string nul("a\0b", 3);
    const auto action = [](Json verbs) {
        verbs["title"] = "T";
        return item("action", std::move(verbs));
    };
    struct Row { Json item; std::vector<MenuItem> rows; };
    const Row rows[] = {
        {action({{"run", {"x", nul}}}), {}},
        {action({{"run", {nul}}, {"url", "https://x"}}), {actionRow("T", verb::Url{"https://x"})}},
        {action({{"terminal", {nul}}}), {}},
        {action({{"background", {{"argv", {nul}}, {"progress", "p"}, {"detail", "d"}}}}), {}},
        {action({{"focus", {{"tty", "/dev/pts/3"}, {"appPid", 7}}}}), {actionRow("T", verb::Focus{"/dev/pts/3", 7, {}})}},
        {action({{"focus", {{"tty", "/dev/ttys1" + nul}, {"appPid", 7}}}, {"terminal", {"t"}}}),
         {actionRow("T", verb::Terminal{{"t"}})}},
        {action({{"focus", {{"tty", "/dev/../home/u/fifo"}, {"appPid", 7}}}}), {}},
        {action({{"url", "https://x"}, {"reportClick", {"report-agent-click", "a", nul}}}), {actionRow("T", verb::Url{"https://x"})}},
        {action({{"url", "HTTP://X"}}), {actionRow("T", verb::Url{"HTTP://X"})}},
        {action({{"url", "claude://sessions/1"}}), {actionRow("T", verb::Url{"claude://sessions/1"})}},
        {action({{"url", "javascript:alert(1)"}}), {}},
        {action({{"url", "data:text/html,<script>x</script>"}}), {}},
        {action({{"url", "file:///etc/passwd"}}), {}},
        {action({{"url", "vscode://open?x"}}), {}},
        {action({{"url", "--help"}}), {}},
        {action({{"url", "https://x/a b"}}), {}},
        {action({{"url", "https://x/" + std::string(urlLengthLimit, 'a')}}), {}},
        {action({{"file", "/home/u/notes.txt"}}), {actionRow("T", verb::File{"/home/u/notes.txt"})}},
        {action({{"file", "notes.txt"}}), {}},
        {action({{"file", "-n"}}), {}},
        {action({{"file", "/home/u/run.desktop"}}), {}},
        {action({{"file", "/Applications/Evil.APP/"}}), {}},
        {action({{"file", "/home/u/x" + nul}}), {}},
        {action({{"copy", "text"}}), {actionRow("T", verb::Copy{"text"})}},
        {action({{"copy", nul}}), {}},
        {action({{"copy", std::string(copyTextLimit + 1, 'c')}}), {}},
    };
    for (const auto& row : rows) EXPECT_EQ(rowsOf(Json::array({row.item})), row.rows) << row.item.dump().substr(0, 200);
}

// However many rows and folders an answer names, the app builds a bounded menu and watches a
// bounded set of absolute folders.
TEST(MenuDecode, OneAnswerCostsABoundedMenu) {
    const auto numbered = [](std::size_t count) {
        Json rows = Json::array();
        for (std::size_t i = 0; i < count; ++i) rows.push_back(item("action", {{"title", std::to_string(i)}, {"run", {"r"}}}));
        return rows;
    };
    const auto leftOut = [](const char* count) {
        return MenuItem(row::Status{StatusMark::muted, std::string(count) + " not shown", "A menu shows at most 1,000 rows.", {}, {}});
    };
    // Past the limit the rest of a list is not read; each list that lost rows says how many.
    const MenuPayload flat = decoded(answerWith({{"items", numbered(2'500)}, {"more", numbered(1)}}));
    ASSERT_EQ(flat.items.size(), maxMenuRows + 1);
    EXPECT_EQ(flat.items.back(), leftOut("1,500 more rows"));
    EXPECT_EQ(flat.more, std::vector<MenuItem>{leftOut("1 more row")});
    const MenuPayload nested = decoded(answerWith({{"items", {item("submenu", {{"title", "S"}, {"items", numbered(1'200)}}), numbered(1)[0]}}}));
    ASSERT_EQ(nested.items.size(), 2u);
    const auto& submenu = nested.items[0].as<row::Submenu>()->items;
    ASSERT_EQ(submenu.size(), maxMenuRows + 1);
    EXPECT_EQ(submenu.back(), leftOut("200 more rows"));
    EXPECT_EQ(nested.items[1], leftOut("1 more row"));

    Json paths = {"/a", "relative", "/a", "/b" + std::string("\0x", 2), ""};
    std::vector<std::string> expected{"/a"};
    for (std::size_t i = 0; i < 100; ++i) {
        paths.push_back("/w/" + std::to_string(i));
        if (expected.size() < maxWatchPaths) expected.push_back("/w/" + std::to_string(i));
    }
    EXPECT_EQ(decoded(answerWith({{"watchPaths", paths}})).watchPaths, expected);
}

// Copied text is often pasted into a terminal: an escape sequence in it (the end of a bracketed
// paste) could run the rest as typed, so its controls are copied as U+FFFD; tabs and line ends stay.
TEST(MenuDecode, CopiedTextHoldsNoEscapeSequence) {
    const std::pair<std::string, std::string> rows[] = {{"a\tb\r\nc", "a\tb\r\nc"},
                                                        {"ls\x1b[201~rm\n", "ls\uFFFD[201~rm\n"},
                                                        {"\xc2\x9b" "201~", "\uFFFD" "201~"},
                                                        {"x\x7f", "x\uFFFD"}};
    for (const auto& [text, copied] : rows)
        EXPECT_EQ(rowsOf(Json::array({item("action", {{"title", "T"}, {"copy", text}})})),
                  std::vector<MenuItem>{actionRow("T", verb::Copy{copied})}) << text;
}

}  // namespace
}  // namespace corvane
