#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "menu/AgentRowLogic.h"
#include "support/MenuRows.h"

namespace corvane {
namespace {

using testrows::urlAction;

AgentRow session(bool withHarness, std::optional<std::string> status = std::nullopt,
                 std::optional<std::string> label = std::nullopt) {
    AgentRow row{"s1", "claude", std::move(status), std::move(label), std::nullopt,
                 urlAction("Fix the build · 3m", "https://corvane.test/s1")};
    if (withHarness) row.harness = urlAction("Open in Claude", "claude://s1");
    return row;
}

// Each desktop keeps its own words for the machine and the option key.
TEST(AgentRowLogic, TargetDescriptions) {
    const std::string cannot =
        "This session cannot be opened in its harness on this Mac. Use the lightning button to open Corvane.";
    const std::string cannotHere =
        "This session cannot be opened in its harness on this computer. Use the lightning button to open Corvane.";
    const std::string claude = "Open in Claude: Fix the build · 3m", corvane = "Open in Corvane: Fix the build · 3m";
    const std::vector<std::tuple<AgentRow, PlatformWords, AgentTargetDescriptions>> rows = {
        {session(true, "working"), macWords,
         {true, claude, claude + ", Working", "Open in Corvane (Option-Return)", corvane}},
        {session(false, "working", "Waiting for you · 2m"), macWords,
         {false, cannot, cannot + ", Waiting for you · 2m", "Open in Corvane (Return)", corvane}},
        {session(true, "idle"), macWords, {true, claude, claude, "Open in Corvane (Option-Return)", corvane}},
        {session(true, "idle"), linuxWords, {true, claude, claude, "Open in Corvane (Alt+Return)", corvane}},
        {session(false, "idle"), linuxWords, {false, cannotHere, cannotHere, "Open in Corvane (Return)", corvane}},
    };
    for (const auto& [row, words, expected] : rows)
        EXPECT_EQ(describeTargets(row, words), expected) << expected.harnessToolTip;
}

TEST(AgentRowLogic, HighlightAndChoice) {
    using T = AgentTarget;
    AgentRow same = session(true);
    same.harness = same.corvane;  // a harness action that is the Corvane action
    struct Row {
        AgentRow row;
        std::optional<T> hovered;
        bool keyboard;
        std::optional<T> highlighted;
        bool option;
        std::string chosen;  // title of what Return performs
    };
    const std::vector<Row> rows = {
        {session(true), T::corvane, false, T::corvane, false, "Open in Claude"},
        {session(true), T::harness, false, T::harness, true, "Fix the build · 3m"},
        {session(false), T::harness, true, std::nullopt, false, "Fix the build · 3m"},
        {session(true), std::nullopt, true, T::harness, false, "Open in Claude"},
        {session(false), std::nullopt, true, T::corvane, false, "Fix the build · 3m"},
        {same, std::nullopt, true, T::corvane, false, "Fix the build · 3m"},
        {session(true), std::nullopt, false, std::nullopt, true, "Fix the build · 3m"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(highlightedTarget(row.row, row.hovered, row.keyboard), row.highlighted) << &row - rows.data();
        // The highlighted target's texts or bolt take the selected text colour.
        const auto colours = agentRowColours(row.highlighted);
        EXPECT_EQ(colours.title == ColourRole::selectedMenuItemText, row.highlighted == T::harness);
        EXPECT_EQ(colours.bolt == ColourRole::selectedMenuItemText, row.highlighted == T::corvane);
        EXPECT_EQ(activate(row.row, row.option).title, row.chosen) << &row - rows.data();
    }
    EXPECT_EQ(chosenAgentAction(session(false), {RowPart::harness, false}), std::nullopt);
    EXPECT_EQ(chosenAgentAction(session(true), {RowPart::harness, true})->title, "Open in Claude");
    EXPECT_EQ(chosenAgentAction(session(true), {RowPart::dismiss, false}), std::nullopt);
}

TEST(AgentRowLogic, HarnessIcons) {
    const std::string claude = "com.anthropic.claudefordesktop", codex = "com.openai.codex";
    const std::vector<std::tuple<std::string, std::vector<std::string>, std::optional<std::string>>> rows = {
        {"claude", {claude}, claude}, {"claude", {}, std::nullopt}, {"chatgpt", {codex}, codex},
        {"chatgpt", {codex, "com.openai.chat"}, "com.openai.chat"}, {"codex", {codex}, std::nullopt},
    };
    for (const auto& [word, apps, bundle] : rows) {
        const auto& installed = apps;  // Clang 14 lambdas cannot capture structured bindings
        const auto found = [&](const std::string& id) {
            return std::find(installed.begin(), installed.end(), id) != installed.end();
        };
        EXPECT_EQ(firstAvailable(harnessIconCandidates(word).bundleIds, found), bundle) << word;
    }
}

TEST(AgentRowLogic, Pulse) {
    struct Row {
        std::optional<std::string> status;
        bool inWindow, reduceMotion, pulses;
    };
    for (const auto& row : std::vector<Row>{{"working", true, false, true}, {"working", true, true, false},
                                            {"working", false, false, false}, {"paused", true, false, false},
                                            {std::nullopt, true, false, false}})
        EXPECT_EQ(shouldPulse(session(true, row.status), row.inWindow, row.reduceMotion), row.pulses);

    AgentRow other = session(true, "working");
    other.id = "s2";
    EXPECT_FALSE(pulseNeedsRestart(session(true, "working"), other));
    EXPECT_TRUE(pulseNeedsRestart(session(true, "working"), session(true, "paused")));

    // The cubic ease-in-ease-out (0.42, 0, 0.58, 1): slower at the ends than a quadratic ease.
    const std::pair<double, double> eased[] = {{-1, 0}, {0, 0}, {0.25, 0.129162}, {0.5, 0.5}, {0.9, 0.980278}, {2, 1}};
    for (const auto& [progress, opacity] : eased) EXPECT_NEAR(pulseEase(progress), opacity, 1e-5) << progress;
}

TEST(AgentRowLogic, Geometry) {
    const auto g = agentRowGeometry(300, 26, 60.0);
    EXPECT_EQ(std::make_tuple(g.harnessHighlight, g.corvaneHighlight, g.status, g.title),
              std::make_tuple(Rect{4, 0, 276, 26}, Rect{282, 2, 16, 22}, std::optional<Rect>(Rect{216, 4.5, 60, 17}),
                              Rect{38, 4.5, 170, 17}));  // the title ends 8 before the status
    EXPECT_EQ(agentRowGeometry(300, 26, std::nullopt).title.width, 238);
    EXPECT_EQ(agentRowGeometry(80, 26, 40.0).title.width, 0);  // never negative
}

}  // namespace
}  // namespace corvane
