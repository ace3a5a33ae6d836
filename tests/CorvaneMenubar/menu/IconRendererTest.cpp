#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "menu/IconRenderer.h"

namespace corvane {
namespace {

const std::vector<IconState> allStates = {IconState::running, IconState::attention, IconState::paused,
                                          IconState::unknown};

TEST(IconRenderer, OnlyAttentionIsColouredAndDependsOnTheMenuBar) {
    for (auto state : allStates) {
        const auto dark = IconRenderer::image(state, std::nullopt, true);
        const auto light = IconRenderer::image(state, std::nullopt, false);
        const bool attention = state == IconState::attention;
        EXPECT_EQ(dark.isTemplate, !attention);
        EXPECT_EQ(dark == light, !attention);
    }
    // Redrawn on a darkness change: the attention image always, templates where the shell tints them.
    struct Row {
        IconState state;
        bool dark, shellTints, drawnDark;
    };
    for (const auto& row : std::vector<Row>{{IconState::attention, true, false, true}, {IconState::attention, false, true, false},
                                            {IconState::running, true, false, false}, {IconState::paused, true, true, true},
                                            {IconState::unknown, false, true, false}})
        EXPECT_EQ(IconRenderer::drawnDarkness(row.state, row.dark, row.shellTints), row.drawnDark);
    const auto dot = op::Fill{shape::Oval{{11.6, 1.6, 5.8, 5.8}}, Colour::systemOrange()};
    for (auto [dark, grey] : {std::pair{true, 0.95}, std::pair{false, 0.1}}) {
        const auto image = IconRenderer::image(IconState::attention, std::nullopt, dark);
        EXPECT_EQ(std::get<op::Fill>(image.ops[0]).colour, Colour::grey(grey));
        EXPECT_EQ(std::get<op::Fill>(image.ops.back()), dot);
    }
}

TEST(IconRenderer, SvgMasksEachPunchOut) {
    const auto masks = [](const std::string& svg) {
        std::size_t n = 0;
        for (auto at = svg.find("<mask "); at != std::string::npos; at = svg.find("<mask ", at + 1)) ++n;
        return n;
    };
    const auto paused = toSvg(IconRenderer::image(IconState::paused, "&", false));
    EXPECT_EQ(masks(paused), 5u);
    EXPECT_NE(paused.find("data-template=\"true\""), std::string::npos);
    EXPECT_NE(paused.find(">&amp;</text>"), std::string::npos);
    const auto attention = toSvg(IconRenderer::image(IconState::attention, std::nullopt, true));
    EXPECT_EQ(masks(attention), 1u);
    for (const char* part : {"data-template=\"false\"", "#FF9500", "#F2F2F2"})  // orange dot, 0.95 white
        EXPECT_NE(attention.find(part), std::string::npos) << part;
}

}  // namespace
}  // namespace corvane
