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
    struct Row {
        const char* name;
        MenuAction action;
        ActionRunState::Phase phase;
        std::vector<MenuItem> expected;
    };
    const std::vector<Row> rows = {
        {"failed run offers its own arguments in a terminal", act("Log in", verb::Run{{"login", "--web"}}), failed,
         {problem("Log in"), retry, actionRow("Continue in Terminal…", verb::Terminal{{"login", "--web"}}), dismiss,
          separator}},
        {"failed background offers its fallback", act("Sync", backgroundWithFallback), failed,
         {problem("Sync"), retry, actionRow("Continue in Terminal…", verb::Terminal{{"sync", "--all", "--verbose"}}),
          dismiss, separator}},
        {"failed background without fallback has four rows", act("Sync", backgroundNoFallback), failed,
         {problem("Sync"), retry, dismiss, separator}},
        {"failed update has no terminal row", act("Update", verb::CliUpdate{}), failed,
         {problem("Update"), retry, dismiss, separator}},
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
    MenuAction dismissAction = act("Hide", verb::Run{{"dismiss", "x"}});
    dismissAction.isEnabled = true;

    const auto statusWith = [&](MenuVerb verb, bool enabled) {
        MenuAction a = act("Fix", std::move(verb));
        a.isEnabled = enabled;
        return MenuItem(row::Status{StatusMark::warn, "Problem", std::nullopt, dismissAction, a});
    };
    const auto connectionWith = [&](MenuVerb verb, bool enabled) {
        MenuAction a = act("Reconnect", std::move(verb));
        a.isEnabled = enabled;
        return MenuItem(row::Connection{ConnectionMark::warn, "GitHub", "expired", std::nullopt, a});
    };
    const MenuItem copy = actionRow("Copy", verb::Copy{"text"});
    const MenuItem focus = actionRow("Focus", verb::Focus{"/dev/ttys001", 12, std::nullopt});
    const MenuItem agent = row::Agent{AgentRow{"a1", "claude", std::nullopt, std::nullopt, std::nullopt,
                                               act("Open", verb::Url{"corvane://a1"})}};
    CliUpdate blockedUpdate = update;
    blockedUpdate.isBlocked = true;

    // Each row is checked on its own, at the top level and two submenus deep.
    struct Row {
        const char* name;
        MenuItem given;
        MenuItem expected;
    };
    const std::vector<Row> rows = {
        {"run", actionRow("Log in", verb::Run{{"login"}}), blocked("Log in")},
        {"terminal", actionRow("Open in Terminal", verb::Terminal{{"x"}}), blocked("Open in Terminal")},
        {"background", actionRow("Sync", backgroundNoFallback), blocked("Sync")},
        {"update verb", actionRow("Update", verb::CliUpdate{update}), blocked("Update")},
        {"update row", row::CliUpdate{update}, row::CliUpdate{blockedUpdate}},
        {"status with CLI action", statusWith(verb::Run{{"fix"}}, true), statusWith(verb::Run{{"fix"}}, false)},
        {"status with url action", statusWith(verb::Url{"https://x"}, true), statusWith(verb::Url{"https://x"}, true)},
        {"connection with CLI action", connectionWith(verb::Terminal{{"auth"}}, true),
         connectionWith(verb::Terminal{{"auth"}}, false)},
        {"copy", copy, copy},
        {"focus", focus, focus},
        {"agent", agent, agent},
        {"header", row::Header{"Corvane", "sub", std::nullopt}, row::Header{"Corvane", "sub", std::nullopt}},
        {"separator", row::Separator{}, row::Separator{}},
    };
    const ActionRunState running{act("Log in", verb::Run{{"login"}}), ActionRunState::Running{}};
    const ActionRunState failed{act("Log in", verb::Run{{"login"}}), ActionRunState::Failed{"boom"}};
    const auto nest = [](const MenuItem& item) {
        return MenuItem(row::Submenu{"Outer", {row::Section{"s"}, row::Submenu{"Inner", {item}}}});
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(running.presenting({r.given}), std::vector<MenuItem>{r.expected});
        EXPECT_EQ(running.presenting({nest(r.given)}), std::vector<MenuItem>{nest(r.expected)});
        EXPECT_EQ(failed.presenting({nest(r.given)}), std::vector<MenuItem>{nest(r.given)});
    }
}

}  // namespace
}  // namespace corvane
