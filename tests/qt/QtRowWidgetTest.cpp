#include "QtMenuFixture.h"

#include <QDir>
#include <QFile>
#include <QStyle>
#include <QStyleFactory>

#include "MenuDecode.h"
#include "qt/QtAgentRowWidget.h"
#include "qt/QtCliUpdateWidget.h"
#include "qt/QtMenuLook.h"

namespace corvane::qttest {
namespace {

QtAgentRowWidget& agentWidget(QtNativeMenuItem& item) { return *dynamic_cast<QtAgentRowWidget*>(item.rowWidget()); }

bool near(QColor a, QColor b) {
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue()) < 24;
}

TEST_F(QtMenuFixture, AgentRowsHighlightTheTargetUnderThePointerOrTheKeyboardDefault) {
    enum class Pointer { away, harness, corvane };
    struct Case {
        bool harness;
        Pointer pointer;
        bool keyboard;
        std::optional<AgentTarget> shown;
    };
    const std::vector<Case> cases = {
        {true, Pointer::away, false, std::nullopt},
        {true, Pointer::away, true, AgentTarget::harness},
        {false, Pointer::away, true, AgentTarget::corvane},
        {true, Pointer::harness, false, AgentTarget::harness},
        {true, Pointer::corvane, false, AgentTarget::corvane},
        {true, Pointer::corvane, true, AgentTarget::corvane},
        {false, Pointer::harness, false, std::nullopt},  // nothing to open there
        {false, Pointer::harness, true, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.harness << static_cast<int>(c.pointer) << c.keyboard);
        submit({action("Dashboard"), agentRow("a", "Fix checkout", std::nullopt, c.harness)});
        open();
        auto& item = itemAt(1);
        auto& row = agentWidget(item);
        const int w = row.width(), h = row.height();
        EXPECT_EQ(h, 26);
        EXPECT_GE(w, 320 - 12);
        if (c.pointer != Pointer::away) {
            // Through the window, as the pointer would: the row and then the menu see the move.
            const QPoint at(c.pointer == Pointer::corvane ? w - 10 : 60, h / 2);
            QTest::mouseMove(popup().windowHandle(), QPoint(1, 1));
            QTest::mouseMove(popup().windowHandle(), row.mapTo(&popup(), at));
            QApplication::processEvents();
            // The menu follows the pointer onto the row and reports the highlight.
            EXPECT_EQ(popup().activeAction(), item.action());
            EXPECT_TRUE(item.isHighlighted());
        }
        if (c.pointer == Pointer::away) item.setHighlighted(c.keyboard);
        EXPECT_EQ(row.shownTarget(), c.shown);

        const QImage image = row.grab().toImage();
        const QColor selection = QtMenuLook::selectedBackground(row);
        const auto geometry = agentRowGeometry(w, h, std::nullopt);
        // Sample each target's highlight where neither text, icon nor bolt is drawn.
        const QColor harnessPixel = image.pixelColor(int(geometry.harnessHighlight.x) + 3, h - 3);
        const QColor corvanePixel = image.pixelColor(int(geometry.corvaneHighlight.x) + 2, int(geometry.corvaneHighlight.y) + 4);
        EXPECT_EQ(near(harnessPixel, selection), c.shown == AgentTarget::harness);
        EXPECT_EQ(near(corvanePixel, selection), c.shown == AgentTarget::corvane);
        presenter.close();
        QApplication::processEvents();
    }
}

TEST_F(QtMenuFixture, AClickOnAnAgentRowOpensTheTargetUnderThePointer) {
    struct Case {
        bool harness;
        int fromRight;  // where the click lands
        std::vector<std::string> opened;
    };
    const std::vector<Case> cases = {
        {true, 10, {"Fix checkout"}},
        {true, 120, {"Open in Claude"}},
        {false, 120, {}},  // the harness part is disabled: the menu stays open
    };
    for (const auto& c : cases) {
        performed.clear();
        submit({agentRow("a", "Fix checkout", "working", c.harness)});
        open();
        auto& row = agentWidget(itemAt(0));
        const QPoint at = row.mapTo(&popup(), QPoint(row.width() - c.fromRight, row.height() / 2));
        QTest::mouseMove(popup().windowHandle(), at);
        QTest::mouseClick(popup().windowHandle(), Qt::LeftButton, Qt::NoModifier, at);
        QApplication::processEvents();
        EXPECT_EQ(performed, c.opened) << c.fromRight;
        presenter.close();
        QApplication::processEvents();
    }
}

TEST_F(QtMenuFixture, TheIconPulsesOnlyWhileShownAndWorkingAndRestartsOnlyWhenWorkingStarts) {
    // Rewrites of the open menu reach the same row; closing and opening again restarts.
    struct Step {
        std::string session;
        std::string status;
        bool pulsing;
        int starts;
    };
    const std::vector<Step> steps = {
        {"a", "working", true, 1},
        {"b", "working", true, 1},  // another working session keeps the same pulse
        {"b", "idle", false, 1},
        {"b", "working", true, 2},
        {"c", "waiting", false, 2},
    };
    submit({agentRow("a", "Fix checkout", "working")});
    EXPECT_FALSE(agentWidget(itemAt(0)).isPulsing());  // closed: no timer
    open();
    for (const auto& step : steps) {
        SCOPED_TRACE(step.session + " " + step.status);
        submit({agentRow(step.session, "Session " + step.session, step.status)});
        auto& row = agentWidget(itemAt(0));
        EXPECT_EQ(row.isPulsing(), step.pulsing);
        EXPECT_EQ(row.pulseStarts(), step.starts);
    }
    submit({agentRow("d", "Session d", "working")});
    presenter.close();
    QApplication::processEvents();
    EXPECT_FALSE(agentWidget(itemAt(0)).isPulsing());
    open();
    EXPECT_TRUE(agentWidget(itemAt(0)).isPulsing());
    // The icon fades and comes back while pulsing.
    auto& row = agentWidget(itemAt(0));
    double lowest = 1;
    for (int i = 0; i < 12; ++i) {
        QTest::qWait(50);
        lowest = std::min(lowest, row.iconOpacity());
    }
    EXPECT_LT(lowest, 0.6);
    presenter.close();
    QApplication::processEvents();

    // With animations off a working session stays still.
    reduceMotion = true;
    builder.submit(MenuBuild{{agentRow("c", "Session c", "working")}, std::vector<MenuItem>{}, false});
    open();
    EXPECT_FALSE(agentWidget(itemAt(0)).isPulsing());
    EXPECT_EQ(agentWidget(itemAt(0)).iconOpacity(), 1.0);
}

TEST_F(QtMenuFixture, TheUpdateSpinnerShowsWhileInstallingAndTurnsOnlyWhileShown) {
    struct Case {
        CliUpdatePhase phase;
        bool blocked;
        bool open;
        bool visible;
        bool turning;
        double textWidth;
    };
    const std::vector<Case> cases = {
        {CliUpdatePhase::installing, false, true, true, true, 320 - 30 - 24},
        {CliUpdatePhase::installing, false, false, true, false, 320 - 30 - 24},
        {CliUpdatePhase::available, true, true, false, false, 320 - 30},
        {CliUpdatePhase::succeeded, false, true, false, false, 320 - 30},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.phase));
        submit({row::CliUpdate{update(c.phase, c.blocked)}});
        if (c.open) open();
        auto* view = dynamic_cast<QtCliUpdateWidget*>(itemAt(0).rowWidget());
        ASSERT_NE(view, nullptr);
        view->resize(320, 36);
        EXPECT_EQ(view->state().spinnerVisible, c.visible);
        EXPECT_EQ(view->spinnerTurning(), c.turning);
        EXPECT_EQ(view->layout().textWidth, c.textWidth);
        presenter.close();
        QApplication::processEvents();
    }
}

// The demo menu, drawn offscreen in a light and a dark palette: the pictures are kept for a
// person to look at (and as the reference of the desktop screenshots).
TEST_F(QtMenuFixture, RendersTheDemoMenu) {
    QFile file(QStringLiteral(CORVANE_TEST_DATA_DIR "/sample-menu.json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    const auto decoded = decodeMenuPayload(std::string_view(bytes.constData(), std::size_t(bytes.size())), Instant{});
    const auto* payload = std::get_if<MenuPayload>(&decoded);
    ASSERT_NE(payload, nullptr);
    std::vector<MenuItem> items = payload->items;
    items.insert(items.begin() + 2, row::CliUpdate{update(CliUpdatePhase::installing)});
    items.insert(items.begin() + 3,
                 row::Status{StatusMark::problem, "GitHub token expired", std::string("Reconnect to keep syncing"),
                             urlAction("Dismiss"), urlAction("Reconnect")});

    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    const QPalette original = QApplication::palette();
    const QString dir = qEnvironmentVariable("CORVANE_TEST_ARTIFACTS", QDir::currentPath());
    for (const bool dark : {false, true}) {
        QPalette palette = QApplication::style()->standardPalette();
        if (dark) {
            palette.setColor(QPalette::Window, QColor(45, 45, 48));
            palette.setColor(QPalette::WindowText, QColor(235, 235, 235));
            palette.setColor(QPalette::Base, QColor(30, 30, 32));
            palette.setColor(QPalette::Text, QColor(235, 235, 235));
            palette.setColor(QPalette::Button, QColor(45, 45, 48));
            palette.setColor(QPalette::ButtonText, QColor(235, 235, 235));
            palette.setColor(QPalette::Highlight, QColor(53, 132, 228));
            palette.setColor(QPalette::HighlightedText, Qt::white);
            palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(130, 130, 130));
            palette.setColor(QPalette::Disabled, QPalette::Text, QColor(130, 130, 130));
        }
        QApplication::setPalette(palette);
        submit(items, payload->more);
        open();
        // A keyboard highlight on the first session and the pointer on the second one's bolt.
        for (std::size_t i = 0; i < live().count(); ++i)
            if (itemAt(i).content() && std::holds_alternative<AgentRowContent>(*itemAt(i).content())) {
                itemAt(i).setHighlighted(true);
                break;
            }
        const QImage image = popup().grab().toImage();
        EXPECT_GT(image.height(), 400);
        EXPECT_GE(image.width(), 320);
        const QString path = dir + (dark ? QStringLiteral("/qt-menu-dark.png") : QStringLiteral("/qt-menu-light.png"));
        EXPECT_TRUE(image.save(path)) << path.toStdString();
        presenter.close();
        QApplication::processEvents();
    }
    QApplication::setPalette(original);
}

}  // namespace
}  // namespace corvane::qttest
