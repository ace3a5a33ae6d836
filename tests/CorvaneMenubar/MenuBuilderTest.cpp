#include <gtest/gtest.h>

#include "MenuBuilder.h"
#include "MenuRows.h"
#include "MenuText.h"
#include "headless/MemoryMenu.h"

namespace corvane {
namespace {

using namespace testrows;
using Titles = std::vector<std::string>;

const std::string ellipsis = "\u2026";

std::string repeat(const std::string& piece, std::size_t n) {
    std::string out;
    for (std::size_t i = 0; i < n; ++i) out += piece;
    return out;
}

class MenuBuilderTest : public ::testing::Test {
protected:
    MemoryMenuFactory factory;
    FixedWidthTextMeasure measure{10};  // 25 characters fit in 256 points
    std::vector<MenuAction> performed;
    bool loginEnabled = false;
    int toggles = 0, abouts = 0, quits = 0;
    MenuBuilder builder{factory, measure,
                        MenuBuilderHooks{[this](const MenuAction& a) { performed.push_back(a); },
                                         [this] { return loginEnabled; }, [this] { ++toggles; },
                                         [this] { ++abouts; }, [this] { ++quits; }, [] { return false; }},
                        "Corvane"};

    NativeMenu& live() { return *builder.menu(); }
    const AgentRowContent& agentAt(std::size_t index) {
        return std::get<AgentRowContent>(*live().itemAt(index)->content());
    }
};

TEST_F(MenuBuilderTest, FittingTextShortensByWholeCharacters) {
    struct Row {
        std::string text;
        std::string expected;
    };
    const std::vector<Row> rows = {
        {"", ""},
        {repeat("a", 25), repeat("a", 25)},                                   // 250 points: fits
        {repeat("a", 26), repeat("a", 24) + ellipsis},                        // 24 + "…" = 250
        {repeat("e\u0301", 40), repeat("e\u0301", 24) + ellipsis},           // marks stay with letters
        {repeat("\U0001F469\u200D\U0001F4BB", 30), repeat("\U0001F469\u200D\U0001F4BB", 24) + ellipsis},
    };
    for (const auto& row : rows) EXPECT_EQ(fittingText(row.text, FontRole::menu, measure), row.expected) << row.text;

    FixedWidthTextMeasure wide(300);  // not even one character fits
    EXPECT_EQ(fittingText("ab", FontRole::menu, wide), ellipsis);

    const std::string longTitle = repeat("x", 40);
    auto item = builder.handlerItem(longTitle, {});
    EXPECT_EQ(item->title(), repeat("x", 24) + ellipsis);
    EXPECT_EQ(item->toolTip(), longTitle);
}

TEST_F(MenuBuilderTest, AppRowsCloseTheMainMenuOrTheMoreSubmenu) {
    struct Row {
        std::optional<std::vector<MenuItem>> more;
        Titles main;
        Titles submenu;  // of the last row, when it is "More"
    };
    const Titles appRows = {"Launch at Login", "-", "About Corvane", "Quit Corvane"};
    auto with = [](Titles head, const Titles& tail) {
        head.insert(head.end(), tail.begin(), tail.end());
        return head;
    };
    const std::vector<Row> rows = {
        {std::nullopt, with({"Sessions", "-"}, appRows), {}},
        {std::vector<MenuItem>{action("Docs"), action("Support")}, {"Sessions", "More"},
         with({"Docs", "Support", "-"}, appRows)},
        {std::vector<MenuItem>{}, {"Sessions", "More"}, appRows},
    };
    for (const auto& row : rows) {
        auto menu = builder.build({{action("Sessions")}, row.more, false});
        EXPECT_EQ(titles(*menu), row.main);
        const auto& last = menu->items().back();
        if (row.more) {
            ASSERT_TRUE(last->submenu());
            EXPECT_EQ(titles(*last->submenu()), row.submenu);
            EXPECT_FALSE(last->submenu()->autoenablesItems());
        }
        EXPECT_FALSE(menu->autoenablesItems());
    }
}

TEST_F(MenuBuilderTest, AppRowsCallTheApp) {
    loginEnabled = true;
    auto menu = builder.build({{action("Sessions")}, std::nullopt, false});
    const auto& items = menu->items();
    const auto& login = items[2];
    const auto& about = items[4];
    const auto& quit = items[5];
    EXPECT_TRUE(login->isChecked());
    EXPECT_EQ(quit->keyEquivalent(), "q");
    EXPECT_EQ(about->keyEquivalent(), "");
    login->fire();
    about->fire();
    quit->fire();
    items[0]->fire();
    EXPECT_EQ(std::make_tuple(toggles, abouts, quits), std::make_tuple(1, 1, 1));
    ASSERT_EQ(performed.size(), 1u);
    EXPECT_EQ(performed[0].title, "Sessions");
}

TEST_F(MenuBuilderTest, RowsBecomeTheirNativeKinds) {
    MenuAction paused = urlAction("Sync");
    paused.badge = "paused";
    MenuAction disabled = urlAction("Blocked");
    disabled.isEnabled = false;
    const MenuAction dismiss = urlAction("Dismiss");
    struct Row {
        MenuItem item;
        bool checking;
        std::string kind;  // "" for a plain native row
        bool enabled;
        std::string title;
    };
    const std::vector<Row> rows = {
        {row::Action{paused}, false, "", true, "Sync"},
        {row::Action{disabled}, false, "", false, "Blocked"},
        {row::Header{"Corvane", "2 sessions", "now"}, false, "header", false, ""},
        {row::Section{"Agents"}, false, "section", false, ""},
        {row::Status{StatusMark::warn, "Sync late", "2 min", std::nullopt, urlAction("Fix")}, false, "statusAction",
         true, "Sync late"},
        {row::Status{StatusMark::warn, "Sync late", "2 min", dismiss, std::nullopt}, false, "dismissible", true,
         "Sync late — 2 min"},
        {row::Status{StatusMark::warn, "Sync late", "2 min", dismiss, urlAction("Fix")}, true, "status", false, ""},
        {row::Connection{ConnectionMark::ok, "GitHub", "connected", std::nullopt, urlAction("Open")}, false,
         "statusAction", true, "GitHub: connected"},
        {row::Connection{ConnectionMark::ok, "GitHub", "connected", dismiss, std::nullopt}, false, "dismissible",
         true, "GitHub: connected"},
        {row::Connection{ConnectionMark::ok, "GitHub", "connected", std::nullopt, std::nullopt}, false,
         "connection", false, ""},
        {agent("s1", "Fix the build · 3m", "working", std::nullopt), false, "agent", true, "Fix the build · 3m"},
    };
    for (const auto& row : rows) {
        auto menu = builder.build({{row.item}, std::nullopt, row.checking});
        const auto& item = *menu->itemAt(0);
        std::string kind;
        if (item.content()) kind = contentKindName(*item.content());
        if (std::holds_alternative<role::StatusAction>(item.role())) kind = "statusAction";
        EXPECT_EQ(kind, row.kind) << row.title;
        EXPECT_EQ(item.isEnabled(), row.enabled) << row.title;
        EXPECT_EQ(item.title(), row.title) << row.kind;
    }

    // The paused badge sits before the plain title and is spoken as "Syncing paused".
    auto badged = builder.menuItem(row::Action{paused});
    ASSERT_TRUE(badged->badge());
    EXPECT_EQ(badged->badge()->accessibilityText, "Syncing paused");
    EXPECT_EQ(badged->badge()->symbol, "pause.circle.fill");
    EXPECT_FALSE(builder.menuItem(action("Sync"))->badge());

    // A status with an action shows its lines; its dismiss part dismisses.
    auto status = builder.menuItem(row::Status{StatusMark::warn, "Sync late", "line 1\nline 2", dismiss,
                                               urlAction("Fix")});
    EXPECT_EQ(std::get<role::StatusAction>(status->role()).lineCount, 3);
    EXPECT_EQ(status->attributedTitle()->plainText(), "Sync late\nline 1\nline 2");
    status->fire({RowPart::dismiss, false});
    status->fire();
    ASSERT_EQ(performed.size(), 2u);
    EXPECT_EQ(performed[0].title, "Dismiss");
    EXPECT_EQ(performed[1].title, "Fix");
}

TEST_F(MenuBuilderTest, AgentRowsOpenTheChosenTarget) {
    auto item = builder.menuItem(agent("s1", "Fix the build", "working", std::nullopt));
    item->fire();                                 // Return: the harness
    item->fire({RowPart::main, true});            // Option-Return: Corvane
    item->fire({RowPart::corvane, false});        // the lightning button
    Titles got;
    for (const auto& a : performed) got.push_back(a.title);
    EXPECT_EQ(got, (Titles{"Open in Claude", "Fix the build", "Fix the build"}));
}

TEST_F(MenuBuilderTest, StatusOnlyChangeRewritesTheOpenMenuInPlace) {
    const std::vector<MenuItem> more = {action("Docs")};
    builder.submit({{row::Header{"Corvane", std::nullopt, std::nullopt},
                     agent("s1", "Fix the build", "working", "Working · 1m"), action("New session")},
                    more, false});
    const auto before = identities(live());
    live().reportTrackingBegan();
    live().reportHighlight(live().itemAt(1).get());
    MenuBuilder::applyHighlight(live(), live().highlightedItem());
    factory.resetCounters();

    builder.submit({{row::Header{"Corvane", std::nullopt, std::nullopt},
                     agent("s1", "Fix the build", "idle", "Idle · 2m"), action("New session")},
                    more, false});

    EXPECT_EQ(identities(live()), before);
    EXPECT_EQ(factory.counters().itemsRemoved, 0u);
    EXPECT_EQ(agentAt(1).row.statusLabel, "Idle · 2m");
    EXPECT_EQ(live().highlightedItem(), before[1]);
    EXPECT_TRUE(live().itemAt(1)->isHighlighted());
    EXPECT_FALSE(builder.pending());
}

TEST_F(MenuBuilderTest, ShapeChangeWhileOpenWaitsForTheMenuToClose) {
    const std::vector<MenuItem> more = {action("Docs")};
    builder.submit({{row::CliUpdate{update(CliUpdatePhase::available)},
                     agent("s1", "Fix the build", "working", "Working · 1m")},
                    more, false});
    const auto before = identities(live());
    live().reportTrackingBegan();

    const MenuBuild next{{row::CliUpdate{update(CliUpdatePhase::available, true)},
                          agent("s1", "Fix the build", "idle", "Idle · 2m"), action("New session")},
                         more, false};
    builder.submit(next);

    EXPECT_EQ(identities(live()), before);  // no row added or replaced under the pointer
    EXPECT_EQ(live().itemAt(0)->toolTip(), "Corvane CLI 1.4.0 is available. Another command is running.");
    EXPECT_FALSE(live().itemAt(0)->isEnabled());
    EXPECT_EQ(agentAt(1).row.statusLabel, "Idle · 2m");
    EXPECT_EQ(builder.pending(), next);

    live().reportTrackingEnded();
    EXPECT_FALSE(builder.pending());
    EXPECT_EQ(titles(live()), (Titles{"Corvane CLI 1.4.0 is ava" + ellipsis, "Fix the build", "New session", "More"}));
    EXPECT_EQ(live().itemAt(2)->title(), "New session");
    EXPECT_EQ(live().itemAt(3).get(), before[2]);  // "More" kept
}

TEST_F(MenuBuilderTest, BakedMenuOnScreenIsReplacedAtOnce) {
    builder.submit({{row::Status{StatusMark::problem, "Corvane CLI not found", std::nullopt, std::nullopt,
                                 std::nullopt}},
                    std::nullopt, false});
    EXPECT_TRUE(builder.displayedBaked());
    live().reportTrackingBegan();
    builder.submit({{action("Sessions"), action("New session")}, std::vector<MenuItem>{}, false});
    EXPECT_EQ(titles(live()), (Titles{"Sessions", "New session", "More"}));
    EXPECT_FALSE(builder.displayedBaked());
    EXPECT_FALSE(builder.pending());
}

TEST_F(MenuBuilderTest, ReconcileReusesSameRowsAndKeepsTheOpenSubmenu) {
    builder.submit({{action("Sessions"), action("Settings")}, std::vector<MenuItem>{action("Docs")}, false});
    const auto sessions = live().itemAt(0);
    const auto settings = live().itemAt(1);
    const auto more = live().itemAt(2);
    const auto moreMenu = more->submenu();
    const auto launch = moreMenu->itemAt(2);
    moreMenu->reportTrackingBegan();  // the submenu is open; the main menu is not tracked here

    builder.submit({{action("New"), action("Settings"), action("Sessions")},
                    std::vector<MenuItem>{action("Docs"), action("Changelog")}, false});

    EXPECT_EQ(titles(live()), (Titles{"New", "Settings", "Sessions", "More"}));
    EXPECT_EQ(live().itemAt(1), settings);
    EXPECT_EQ(live().itemAt(2), sessions);
    EXPECT_EQ(live().itemAt(3), more);
    EXPECT_EQ(more->submenu(), moreMenu);
    EXPECT_EQ(titles(*moreMenu), (Titles{"Docs", "Changelog", "-", "Launch at Login", "-", "About Corvane",
                                         "Quit Corvane"}));
    EXPECT_EQ(moreMenu->itemAt(3), launch);

    // A reused row runs the new row's action.
    live().itemAt(2)->fire();
    ASSERT_EQ(performed.size(), 1u);
    EXPECT_EQ(performed[0].title, "Sessions");
}

TEST_F(MenuBuilderTest, ReconcileFollowsChangedStateOfReusedRows) {
    MenuAction paused = urlAction("Sync");
    paused.badge = "paused";
    builder.submit({{row::Action{paused}}, std::nullopt, false});
    const auto sync = live().itemAt(0);
    loginEnabled = true;
    builder.submit({{action("Sync")}, std::nullopt, false});
    EXPECT_EQ(live().itemAt(0), sync);
    EXPECT_FALSE(sync->badge());
    EXPECT_TRUE(live().itemAt(2)->isChecked());  // Launch at Login follows the login item
}

TEST_F(MenuBuilderTest, SameNativeRowComparesTitleToolTipSeparatorAndSubmenu) {
    struct Row {
        std::string titleB;
        std::optional<std::string> tipA, tipB;
        bool submenuB;
        bool same;
    };
    const std::vector<Row> rows = {
        {"A", std::nullopt, std::nullopt, false, true},
        {"A", "tip", "tip", false, true},
        {"A", "tip", std::nullopt, false, false},
        {"A", std::nullopt, "tip", false, false},
        {"B", std::nullopt, std::nullopt, false, false},
        {"A", std::nullopt, std::nullopt, true, false},
    };
    for (const auto& row : rows) {
        auto a = factory.makeItem(), b = factory.makeItem();
        a->setTitle("A");
        a->setToolTip(row.tipA);
        b->setTitle(row.titleB);
        b->setToolTip(row.tipB);
        if (row.submenuB) b->setSubmenu(factory.makeMenu());
        EXPECT_EQ(MenuBuilder::sameNativeRow(*a, *b), row.same) << row.titleB;
    }
    EXPECT_FALSE(MenuBuilder::sameNativeRow(*factory.makeItem(), *factory.makeSeparator()));
}

TEST_F(MenuBuilderTest, ShapesDifferWhenRowsCannotBeRewrittenIntoEachOther) {
    auto shapeOf = [&](std::vector<MenuItem> a, std::vector<MenuItem> b) {
        auto left = builder.build({std::move(a), std::nullopt, false});
        auto right = builder.build({std::move(b), std::nullopt, false});
        return MenuBuilder::sameShape(*left, right->items());
    };
    const MenuAction dismiss = urlAction("Dismiss");
    EXPECT_TRUE(shapeOf({agent("a", "A", "working", std::nullopt)}, {agent("b", "B", std::nullopt, std::nullopt)}));
    EXPECT_TRUE(shapeOf({row::Status{StatusMark::ok, "Synced", "1m", std::nullopt, std::nullopt}},
                        {row::Status{StatusMark::warn, "Synced", "5m", std::nullopt, std::nullopt}}));
    EXPECT_FALSE(shapeOf({row::Status{StatusMark::ok, "Synced", "1m", std::nullopt, std::nullopt}},
                         {row::Status{StatusMark::ok, "Synced", std::nullopt, std::nullopt, std::nullopt}}));
    EXPECT_FALSE(shapeOf({row::Status{StatusMark::ok, "Synced", std::nullopt, dismiss, std::nullopt}},
                         {row::Status{StatusMark::ok, "Synced", std::nullopt, std::nullopt, std::nullopt}}));
    EXPECT_TRUE(shapeOf({row::CliUpdate{update(CliUpdatePhase::available)}},
                        {row::CliUpdate{update(CliUpdatePhase::installing)}}));
    EXPECT_FALSE(shapeOf({row::CliUpdate{update(CliUpdatePhase::available)}},
                         {row::CliUpdate{update(CliUpdatePhase::failed)}}));  // a log row more
    EXPECT_FALSE(shapeOf({action("A")}, {action("B")}));
    EXPECT_FALSE(shapeOf({row::Submenu{"S", {action("A")}}}, {row::Submenu{"S", {action("B")}}}));
}

TEST_F(MenuBuilderTest, UpdateRowChangesViewInPlaceWhileOpen) {
    builder.submit({{row::CliUpdate{update(CliUpdatePhase::available)}}, std::vector<MenuItem>{}, false});
    const auto notice = live().itemAt(0);
    EXPECT_FALSE(notice->hasContent());
    live().reportTrackingBegan();
    builder.submit({{row::CliUpdate{update(CliUpdatePhase::installing)}}, std::vector<MenuItem>{}, false});
    EXPECT_EQ(live().itemAt(0), notice);
    EXPECT_FALSE(notice->isEnabled());
    EXPECT_FALSE(notice->attributedTitle());
    ASSERT_TRUE(notice->content());
    EXPECT_EQ(std::get<CliUpdateViewContent>(*notice->content()).model.phase, CliUpdatePhase::installing);
    EXPECT_FALSE(notice->fire());
}

}  // namespace
}  // namespace corvane
