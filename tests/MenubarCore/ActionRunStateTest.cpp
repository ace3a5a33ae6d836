#include "ActionRunState.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace corvane {
namespace {

MenuAction act(std::string title, MenuVerb verb) {
    return MenuAction{std::move(title), std::move(verb), std::nullopt, std::nullopt, true};
}
MenuItem actionRow(std::string title, MenuVerb verb) { return row::Action{act(std::move(title), std::move(verb))}; }
MenuItem statusRow(StatusMark mark, std::string title, std::optional<std::string> subtitle) {
    return row::Status{mark, std::move(title), std::move(subtitle), std::nullopt, std::nullopt};
}
MenuItem blocked(std::string title) { return statusRow(StatusMark::muted, std::move(title), "Another command is running"); }

const verb::Background backgroundWithFallback{{{"sync", "--all"}, "Syncing…", "Fetching sessions"},
                                              Arguments{"sync", "--all", "--verbose"}};
const verb::Background backgroundNoFallback{{{"sync"}, "Syncing…", "Fetching"}, std::nullopt};

TEST(ActionRunState, ItemsByPhaseAndVerb) {
    const ActionRunState::Phase failed = ActionRunState::Failed{"Cancelled. You can retry when you're ready."};
    const ActionRunState::Phase running = ActionRunState::Running{};
    const auto problem = [](std::string title) {
        return statusRow(StatusMark::problem, "Couldn't finish: " + title, "Cancelled. You can retry when you're ready.");
    };
    const MenuItem retry = actionRow("Retry", verb::RetryRun{});
    const MenuItem dismiss = actionRow("Dismiss", verb::DismissRun{});
    const MenuItem separator = row::Separator{};
    struct Row { const char* name; MenuAction action; ActionRunState::Phase phase; std::vector<MenuItem> expected; };
    const std::vector<Row> rows = {
        {"failed run offers its own arguments in a terminal", act("Log in", verb::Run{{"login", "--web"}}), failed,
         {problem("Log in"), retry, actionRow("Continue in Terminal…", verb::Terminal{{"login", "--web"}}), dismiss,
          separator}},
        {"failed background offers its fallback", act("Sync", backgroundWithFallback), failed,
         {problem("Sync"), retry, actionRow("Continue in Terminal…", verb::Terminal{{"sync", "--all", "--verbose"}}),
          dismiss, separator}},
        {"failed background without fallback has four rows", act("Sync", backgroundNoFallback), failed,
         {problem("Sync"), retry, dismiss, separator}},
        {"failed terminal verb has no terminal row", act("Open", verb::Terminal{{"x"}}), failed,
         {problem("Open"), retry, dismiss, separator}},
        {"running background shows its progress and Cancel", act("Sync", backgroundWithFallback), running,
         {statusRow(StatusMark::muted, "Syncing…", "Fetching sessions"), actionRow("Cancel", verb::CancelRun{}),
          separator}},
        {"running other verb shows its title", act("Log in", verb::Run{{"login"}}), running,
         {statusRow(StatusMark::muted, "Running: Log in", std::nullopt), separator}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        const ActionRunState state{r.action, r.phase};
        EXPECT_EQ(state.items(), r.expected);
        EXPECT_EQ(state.isRunning(), std::holds_alternative<ActionRunState::Running>(r.phase));
    }
}

TEST(ActionRunState, RunningBlocksCliRowsAtEveryLevelAndLeavesTheRestClickable) {
    CliUpdate update;
    update.run = {"update", "--background"};
    const MenuAction dismissAction = act("Hide", verb::Run{{"dismiss", "x"}});

    const auto enabled = [](MenuAction a, bool on) { a.isEnabled = on; return a; };
    const auto statusWith = [&](MenuVerb verb, bool on) {
        return MenuItem(row::Status{StatusMark::warn, "Problem", std::nullopt, dismissAction, enabled(act("Fix", verb), on)});
    };
    const auto connectionWith = [&](MenuVerb verb, bool on) {
        return MenuItem(row::Connection{ConnectionMark::warn, "GitHub", "expired", std::nullopt, enabled(act("Re", verb), on)});
    };
    CliUpdate blockedUpdate = update;
    blockedUpdate.isBlocked = true;

    // Each row is checked on its own, at the top level and two submenus deep.
    std::vector<std::pair<MenuItem, MenuItem>> rows = {
        {actionRow("Log in", verb::Run{{"login"}}), blocked("Log in")},
        {actionRow("Sync", backgroundNoFallback), blocked("Sync")},
        {actionRow("Update", verb::CliUpdate{update}), blocked("Update")},
        {row::CliUpdate{update}, row::CliUpdate{blockedUpdate}},
        {statusWith(verb::Run{{"fix"}}, true), statusWith(verb::Run{{"fix"}}, false)},
        {connectionWith(verb::Terminal{{"auth"}}, true), connectionWith(verb::Terminal{{"auth"}}, false)},
    };
    for (const MenuItem& unchanged :
         {statusWith(verb::Url{"https://x"}, true), actionRow("Copy", verb::Copy{"text"}),
          MenuItem(row::Separator{}),
          MenuItem(row::Agent{AgentRow{"a1", "claude", {}, {}, {}, act("Open", verb::Url{"corvane://a1"})}})})
        rows.emplace_back(unchanged, unchanged);
    const ActionRunState running{act("Log in", verb::Run{{"login"}}), ActionRunState::Running{}};
    const ActionRunState failed{act("Log in", verb::Run{{"login"}}), ActionRunState::Failed{"boom"}};
    const auto nest = [](const MenuItem& item) {
        return MenuItem(row::Submenu{"Outer", {row::Section{"s"}, row::Submenu{"Inner", {item}}}});
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& [given, expected] = rows[i];
        SCOPED_TRACE("row " + std::to_string(i));
        EXPECT_EQ(running.presenting({given}), std::vector<MenuItem>{expected});
        EXPECT_EQ(running.presenting({nest(given)}), std::vector<MenuItem>{nest(expected)});
        EXPECT_EQ(failed.presenting({nest(given)}), std::vector<MenuItem>{nest(given)});
    }
}

}  // namespace
}  // namespace corvane
