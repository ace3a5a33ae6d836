#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "menu/IconRenderer.h"

namespace corvane {
namespace {

const std::vector<IconState> allStates = {IconState::running, IconState::attention, IconState::paused,
                                          IconState::unknown};

std::vector<op::PunchOut> punchOuts(const VectorImage& image) {
    std::vector<op::PunchOut> out;
    for (const auto& o : image.ops)
        if (const auto* p = std::get_if<op::PunchOut>(&o)) out.push_back(*p);
    return out;
}

op::PunchOut roundedHole(Rect rect, double radius) { return {shape::RoundedRect{rect, radius}}; }

TEST(IconRenderer, BoltSecondPieceIsTheFirstTurnedHalfATurn) {
    const auto& bolt = IconRenderer::boltPolygons().polygons;
    ASSERT_TRUE(bolt.size() == 2 && bolt[0].size() == 6 && bolt[1].size() == 6);
    for (std::size_t i = 0; i < 6; ++i)  // about the image's centre (9, 9)
        EXPECT_NEAR(bolt[1][i].x + bolt[0][i].x + bolt[1][i].y + bolt[0][i].y, 36, 1e-4) << i;
}

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

TEST(IconRenderer, OverlaysPunchOutTheirShapes) {
    const std::vector<std::pair<IconState, std::vector<op::PunchOut>>> rows = {
        {IconState::running, {}},
        {IconState::unknown, {}},
        {IconState::attention, {op::PunchOut{shape::Oval{{10.4, 0.4, 8.2, 8.2}}}}},
        {IconState::paused, {roundedHole({9.4, 9.4, 9.0, 9.0}, 2.6), roundedHole({12.3, 11.9, 1.1, 4.0}, 0),
                             roundedHole({14.4, 11.9, 1.1, 4.0}, 0)}},
    };
    for (const auto& [state, holes] : rows)
        EXPECT_EQ(punchOuts(IconRenderer::image(state, std::nullopt, false)), holes);

    const auto paused = IconRenderer::image(IconState::paused, std::nullopt, false);
    EXPECT_EQ(std::get<op::Fill>(paused.ops[2]), (op::Fill{shape::RoundedRect{{10.4, 10.4, 7.0, 7.0}, 1.8},
                                                           Colour::black()}));

    const auto unknown = IconRenderer::image(IconState::unknown, std::nullopt, false);
    ASSERT_EQ(unknown.ops.size(), 1u);
    EXPECT_TRUE(std::holds_alternative<op::Stroke>(unknown.ops[0]));  // an outline, not a filled bolt
}

TEST(IconRenderer, VariantBadgeComesLastInEveryState) {
    for (auto state : allStates) {
        const auto plain = IconRenderer::image(state, std::nullopt, true);
        const auto badged = IconRenderer::image(state, "D", true);
        ASSERT_EQ(badged.ops.size(), plain.ops.size() + 3);
        EXPECT_TRUE(std::equal(plain.ops.begin(), plain.ops.end(), badged.ops.begin()));
        const auto fg = state == IconState::attention ? Colour::grey(0.95) : Colour::black();
        const auto tail = std::vector<VectorOp>(badged.ops.end() - 3, badged.ops.end());
        EXPECT_EQ(tail, (std::vector<VectorOp>{roundedHole({-0.8, 9.4, 9.4, 9.4}, 2.6),
                                               op::Fill{shape::RoundedRect{{0.0, 10.2, 7.8, 7.8}, 2.0}, fg},
                                               op::PunchOutText{"D", 6.0, true, {3.9, 14.1}}}));
        EXPECT_EQ(badged.isTemplate, plain.isTemplate);
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
