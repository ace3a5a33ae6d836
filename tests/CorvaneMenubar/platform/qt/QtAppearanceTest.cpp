#include "platform/qt/QtAppearance.h"

#include <QGuiApplication>
#include <QPalette>

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(QtAppearanceTest, PortalAnswersWinOverThePaletteAndNotifyObservers) {
    QtAppearance appearance(false);
    int changes = 0;
    auto observation = appearance.observe([&] { ++changes; });

    struct Case {
        std::optional<std::uint32_t> scheme;
        std::optional<bool> animations;
        bool dark;
        bool reduceMotion;
    };
    const QPalette saved = QGuiApplication::palette();
    QPalette darkPalette = saved;
    darkPalette.setColor(QPalette::Window, Qt::black);
    darkPalette.setColor(QPalette::WindowText, Qt::white);
    QGuiApplication::setPalette(darkPalette);
    changes = 0;
    const bool paletteDark = true;
    for (const Case& c : {Case{1u, std::nullopt, true, false}, Case{2u, false, false, true},
                          Case{0u, true, paletteDark, false}, Case{std::nullopt, std::nullopt, paletteDark, false}}) {
        const int before = changes;
        appearance.portalColorScheme(c.scheme);
        appearance.portalAnimations(c.animations);
        EXPECT_EQ(appearance.menuBarIsDark(), c.dark);
        EXPECT_EQ(appearance.reduceMotion(), c.reduceMotion);
        EXPECT_GT(changes, before);
        EXPECT_EQ(appearance.panelTextColour().lightness() > 128, c.dark);
    }
    // A repeated answer is no change; a palette change is.
    const int settled = changes;
    appearance.portalColorScheme(std::nullopt);
    EXPECT_EQ(changes, settled);
    QGuiApplication::setPalette(saved);
    EXPECT_GT(changes, settled);

    observation.reset();
    const int stopped = changes;
    appearance.portalColorScheme(1u);
    EXPECT_EQ(changes, stopped);
}

}  // namespace
}  // namespace corvane
