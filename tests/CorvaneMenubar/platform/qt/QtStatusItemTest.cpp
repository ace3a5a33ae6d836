#include "platform/qt/QtStatusItem.h"

#include <QApplication>
#include <QListWidget>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTest>

#include <gtest/gtest.h>

#include "menu/IconRenderer.h"
#include "platform/qt/QtAppearance.h"
#include "platform/qt/QtFallbackWindow.h"
#include "QtMenuFixture.h"

namespace corvane {
namespace {

using namespace testrows;
using qttest::QtBuiltMenu;

class QtStatusItemTest : public ::testing::Test, protected QtBuiltMenu {
protected:
    QtAppearance appearance{false};
    QtStatusItem statusItem{appearance};
    int opened = 0;

    QtStatusItemTest() {
        statusItem.setEvents(StatusItemEvents{[this] { ++opened; }, {}, {}});
        statusItem.setMenu(builder.menu());
        builder.submit(MenuBuild{{action("Open dashboard"), action("Copy machine ID")}, {}, false});
    }
    ~QtStatusItemTest() override {
        statusItem.presenter().close();
        QApplication::processEvents();
    }

    // The centre-left pixel of the tray icon's 22-pixel form (inside the bolt's left blade).
    QColor bladePixel() {
        const QImage image = statusItem.trayIcon()->icon().pixmap(QSize(22, 22), 1.0).toImage();
        return image.pixelColor(image.width() * 3 / 18, image.height() / 2);
    }
};

TEST_F(QtStatusItemTest, IconFollowsTheDesktopsLookWithoutANewImage) {
    statusItem.setImage(IconRenderer::image(IconState::running, std::nullopt, false));
    ASSERT_TRUE(statusItem.hasImage());
    // A light and then a dark panel (the appearance test's rule).
    PanelFacts light;
    light.xfceDarkMode = false;
    appearance.setPanelFacts(light);
    EXPECT_EQ(bladePixel().rgb(), appearance.panelTextColour().rgb());
    appearance.setPanelFacts({});
    EXPECT_EQ(bladePixel().rgb(), appearance.panelTextColour().rgb()) << "re-tinted on the change";

    // The attention icon keeps its own colours on either panel.
    statusItem.setImage(IconRenderer::image(IconState::attention, std::nullopt, true));
    const QImage attention = statusItem.trayIcon()->icon().pixmap(QSize(64, 64), 1.0).toImage();
    const QColor dot = attention.pixelColor(64 * 145 / 180, 64 * 45 / 180);
    EXPECT_GT(dot.red(), 220);
    EXPECT_LT(dot.blue(), 60);
}

TEST_F(QtStatusItemTest, TrayCarriesTheMirrorAndAClickOpensThePopup) {
    ASSERT_NE(statusItem.presenter().exportedMenu(), nullptr);
    EXPECT_EQ(statusItem.trayIcon()->contextMenu(), statusItem.presenter().exportedMenu());

    Q_EMIT statusItem.trayIcon()->activated(QSystemTrayIcon::Trigger);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(statusItem.presenter().popupMenu()));
    EXPECT_TRUE(statusItem.presenter().isShown());
    EXPECT_EQ(opened, 1);
    statusItem.openMenu();  // a second start asking while it is open changes nothing
    EXPECT_EQ(opened, 1);

    statusItem.remove();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !statusItem.presenter().isShown(); }));
    statusItem.openMenu();
    QTest::qWait(20);
    EXPECT_FALSE(statusItem.presenter().isShown()) << "nothing opens once removed";
}

TEST_F(QtStatusItemTest, FallbackWindowListsTheRowsFollowsEditsAndChoosesRows) {
    QtFallbackWindow window(statusItem, QStringLiteral("Corvane"));
    EXPECT_TRUE(window.rowTexts().contains(QStringLiteral("Copy machine ID"))) << window.rowTexts().join(QLatin1Char('|')).toStdString();

    builder.submit(MenuBuild{{action("Open dashboard"), action("Copy machine ID"), action("Sync sessions now")}, {}, false});
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.rowTexts().contains(QStringLiteral("Sync sessions now")); }));

    auto* list = window.findChild<QListWidget*>();
    ASSERT_NE(list, nullptr);
    const int row = static_cast<int>(window.rowTexts().indexOf(QStringLiteral("Copy machine ID")));
    Q_EMIT list->itemActivated(list->item(row));
    QApplication::processEvents();
    EXPECT_EQ(performed, std::vector<std::string>{"Copy machine ID"});
}

}  // namespace
}  // namespace corvane
