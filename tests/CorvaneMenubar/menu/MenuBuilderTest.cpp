#include <gtest/gtest.h>

#include "menu/MenuBuilder.h"
#include "menu/PlainSurface.h"
#include "support/MenuRows.h"
#include "menu/MenuText.h"
#include "menu/MemoryMenu.h"

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

row::Status status(std::optional<std::string> detail, std::optional<MenuAction> dismiss = std::nullopt,
                   std::optional<MenuAction> act = std::nullopt, StatusMark mark = StatusMark::warn) {
    return row::Status{mark, "Sync late", std::move(detail), std::move(dismiss), std::move(act)};
}

class MenuBuilderTest : public ::testing::Test {
protected:
    MemoryMenuFactory factory;
    FixedWidthTextMeasure measure{10};  // 25 characters fit in 256 points
    std::vector<MenuAction> performed;
    bool loginEnabled = false, reduceMotion = false;
    int toggles = 0, abouts = 0, quits = 0;
    MenuBuilder builder{factory, measure,
                        MenuBuilderHooks{[this](const MenuAction& a) { performed.push_back(a); },
                                         [this] { return loginEnabled; }, [this] { ++toggles; },
                                         [this] { ++abouts; }, [this] { ++quits; }, [this] { return reduceMotion; }},
                        "Corvane"};

    NativeMenu& live() { return *builder.menu(); }
    const AgentRowContent& agentAt(std::size_t index) {
        return std::get<AgentRowContent>(*live().itemAt(index)->content());
    }
    Titles performedTitles() const {
        Titles out;
        for (const auto& a : performed) out.push_back(a.title);
        return out;
    }
};

TEST_F(MenuBuilderTest, FittingTextShortensByWholeCharacters) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"", ""},
        {repeat("a", 25), repeat("a", 25)},  // 250 points: fits
        {repeat("a", 26), repeat("a", 24) + ellipsis},
        {repeat("e\u0301", 40), repeat("e\u0301", 24) + ellipsis},  // marks stay with letters
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(fittingText(text, FontRole::menu, measure), expected) << text;
    EXPECT_EQ(fittingText("ab", FontRole::menu, FixedWidthTextMeasure(300)), ellipsis);  // not one character fits

    auto item = builder.handlerItem(repeat("x", 40), {});
    EXPECT_EQ(item->title(), repeat("x", 24) + ellipsis);
    EXPECT_EQ(item->toolTip(), repeat("x", 40));

    // Megabytes in one text: every shown text is cut to the limit, on a character boundary.
    const std::string huge = repeat("e\u0301", 2'000'000);
    const auto row = builder.menuItem(agent("s1", huge, "working", huge));
    const auto shown = displayText(huge, measure);
    EXPECT_LE(shown.size(), displayTextLimit);
    EXPECT_EQ(shown, repeat("e\u0301", (displayTextLimit - 3) / 3) + ellipsis);
    EXPECT_EQ(row->toolTip(), shown);
    EXPECT_EQ(plainText(*row->content()), shown + " — " + shown);
}

TEST_F(MenuBuilderTest, AppRowsCloseTheMainMenuOrTheMoreSubmenuAndCallTheApp) {
    const Titles app = {"Launch at Login", "-", "About Corvane", "Quit Corvane"};
    auto with = [](Titles head, const Titles& tail) {
        head.insert(head.end(), tail.begin(), tail.end());
        return head;
    };
    struct Row {
        std::optional<std::vector<MenuItem>> more;
        Titles main, submenu;  // submenu of the last row, when it is "More"
    };
    const std::vector<Row> rows = {
        {std::nullopt, with({"Sessions", "-"}, app), {}},
        {std::vector<MenuItem>{action("Docs"), action("Support")}, {"Sessions", "More"},
         with({"Docs", "Support", "-"}, app)},
        {std::vector<MenuItem>{}, {"Sessions", "More"}, app},
    };
    for (const auto& row : rows) {
        auto menu = builder.build({{action("Sessions")}, row.more, false});
        EXPECT_EQ(titles(*menu), row.main);
        if (row.more) {
            EXPECT_EQ(titles(*menu->items().back()->submenu()), row.submenu);
        }
    }

    loginEnabled = true;
    auto menu = builder.build({{action("Sessions")}, std::nullopt, false});
    const auto& items = menu->items();
    EXPECT_TRUE(items[2]->isChecked());
    EXPECT_EQ(items[5]->keyEquivalent(), "q");
    for (std::size_t i : {2, 4, 5, 0}) items[i]->fire();
    EXPECT_EQ(std::make_tuple(toggles, abouts, quits), std::make_tuple(1, 1, 1));
    EXPECT_EQ(performedTitles(), Titles{"Sessions"});
}

TEST_F(MenuBuilderTest, RowsBecomeTheirNativeKinds) {
    MenuAction paused = urlAction("Sync");
    paused.badge = "paused";
    MenuAction disabled = urlAction("Blocked");
    disabled.isEnabled = false;
    const MenuAction dismiss = urlAction("Dismiss");
    const auto fix = urlAction("Fix");
    const auto gitHub = [](std::optional<MenuAction> d, std::optional<MenuAction> a) {
        return row::Connection{ConnectionMark::ok, "GitHub", "connected", std::move(d), std::move(a)};
    };
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
        {status("2 min", std::nullopt, fix), false, "statusAction", true, "Sync late"},
        {status("2 min", dismiss), false, "dismissible", true, "Sync late — 2 min"},
        {status("2 min", dismiss, fix), true, "status", false, ""},
        {gitHub(std::nullopt, urlAction("Open")), false, "statusAction", true, "GitHub: connected"},
        {gitHub(dismiss, std::nullopt), false, "dismissible", true, "GitHub: connected"},
        {gitHub(std::nullopt, std::nullopt), false, "connection", false, ""},
        {agent("s1", "Fix the build · 3m", "working", std::nullopt), false, "agent", true, "Fix the build · 3m"},
    };
    for (const auto& row : rows) {
        auto menu = builder.build({{row.item}, std::nullopt, row.checking});
        const auto& item = *menu->itemAt(0);
        std::string kind(item.content() ? contentKindName(*item.content()) : "");
        if (std::holds_alternative<role::StatusAction>(item.role())) kind = "statusAction";
        EXPECT_EQ(std::make_tuple(kind, item.isEnabled(), item.title()),
                  std::make_tuple(row.kind, row.enabled, row.title));
    }

    EXPECT_EQ(builder.menuItem(row::Action{paused})->badge(), pausedBadge());

    // A status with an action shows its lines; its dismiss part dismisses.
    auto withLines = builder.menuItem(status("line 1\nline 2", dismiss, fix));
    EXPECT_EQ(withLines->role(), ItemRole(role::StatusAction{"status:Sync late", 3, dismiss, "Fix"}));
    EXPECT_EQ(withLines->attributedTitle()->plainText(), "Sync late\nline 1\nline 2");
}

TEST_F(MenuBuilderTest, CustomRowsCloseTheMenuAndPerformTheChosenPart) {
    const auto dismiss = urlAction("Dismiss");
    auto disabled = [](MenuAction action) {
        action.isEnabled = false;
        return action;
    };
    struct Row {
        MenuItem item;
        Activation activation;
        std::string performed;  // "" for nothing (the menu stays open)
    };
    const auto session = agent("s1", "Fix the build", "working", std::nullopt);
    const std::vector<Row> rows = {
        {session, {}, "Open in Claude"},                          // Return: the harness
        {session, {RowPart::main, true}, "Fix the build"},        // Option-Return: Corvane
        {session, {RowPart::corvane, false}, "Fix the build"},    // the lightning button
        {status("2 min", dismiss, urlAction("Fix")), {}, "Fix"},  // a status action
        {status("2 min", dismiss, urlAction("Fix")), {RowPart::dismiss, false}, "Dismiss"},
        {status("2 min", dismiss), {RowPart::dismiss, false}, "Dismiss"},  // a dismissible status
        {status("2 min", dismiss), {}, ""},                                // no repair action
        // A running command disables the row's action; its dismiss keeps its own flag.
        {status("2 min", dismiss, disabled(urlAction("Fix"))), {RowPart::dismiss, false}, "Dismiss"},
        {status("2 min", dismiss, disabled(urlAction("Fix"))), {}, ""},
        {status("2 min", disabled(dismiss), urlAction("Fix")), {RowPart::dismiss, false}, ""},
        {status("2 min", disabled(dismiss)), {RowPart::dismiss, false}, ""},
    };
    for (const auto& row : rows) {
        performed.clear();
        builder.submit({{row.item}, std::nullopt, false});
        live().reportTrackingBegan();
        live().itemAt(0)->fire(row.activation);
        EXPECT_EQ(performedTitles(), row.performed.empty() ? Titles{} : Titles{row.performed}) << row.performed;
        EXPECT_EQ(live().isTracking(), row.performed.empty()) << row.performed;
        live().reportTrackingEnded();
    }
}

TEST_F(MenuBuilderTest, StatusOnlyChangeRewritesTheOpenMenuInPlace) {
    const std::vector<MenuItem> more = {action("Docs")};
    const row::Header header{"Corvane", std::nullopt, std::nullopt};
    builder.submit({{header, agent("s1", "Fix the build", "working", "Working · 1m"), action("New session")}, more,
                    false});
    const auto before = identities(live());
    live().reportTrackingBegan();
    live().reportHighlight(live().itemAt(1).get());
    MenuBuilder::applyHighlight(live(), live().highlightedItem());
    factory.resetCounters();

    builder.submit({{header, agent("s1", "Fix the build", "idle", "Idle · 2m"), action("New session")}, more, false});

    EXPECT_EQ(identities(live()), before);
    EXPECT_EQ(factory.counters().itemsRemoved + factory.counters().itemsCreated, 0u);  // nothing made off-screen
    EXPECT_EQ(agentAt(1).row.statusLabel, "Idle · 2m");
    EXPECT_EQ(live().highlightedItem(), before[1]);
    EXPECT_TRUE(live().itemAt(1)->isHighlighted());
    EXPECT_FALSE(builder.pending());

    live().reportTrackingEnded();  // the next opening starts without a highlight
    live().reportTrackingBegan();
    EXPECT_FALSE(live().itemAt(1)->isHighlighted());
}

TEST_F(MenuBuilderTest, ShapeChangeWhileOpenWaitsForTheMenuToClose) {
    const std::vector<MenuItem> more = {action("Docs")};
    builder.submit({{row::CliUpdate{update(CliUpdatePhase::available)}, agent("a", "A", "working", "A · 1m"),
                     agent("s1", "Fix the build", "working", "Working · 1m")}, more, false});
    const auto before = identities(live());
    live().reportTrackingBegan();
    const MenuBuild next{{row::CliUpdate{update(CliUpdatePhase::available, true)},
                          agent("s1", "Fix the build", "idle", "Idle · 2m"), action("New session")}, more, false};
    reduceMotion = true;
    builder.submit(next);

    EXPECT_EQ(identities(live()), before);  // no row added or replaced under the pointer
    EXPECT_TRUE(agentAt(2).reduceMotion) << "the setting is read again at each rewrite";
    EXPECT_EQ(live().itemAt(0)->toolTip(), "Corvane CLI 1.4.0 is available. Another command is running.");
    EXPECT_FALSE(live().itemAt(0)->isEnabled());
    EXPECT_TRUE(live().itemAt(0)->hasContent() && !live().itemAt(0)->attributedTitle());  // now the view
    // Statuses follow their session: A left the answer and keeps its own.
    EXPECT_EQ(std::make_pair(agentAt(1).row.statusLabel, agentAt(2).row.statusLabel),
              std::make_pair(std::optional<std::string>("A · 1m"), std::optional<std::string>("Idle · 2m")));
    EXPECT_EQ(builder.pending(), next);

    live().reportTrackingEnded();
    EXPECT_FALSE(builder.pending());
    EXPECT_EQ(titles(live()), (Titles{"Corvane CLI 1.4.0 is ava" + ellipsis, "Fix the build", "New session", "More"}));
    EXPECT_EQ(live().itemAt(3).get(), before[3]);  // "More" kept
}

TEST_F(MenuBuilderTest, BakedMenuOnScreenIsReplacedAtOnce) {
    builder.submit({{status(std::nullopt, std::nullopt, std::nullopt, StatusMark::problem)}, std::nullopt, false});
    EXPECT_TRUE(builder.displayedBaked());
    live().reportTrackingBegan();
    builder.submit({{action("Sessions"), action("New session")}, std::vector<MenuItem>{}, false});
    EXPECT_EQ(titles(live()), (Titles{"Sessions", "New session", "More"}));
    EXPECT_FALSE(builder.displayedBaked());
    EXPECT_FALSE(builder.pending());
}

TEST_F(MenuBuilderTest, ReconcileReusesSameRowsKeepsTheOpenSubmenuAndFollowsNewState) {
    MenuAction paused = urlAction("Settings");
    paused.badge = "paused";
    builder.submit({{agent("s1", "Fix", "working", "Working · 1m"), action("Sessions"), row::Action{paused}},
                    std::vector<MenuItem>{action("Docs")}, false});
    const auto fix = live().itemAt(0), sessions = live().itemAt(1), settings = live().itemAt(2), more = live().itemAt(3);
    const auto moreMenu = more->submenu();
    const auto launch = moreMenu->itemAt(2);
    moreMenu->reportTrackingBegan();  // the submenu is open; the main menu is not tracked here
    loginEnabled = true;

    builder.submit({{action("New"), agent("s1", "Fix", "idle", "Idle · 2m"), action("Settings"), action("Sessions")},
                    std::vector<MenuItem>{action("Docs"), action("Changelog")}, false});

    // The agent row stays the same item (so its panel id stays) while its status changes.
    EXPECT_EQ(titles(live()), (Titles{"New", "Fix", "Settings", "Sessions", "More"}));
    EXPECT_EQ(identities(live()), (std::vector<const NativeMenuItem*>{live().itemAt(0).get(), fix.get(), settings.get(),
                                                                      sessions.get(), more.get()}));
    EXPECT_NE(plainRow(*fix, "k").text.find("Idle"), std::string::npos);
    EXPECT_FALSE(settings->badge());
    EXPECT_EQ(more->submenu(), moreMenu);
    EXPECT_EQ(titles(*moreMenu),
              (Titles{"Docs", "Changelog", "-", "Launch at Login", "-", "About Corvane", "Quit Corvane"}));
    EXPECT_EQ(moreMenu->itemAt(3), launch);
    EXPECT_TRUE(launch->isChecked());  // Launch at Login follows the login item
    live().itemAt(3)->fire();          // a reused row runs the new row's action
    EXPECT_EQ(performedTitles(), Titles{"Sessions"});
}

TEST_F(MenuBuilderTest, ShapesDifferWhenRowsCannotBeRewrittenIntoEachOther) {
    using P = CliUpdatePhase;
    struct Row {
        MenuItem a, b;
        bool same;
    };
    const std::vector<Row> rows = {
        {agent("a", "A", "working", std::nullopt), agent("b", "B", std::nullopt, std::nullopt), true},
        {status("1m", std::nullopt, std::nullopt, StatusMark::ok), status("5m"), true},
        {status("1m"), status(std::nullopt), false},
        {status(std::nullopt, urlAction("Dismiss")), status(std::nullopt), false},
        {row::CliUpdate{update(P::available)}, row::CliUpdate{update(P::installing)}, true},
        {row::CliUpdate{update(P::available)}, row::CliUpdate{update(P::failed)}, false},  // a log row more
        {action("A"), action("B"), false},
        {row::Submenu{"S", {action("A")}}, row::Submenu{"S", {action("B")}}, false},
    };
    for (const auto& row : rows) {
        auto left = builder.build({{row.a}, std::nullopt, false});
        auto right = builder.build({{row.b}, std::nullopt, false});
        EXPECT_EQ(MenuBuilder::sameShape(*left, right->items()), row.same) << &row - rows.data();
    }
}

}  // namespace
}  // namespace corvane
