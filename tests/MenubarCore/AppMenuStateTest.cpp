#include "AppMenuState.h"

#include <gtest/gtest.h>

#include "MenuTime.h"

namespace corvane {
namespace {

const Instant launched = *parseMenuTime("2025-03-01T10:00:00Z");

MenuPayload payloadWith(double refreshSeconds, std::optional<MenuIcon> icon) {
    MenuPayload payload;
    payload.appEnv = "production";
    payload.cliVersion = "1.4.2";
    payload.icon = icon;
    payload.refreshSeconds = refreshSeconds;
    payload.items = {row::Section{"Agents"}};
    return payload;
}

TEST(AppMenuState, DecidesInAFixedOrder) {
    const MenuPayload payload = payloadWith(30, MenuIcon::running);
    const Instant answeredAt = plusSeconds(launched, 100);
    struct Row {
        const char* name;
        double sinceLaunch;
        std::optional<bool> cliLocated;
        bool hasPayload, hasAnswerTime;
        std::optional<std::int64_t> mismatch;
        std::int64_t failures;
        std::optional<std::string> detail;
        AppMenuState expected;
    };
    const Row rows[] = {
        {"mismatch beats a fresh payload", 100, true, true, true, 7, 0, {}, appstate::ContractMismatch{7}},
        {"search running", 500, {}, false, false, {}, 9, {}, appstate::Checking{}},
        {"no CLI", 0, false, true, true, {}, 0, {}, appstate::CliNotFound{}},
        {"fresh at exactly two intervals", 160, true, true, true, {}, 0, {}, appstate::Payload{payload}},
        {"stale just after two intervals", 160.001, true, true, true, {}, 0, {}, appstate::StalePayload{payload, answeredAt}},
        {"payload without its time counts as none", 5, true, true, false, {}, 2, "boom", appstate::Unresponsive{"boom"}},
        {"first failure within two minutes", 120, true, false, false, {}, 1, {}, appstate::Checking{}},
        {"first failure after two minutes", 120.5, true, false, false, {}, 1, {}, appstate::Unresponsive{}},
        {"clock before launch", -30, true, false, false, {}, 0, {}, appstate::Checking{}},
    };
    for (const auto& row : rows) {
        const AppStateInputs in{row.cliLocated, row.hasPayload ? std::optional(payload) : std::nullopt,
                                row.hasAnswerTime ? std::optional(answeredAt) : std::nullopt, row.mismatch, row.failures,
                                row.detail, launched, plusSeconds(launched, row.sinceLaunch)};
        EXPECT_EQ(appMenuState(in), row.expected) << row.name;
    }
}

TEST(AppMenuState, ShowsAnIconOnlyForAFreshPayload) {
    const std::pair<AppMenuState, IconState> rows[] = {
        {appstate::Payload{payloadWith(60, MenuIcon::attention)}, IconState::attention},
        {appstate::Payload{payloadWith(60, std::nullopt)}, IconState::unknown},
        {appstate::StalePayload{payloadWith(60, MenuIcon::attention), launched}, IconState::unknown},
        {appstate::Unresponsive{}, IconState::unknown}, {appstate::ContractMismatch{2}, IconState::unknown},
    };
    for (const auto& [state, icon] : rows) EXPECT_EQ(iconState(state), icon) << stateName(state);
}

TEST(AppMenuState, BakesItsOwnRows) {
    const MenuAction diagnostics{"Copy Diagnostics", verb::Diagnostics{}, {}, {}, true};
    const std::string notResponding = "The Corvane CLI isn't responding";
    const Instant now = plusSeconds(launched, 185);
    // A problem row offers Copy Diagnostics unless it names another action.
    const auto problem = [&](std::string title, std::string subtitle, std::optional<MenuAction> action = {}) {
        return MenuItem(row::Status{StatusMark::problem, std::move(title), std::move(subtitle), {}, action.value_or(diagnostics)});
    };
    const auto muted = [](std::string title) { return MenuItem(row::Status{StatusMark::muted, std::move(title), {}, {}, {}}); };
    const MenuItem neverAnswered = problem(notResponding, "It hasn't answered since this app started.");
    using Rows = std::vector<MenuItem>;
    struct Row { AppMenuState state; std::optional<Rows> expected; };
    const Row rows[] = {
        {appstate::Payload{payloadWith(60, MenuIcon::running)}, std::nullopt},
        {appstate::CliNotFound{},
         Rows{problem("The Corvane CLI isn't installed", "Install the CLI to connect this app.",
                      MenuAction{"Copy Install Command", verb::Copy{"npm install -g @usecorvane/cli && corvane init"}, {}, {}, true})}},
        {appstate::Checking{}, Rows{muted("Connecting to the Corvane CLI\xE2\x80\xA6")}},
        {appstate::ContractMismatch{2}, Rows{problem("This app is too old for the installed Corvane CLI",
                                                     "The CLI now speaks menu format 2; this app speaks 1. Update the app.")}},
        {appstate::Unresponsive{"corvane menu didn't answer within 90 seconds"},
         Rows{neverAnswered, muted("corvane menu didn't answer within 90 seconds")}},
        {appstate::Unresponsive{""}, Rows{neverAnswered}},
        {appstate::StalePayload{payloadWith(60, MenuIcon::running), launched},
         Rows{problem(notResponding, "No answer for 3 minutes. This menu can't show current status.")}},
    };
    for (const auto& row : rows) EXPECT_EQ(bakedMenuItems(row.state, now), row.expected) << stateName(row.state);
}

}  // namespace
}  // namespace corvane
