#include <gtest/gtest.h>

#include "menu/PopupPlacement.h"

namespace corvane {
namespace {

TEST(PopupPlacement, OpensOnTheFarSideOfTheIconsPanelAndNeverCoversAPanel) {
    const ScreenRect screen{0, 0, 1280, 800};
    const ScreenRect topBar{0, 26, 1280, 774}, bottomPanel{0, 0, 1280, 756}, leftPanel{48, 0, 1232, 800};
    struct Row { const char* when; PopupAnchor anchor; int width, height; ScreenRect available; ScreenPoint expected; };
    const Row rows[] = {
        {"icon in a bottom panel (Plasma)", {ScreenRect{1200, 762, 32, 32}, {}}, 400, 500, bottomPanel, {880, 256}},
        {"click in a bottom panel, no icon rectangle", {std::nullopt, {1210, 780}}, 400, 500, bottomPanel, {880, 256}},
        {"click in a top bar: below the bar", {std::nullopt, {700, 20}}, 400, 500, topBar, {700, 26}},
        {"icon in a left panel", {ScreenRect{8, 700, 32, 32}, {}}, 400, 500, leftPanel, {48, 300}},
        {"taller than the free area: header on screen", {ScreenRect{1256, 2, 22, 22}, {}}, 400, 900, topBar, {880, 26}},
        {"a panel that reserves nothing: lower half opens upwards", {std::nullopt, {300, 790}}, 400, 500, ScreenRect{},
         {300, 290}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(popupPosition(row.anchor, row.width, row.height, screen, row.available), row.expected);
    }
}

}  // namespace
}  // namespace corvane
