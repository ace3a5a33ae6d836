#include <gtest/gtest.h>

#include "menu/CliUpdateRow.h"
#include "menu/MenuBuilder.h"
#include "support/MenuRows.h"
#include "menu/MemoryMenu.h"

namespace corvane {
namespace {

using testrows::update;

class CliUpdateRowTest : public ::testing::Test {
protected:
    MemoryMenuFactory factory;
    FixedWidthTextMeasure measure{4};
    std::vector<MenuAction> performed;
    MenuBuilder builder{factory, measure,
                        MenuBuilderHooks{[this](const MenuAction& a) { performed.push_back(a); }, {}, {}, {}, {},
                                         [] { return true; }},  // reduce motion
                        "Corvane"};
};

TEST_F(CliUpdateRowTest, RowsFollowThePhaseAndWhetherTheUpdateCanStart) {
    struct Row {
        CliUpdatePhase phase;
        bool blocked;
        std::optional<std::string> detail;
        std::size_t rows;
        bool enabled, view;  // view: the title/subtitle/spinner view instead of a two-line title
        std::string toolTip;
    };
    using P = CliUpdatePhase;
    const std::vector<Row> table = {
        {P::available, false, std::nullopt, 1, true, false, "Corvane CLI 1.4.0 is available. Update? You have 1.3.0."},
        {P::available, true, std::nullopt, 1, false, true,
         "Corvane CLI 1.4.0 is available. Another command is running."},
        {P::installing, false, std::nullopt, 1, false, true, "Corvane CLI 1.4.0 is available. Updating CLI\u2026"},
        {P::failed, false, "npm exited with 1", 2, true, false, "CLI update failed. Retry? npm exited with 1"},
        {P::failed, true, std::nullopt, 2, false, true, "CLI update failed. You have 1.3.0."},
        {P::succeeded, false, std::nullopt, 1, false, true, "Corvane CLI updated to 1.3.0"},
        {P::upToDate, false, "", 1, false, true, "Corvane CLI is up to date"},  // empty subtitle: title alone
    };
    for (const auto& row : table) {
        auto u = update(row.phase, row.blocked);
        u.detail = row.detail;
        const auto items = builder.updateItems(u);
        const std::string name(contractWord(row.phase));
        ASSERT_EQ(items.size(), row.rows) << name;
        const auto& notice = *items[0];
        EXPECT_EQ(notice.isEnabled(), row.enabled) << name;
        EXPECT_EQ(notice.hasContent(), row.view) << name;
        EXPECT_TRUE(!row.view || std::get<CliUpdateViewContent>(*notice.content()).reduceMotion) << name;
        EXPECT_EQ(notice.attributedTitle().has_value(), !row.view) << name;
        EXPECT_EQ(notice.toolTip(), row.toolTip) << name;
        EXPECT_EQ(std::get<role::CliUpdateRow>(notice.role()).role, role::CliUpdateRole::notice);
        if (row.rows < 2) continue;
        EXPECT_EQ(items[1]->title(), "View update log");
        EXPECT_TRUE(items[1]->isEnabled());
        EXPECT_EQ(std::get<role::CliUpdateRow>(items[1]->role()).role, role::CliUpdateRole::log);
    }

    auto failed = builder.updateItems(update(CliUpdatePhase::failed));
    failed[0]->fire();
    failed[1]->fire();
    ASSERT_EQ(performed.size(), 2u);
    EXPECT_EQ(performed[0].title, "Retry update");
    EXPECT_TRUE(std::holds_alternative<verb::CliUpdate>(performed[0].verb));
    EXPECT_EQ(performed[1].title, "View update log");
    EXPECT_EQ(performed[1].verb, MenuVerb(verb::File{"/tmp/update.log"}));

    // The startable row shows the title, then the subtitle in the smaller, secondary font.
    const auto available = builder.updateItems(update(CliUpdatePhase::available));
    const auto& runs = available[0]->attributedTitle()->runs;
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[0], (TextRun{"Corvane CLI 1.4.0 is available. Update?", FontRole::menu13, false}));
    EXPECT_EQ(runs[1], (TextRun{"\nYou have 1.3.0.", FontRole::system11, true}));
}

TEST(CliUpdateView, StateAndSpinner) {
    using P = CliUpdatePhase;
    struct StateRow {
        P phase;
        bool titlePrimary, spinner;
    };
    for (const auto& row : std::vector<StateRow>{{P::available, false, false}, {P::installing, false, true},
                                                 {P::failed, false, false}, {P::succeeded, true, false},
                                                 {P::upToDate, true, false}}) {
        const auto state = cliUpdateViewState(update(row.phase, true));
        EXPECT_EQ(std::make_pair(state.titlePrimary, state.spinnerVisible), std::make_pair(row.titlePrimary, row.spinner))
            << contractWord(row.phase);
    }
    struct SpinRow {
        bool visible, inWindow, reduceMotion, spins;
    };
    for (const auto& row : std::vector<SpinRow>{{true, true, false, true}, {true, true, true, false},
                                                {true, false, false, false}, {false, true, false, false}})
        EXPECT_EQ(cliUpdateSpinnerAnimates(row.visible, row.inWindow, row.reduceMotion), row.spins);
}

}  // namespace
}  // namespace corvane
