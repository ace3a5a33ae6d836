#include "platform/qt/QtVectorImage.h"

#include <gtest/gtest.h>

#include "menu/IconRenderer.h"

namespace corvane {
namespace {

// The pixel under a point of the 18-point design.
QColor at(const QImage& image, double x, double y) {
    const double scale = image.width() / 18.0;
    return image.pixelColor(static_cast<int>(x * scale), static_cast<int>(y * scale));
}

bool opaque(const QColor& colour) { return colour.alpha() > 200; }
bool clear(const QColor& colour) { return colour.alpha() < 50; }

TEST(QtVectorImageTest, EveryTraySizeShowsTheStatesFeaturesAndTheTrayIconCarriesIt) {
    const QColor tint(200, 30, 40);
    const QIcon icon = trayIcon(IconRenderer::image(IconState::running, std::nullopt, false), tint);
    for (int pixels : trayIconSizes()) {
        for (qreal ratio : {1.0, 2.0}) {
            SCOPED_TRACE(testing::Message() << pixels << " px at " << ratio << "x");
            const auto draw = [&](IconState state, std::optional<std::string> badge = std::nullopt) {
                return rasterize(IconRenderer::image(state, badge, false), pixels, ratio, tint);
            };
            const QImage running = draw(IconState::running);
            ASSERT_EQ(running.width(), qRound(pixels * ratio));
            EXPECT_EQ(running.devicePixelRatio(), ratio);
            EXPECT_EQ(icon.pixmap(QSize(pixels, pixels), ratio).width(), running.width());

            // Inside the left blade: a template state takes the tint, the outline leaves it empty.
            const QColor fill = at(running, 3.4, 9.2);
            EXPECT_TRUE(opaque(fill));
            EXPECT_EQ(fill.rgb(), tint.rgb());
            EXPECT_TRUE(clear(at(draw(IconState::unknown), 3.4, 9.2)));
            EXPECT_TRUE(clear(at(running, 0.3, 0.3)));

            // Attention keeps its own colours: a dark bolt and the orange dot, untinted.
            const QImage attention = draw(IconState::attention);
            const QColor bolt = at(attention, 3.4, 9.2);
            EXPECT_LT(bolt.red(), 60);
            const QColor dot = at(attention, 14.5, 4.5);
            EXPECT_TRUE(opaque(dot));
            EXPECT_GT(dot.red(), 220);
            EXPECT_GT(dot.green(), 110);
            EXPECT_LT(dot.green(), 180);
            EXPECT_LT(dot.blue(), 60);

            const QImage badged = draw(IconState::running, "S");
            EXPECT_TRUE(opaque(at(badged, 3.9, 10.7)));

            if (pixels * ratio < 32) continue;  // holes of a point or less blur below 32 pixels
            // The badge clears a margin over the bolt's lower-left corner.
            EXPECT_TRUE(opaque(at(running, 4.0, 9.8)));
            EXPECT_TRUE(clear(at(badged, 4.0, 9.8)));
            const QImage paused = draw(IconState::paused);
            EXPECT_TRUE(opaque(at(paused, 11.2, 14.0)));
            EXPECT_TRUE(clear(at(paused, 12.85, 13.9)));
            EXPECT_TRUE(clear(at(paused, 14.95, 13.9)));
            EXPECT_TRUE(opaque(at(paused, 13.9, 13.9)));

            // The letter is cut out of the badge.
            int holes = 0;
            const double scale = badged.width() / 18.0;
            for (int y = static_cast<int>(11.5 * scale); y < static_cast<int>(16.7 * scale); ++y)
                for (int x = static_cast<int>(1.3 * scale); x < static_cast<int>(6.5 * scale); ++x)
                    holes += clear(badged.pixelColor(x, y)) ? 1 : 0;
            EXPECT_GT(holes, 0);
        }
    }
}

}  // namespace
}  // namespace corvane
