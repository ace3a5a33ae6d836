#include <gtest/gtest.h>

#include <utility>

#include "app/TrayChoice.h"

namespace corvane {
namespace {

TEST(TrayChoice, TheIconIsMadeOnlyWhenTheProtocolQtWouldPickIsTheRightOne) {
    using D = TrayFacts::Display;
    struct Row {
        const char* when;
        TrayFacts facts;
        TrayStep expected;
    };
    const Row rows[] = {
        {"a panel's watcher is up", {D::wayland, true, true, std::nullopt, 0}, {true, 0}},
        {"X11 without a bus: XEmbed is all there is", {D::x11, false, false, std::nullopt, 0}, {true, 0}},
        {"Wayland without a bus: nothing can show it", {D::wayland, false, false, std::nullopt, 0}, {false, 0}},
        {"offscreen", {D::other, true, false, std::nullopt, 0}, {true, 0}},
        {"login, panel not up yet", {D::x11, true, false, std::nullopt, 2}, {false, 0.25}},
        {"an XEmbed tray just appeared: its watcher may follow", {D::x11, true, false, 1.0, 3}, {false, 0.25}},
        {"an XEmbed tray alone for a moment", {D::x11, true, false, xembedTrayGraceSeconds, 30}, {true, 0}},
        {"Wayland never settles for XEmbed", {D::wayland, true, false, 5.0, 5}, {false, 0.25}},
        {"still nothing after the quick looks", {D::wayland, true, false, std::nullopt, quickLookSeconds}, {false, 1.0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(trayStep(row.facts), row.expected);
    }
}

TEST(TrayChoice, ACopyReachesTheWaylandClipboardOrSaysItCannot) {
    using R = ClipboardRoute;
    const std::pair<ClipboardFacts, R> rows[] = {
        {{false, false, false, false}, R::toolkit},  // X11
        {{true, true, true, true}, R::toolkit},      // chosen in the app's own window
        {{true, true, false, true}, R::copyTool},    // chosen in the panel's menu
        {{true, true, false, false}, R::cannot},
        {{true, false, true, true}, R::copyTool},    // XWayland: the X clipboard stays there
        {{true, false, true, false}, R::toolkit},
    };
    for (const auto& [facts, expected] : rows) EXPECT_EQ(clipboardRoute(facts), expected);
}

}  // namespace
}  // namespace corvane
