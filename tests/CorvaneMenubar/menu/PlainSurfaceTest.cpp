#include <gtest/gtest.h>

#include "menu/MenuBuilder.h"
#include "menu/MenuKeys.h"
#include "support/MenuRows.h"
#include "menu/MemoryMenu.h"
#include "menu/PlainSurface.h"

namespace corvane {
namespace {

using namespace testrows;

const MenuAction dismissAction = urlAction("Dismiss");

MenuItem status(std::optional<MenuAction> dismiss, std::optional<MenuAction> act, std::string detail = "Last sync\n2 h ago") {
    return row::Status{StatusMark::warn, "Sync late", std::move(detail), std::move(dismiss), std::move(act)};
}

MenuItem agentWithoutHarness(const std::string& id, const std::string& title) {
    auto row = std::get<row::Agent>(agent(id, title, "working", std::nullopt).value);
    row.agent.harness.reset();
    return row;
}

class PlainSurfaceTest : public ::testing::Test {
protected:
    MemoryMenuFactory factory;
    FixedWidthTextMeasure measure{10};  // 25 characters fit in 256 points
    std::vector<std::string> performed;
    bool loginEnabled = false;
    int toggles = 0;
    MenuBuilder builder{factory, measure,
                        MenuBuilderHooks{[this](const MenuAction& a) { performed.push_back(a.title); },
                                         [this] { return loginEnabled; }, [this] { ++toggles; }, [] {}, [] {},
                                         [] { return false; }},
                        "Corvane"};

    std::vector<PlainRow> surface(std::vector<MenuItem> items, std::optional<std::vector<MenuItem>> more = std::nullopt) {
        builder.submit(MenuBuild{std::move(items), std::move(more), false});
        return plainSurface(*builder.menu());
    }
};

std::vector<std::string> targetWords(const PlainRow& row) {
    std::vector<std::string> out;
    for (const auto& target : row.targets) out.push_back(target.key + " = " + target.title);
    return out;
}

// Each kind of row: its whole text, what a screen reader says, and what a text-only surface
// offers to choose.
TEST_F(PlainSurfaceTest, EveryRowSaysItsWholeTextAndOffersEveryTargetOfThePopup) {
    const std::string longTitle = "Fix the flaky checkout tests in the billing service";
    struct Row {
        MenuItem item;
        std::string text;
        std::string spoken;
        std::vector<std::string> targets;
        bool targetsAreRow;
    };
    const std::vector<Row> rows = {
        {row::Header{"Corvane", "dana@acme.dev", std::string("2 agents")}, "Corvane — dana@acme.dev — 2 agents",
         "Corvane, dana@acme.dev, 2 agents", {}, false},
        {row::Section{"Sessions"}, "Sessions", "Sessions", {}, false},
        {agent("s1", longTitle, "working", std::nullopt), longTitle + " — Working", longTitle + ", Working",
         {"agent:s1/harness = Open in Claude", "agent:s1/corvane = Open in Corvane"}, false},
        {agentWithoutHarness("s2", "Billing v2"), "Billing v2 — Working", "Billing v2, Working",
         {"agent:s2/corvane = Open in Corvane"}, false},
        {status(std::nullopt, std::nullopt), "Sync late — Last sync — 2 h ago", "Sync late, Last sync, 2 h ago", {}, false},
        {status(dismissAction, std::nullopt), "Sync late — Last sync — 2 h ago", "Sync late, Last sync, 2 h ago",
         {"dismissible:status:Sync late/dismiss = Dismiss"}, false},
        {status(std::nullopt, urlAction("Copy Install Command")), "Sync late — Last sync — 2 h ago",
         "Sync late, Last sync, 2 h ago, Copy Install Command",
         {"statusAction:status:Sync late/main = Copy Install Command"}, false},
        {status(dismissAction, urlAction("Reconnect")), "Sync late — Last sync — 2 h ago",
         "Sync late, Last sync, 2 h ago, Reconnect",
         {"statusAction:status:Sync late/main = Reconnect", "statusAction:status:Sync late/dismiss = Dismiss"}, false},
        {row::Connection{ConnectionMark::ok, "GitHub", "connected", std::nullopt, std::nullopt}, "GitHub: connected",
         "GitHub: connected", {}, false},
        {action(longTitle), longTitle, longTitle, {"action:" + longTitle + "/main = " + longTitle}, true},
        {action("Open a/b 100%"), "Open a/b 100%", "Open a/b 100%", {"action:Open a%2Fb 100%25/main = Open a/b 100%"}, true},
        {row::CliUpdate{update(CliUpdatePhase::failed)}, "CLI update failed. Retry? — You have 1.3.0.",
         "CLI update failed. Retry?, You have 1.3.0.",
         {"cliUpdate:notice/main = CLI update failed. Retry? — You have 1.3.0."}, true},
    };
    for (const auto& r : rows) {
        const auto shown = surface({r.item});
        ASSERT_FALSE(shown.empty());
        const auto& row = shown.front();
        SCOPED_TRACE(row.key);
        EXPECT_EQ(row.text, r.text);
        EXPECT_EQ(row.spokenName, r.spoken);
        EXPECT_EQ(targetWords(row), r.targets);
        EXPECT_EQ(row.targetsAreRow, r.targetsAreRow);
        EXPECT_EQ(listsTargets(row), !r.targets.empty() && !r.targetsAreRow);
    }
}

TEST_F(PlainSurfaceTest, AppRowsEndTheMenuAndLaunchAtLoginIsACheckItemOfTheRealStatus) {
    for (const bool enabled : {false, true}) {
        loginEnabled = enabled;
        const auto rows = surface({action("Dashboard")}, std::vector<MenuItem>{action("Docs")});
        ASSERT_EQ(rows.size(), 2u);
        std::vector<std::string> keys;
        for (const auto& row : rows[1].children) keys.push_back(row.key);
        EXPECT_EQ(keys, (std::vector<std::string>{"submenu:More/action:Docs", "submenu:More/separator:action:Docs",
                                                  "submenu:More/app:launchAtLogin",
                                                  "submenu:More/separator:app:launchAtLogin", "submenu:More/app:about",
                                                  "submenu:More/app:quit"}));
        EXPECT_EQ(rows[1].children[2].check, enabled ? PlainCheck::on : PlainCheck::off);
        EXPECT_EQ(rows[1].children[4].check, PlainCheck::none);
    }
    // Choosing it switches the login item; the mark waits for the next build, which reads the
    // real status.
    EXPECT_TRUE(choosePlainTarget(*builder.menu(), "submenu:More/app:launchAtLogin/main"));
    EXPECT_EQ(toggles, 1);
    EXPECT_EQ(plainSurface(*builder.menu())[1].children[2].check, PlainCheck::on);
}

TEST_F(PlainSurfaceTest, KeysStayWhileARowShowsTheSameThingAndRepeatsAreToldApart) {
    auto keys = [](const std::vector<PlainRow>& rows) {
        std::vector<std::string> out;
        for (const auto& row : rows) out.push_back(row.key);
        return out;
    };
    const auto first = surface({agent("s1", "Fix checkout · 2m ago", "working", std::nullopt), action("Copy"),
                                action("Copy"), row::Separator{}, status(dismissAction, std::nullopt, "2 min")});
    const auto later = surface({agent("s1", "Fix checkout · 3m ago", "idle", std::string("Idle")), action("Copy"),
                                action("Copy"), row::Separator{}, status(dismissAction, std::nullopt, "3 min")});
    const std::vector<std::string> expected = {"agent:s1", "action:Copy", "action:Copy#2",
                                               "separator:action:Copy", "dismissible:status:Sync late"};
    const auto firstKeys = keys(first);
    EXPECT_EQ(std::vector<std::string>(firstKeys.begin(), firstKeys.begin() + 5), expected);
    EXPECT_EQ(firstKeys, keys(later));
    EXPECT_NE(first[0].text, later[0].text);
}

// A text-only surface chooses by key, as the popup chooses by part; a target that is gone or
// disabled does nothing.
TEST_F(PlainSurfaceTest, ChoosingATargetByKeyPerformsWhatThePopupPerforms) {
    auto disabled = urlAction("Later");
    disabled.isEnabled = false;
    struct Case {
        std::string key;
        bool chosen;
        std::vector<std::string> performed;
    };
    const std::vector<Case> cases = {
        {"agent:s1/harness", true, {"Open in Claude"}},
        {"agent:s1/corvane", true, {"Fix checkout"}},
        {"dismissible:status:Sync late/dismiss", true, {"Dismiss"}},
        {"statusAction:connection:GitHub/main", true, {"Reconnect"}},
        {"statusAction:connection:GitHub/dismiss", true, {"Dismiss"}},
        {"action:Later/main", false, {}},
        {"agent:s1/dismiss", false, {}},
        {"agent:gone/harness", false, {}},
        {"submenu:Open/action:Dashboard/main", true, {"Dashboard"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        surface({agent("s1", "Fix checkout", "working", std::nullopt), status(dismissAction, std::nullopt),
                 row::Connection{ConnectionMark::warn, "GitHub", "expired", dismissAction, urlAction("Reconnect")},
                 row::Action{disabled}, row::Submenu{"Open", {action("Dashboard")}}});
        performed.clear();
        EXPECT_EQ(choosePlainTarget(*builder.menu(), c.key), c.chosen);
        EXPECT_EQ(performed, c.performed);
    }
}

// Return, Option (Alt) with Return, and Delete on the highlighted row, in every shell's menu.
TEST_F(PlainSurfaceTest, KeysOnAHighlightedRowChooseThePartTheRowOffers) {
    struct Case {
        MenuItem item;
        MenuKey key;
        bool option;
        std::optional<Activation> expected;
    };
    const auto agentRow = agent("s1", "Fix checkout", "working", std::nullopt);
    const std::vector<Case> cases = {
        {agentRow, MenuKey::enter, false, Activation{RowPart::main, false}},
        {agentRow, MenuKey::enter, true, Activation{RowPart::main, true}},
        {agentRow, MenuKey::erase, false, std::nullopt},
        {status(dismissAction, std::nullopt), MenuKey::enter, false, Activation{RowPart::main, false}},
        {status(dismissAction, std::nullopt), MenuKey::enter, true, Activation{RowPart::dismiss, true}},
        {status(dismissAction, std::nullopt), MenuKey::erase, false, Activation{RowPart::dismiss, false}},
        {status(dismissAction, urlAction("Fix")), MenuKey::enter, true, Activation{RowPart::dismiss, true}},
        {status(dismissAction, urlAction("Fix")), MenuKey::erase, false, Activation{RowPart::dismiss, false}},
        {status(std::nullopt, urlAction("Fix")), MenuKey::enter, true, Activation{RowPart::main, true}},
        {status(std::nullopt, urlAction("Fix")), MenuKey::erase, false, std::nullopt},
        {action("Dashboard"), MenuKey::enter, true, std::nullopt},  // the toolkit's own Return
        {action("Dashboard"), MenuKey::erase, false, std::nullopt},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        const auto item = builder.menuItem(cases[i].item);
        EXPECT_EQ(keyActivation(*item, cases[i].key, cases[i].option), cases[i].expected);
    }
}

TEST(PlainFoldsTest, ATooTallLevelFoldsItsLongestSectionsUntilItFits) {
    // Rows as letters, "|" a separator; the folds as first index and count.
    struct Case {
        std::string level;
        std::size_t limit;
        std::vector<PlainFold> expected;
    };
    const std::vector<Case> cases = {
        {"aaaa|aa", 7, {}},                              // fits
        {"aaaaaa|aa", 8, {{4, 2}}},                      // 9 rows: 4 kept and "2 more"
        {"aaaaaa|aaaaa", 8, {{2, 4}, {9, 2}}},           // both folded; the last row stays
        {"aaaaaaaaaa|a|a", 5, {{1, 9}}},                 // down to one row and its fold
        {"aa|aa|aa", 4, {}},                             // two-row sections never fold
        {"aaaaaaa", 4, {{2, 4}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.level);
        std::vector<bool> separators;
        for (char ch : c.level) separators.push_back(ch == '|');
        EXPECT_EQ(plainFolds(separators, c.limit), c.expected);
    }
    EXPECT_EQ(plainFoldTitle({3, 4}), "4 more");
}

}  // namespace
}  // namespace corvane
