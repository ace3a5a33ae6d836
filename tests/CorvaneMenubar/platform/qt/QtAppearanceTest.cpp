#include "platform/qt/QtAppearance.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

// Which panel facts mean dark is the portable table's; here: the facts reach the icon's ink, and
// every change (and only a change) notifies the observers.
TEST(QtAppearanceTest, PanelFactsAndPortalAnswersNotifyObservers) {
    QtAppearance appearance(false);
    int changes = 0;
    auto observation = appearance.observe([&] { ++changes; });
    EXPECT_TRUE(appearance.menuBarIsDark()) << "a panel nothing is known of is taken as dark";

    PanelFacts light;
    light.xfceDarkMode = false;
    appearance.setPanelFacts(light);
    EXPECT_FALSE(appearance.menuBarIsDark());
    EXPECT_EQ(appearance.panelTextColour(), QColor(26, 26, 26));
    EXPECT_EQ(changes, 1);
    appearance.setPanelFacts(light);
    EXPECT_EQ(changes, 1) << "the same facts are no change";
    appearance.portalAnimations(false);
    EXPECT_TRUE(appearance.reduceMotion());
    EXPECT_EQ(changes, 2);

    observation.reset();
    appearance.setPanelFacts({});
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(appearance.panelTextColour(), QColor(242, 242, 242));
}

}  // namespace
}  // namespace corvane
