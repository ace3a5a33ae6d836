#include "QtMenuFixture.h"

#include <QDir>
#include <QFile>
#include <QStyle>
#include <QStyleFactory>

#include "MenuDecode.h"
#include "platform/qt/QtMenuLook.h"

namespace corvane::qttest {
namespace {

bool near(QColor a, QColor b) {
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue()) < 24;
}

// The highlighted target follows the pointer, or the keyboard's default target, and is the one
// a click or Return opens; Alt+Return opens the row in Corvane.
TEST_F(QtMenuFixture, AgentRowsHighlightAndOpenTheTargetUnderThePointerOrTheKeyboardDefault) {
    enum class Input { none, key, altKey, pointerOnHarness, pointerOnCorvane };
    struct Case {
        bool harness;
        Input input;
        std::optional<AgentTarget> shown;
        std::vector<std::string> opened;
    };
    const std::vector<Case> cases = {
        {true, Input::none, std::nullopt, {}},
        {true, Input::key, AgentTarget::harness, {"Open in Claude"}},
        {true, Input::altKey, AgentTarget::harness, {"Fix checkout"}},
        {false, Input::key, AgentTarget::corvane, {"Fix checkout"}},
        {true, Input::pointerOnHarness, AgentTarget::harness, {"Open in Claude"}},
        {true, Input::pointerOnCorvane, AgentTarget::corvane, {"Fix checkout"}},
        {false, Input::pointerOnHarness, std::nullopt, {}},  // nothing to open there: the menu stays open
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.harness << static_cast<int>(c.input));
        performed.clear();
        submit({action("Dashboard"), agentRow("a", "Fix checkout", std::nullopt, c.harness)});
        open();
        auto& item = itemAt(1);
        auto& row = agentWidget(1);
        const int w = row.width(), h = row.height();
        const bool pointer = c.input == Input::pointerOnHarness || c.input == Input::pointerOnCorvane;
        const QPoint at = row.mapTo(&popup(), QPoint(c.input == Input::pointerOnCorvane ? w - 10 : 60, h / 2));
        if (pointer) {
            // Through the window, as the pointer would: the row and then the menu see the move.
            QTest::mouseMove(popup().windowHandle(), QPoint(1, 1));
            QTest::mouseMove(popup().windowHandle(), at);
        } else if (c.input != Input::none) {
            QTest::keyClick(&popup(), Qt::Key_Down);
            QTest::keyClick(&popup(), Qt::Key_Down);
        }
        QApplication::processEvents();
        // The menu follows the pointer or the keys onto the row and reports the highlight.
        EXPECT_EQ(popup().activeAction() == item.action(), c.input != Input::none);
        EXPECT_EQ(item.isHighlighted(), c.input != Input::none);
        EXPECT_EQ(row.shownTarget(), c.shown);

        const QImage image = row.grab().toImage();
        const QColor selection = QtMenuLook::selectedBackground(row);
        const auto geometry = agentRowGeometry(w, h, std::nullopt);
        // Sample each target's highlight where neither text, icon nor bolt is drawn.
        const QColor harnessPixel = image.pixelColor(int(geometry.harnessHighlight.x) + 3, h - 3);
        const QColor corvanePixel = image.pixelColor(int(geometry.corvaneHighlight.x) + 2, int(geometry.corvaneHighlight.y) + 4);
        EXPECT_EQ(near(harnessPixel, selection), c.shown == AgentTarget::harness);
        EXPECT_EQ(near(corvanePixel, selection), c.shown == AgentTarget::corvane);

        if (pointer) QTest::mouseClick(popup().windowHandle(), Qt::LeftButton, Qt::NoModifier, at);
        if (!pointer && c.input != Input::none)
            QTest::keyClick(&popup(), Qt::Key_Return, c.input == Input::altKey ? Qt::AltModifier : Qt::NoModifier);
        QApplication::processEvents();
        EXPECT_EQ(performed, c.opened);
        close();
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
    EXPECT_FALSE(agentWidget(0).isPulsing());  // closed: no timer
    open();
    for (const auto& step : steps) {
        SCOPED_TRACE(step.session + " " + step.status);
        submit({agentRow(step.session, "Session " + step.session, step.status)});
        EXPECT_EQ(agentWidget(0).isPulsing(), step.pulsing);
        EXPECT_EQ(agentWidget(0).pulseStarts(), step.starts);
    }
    submit({agentRow("d", "Session d", "working")});
    close();
    EXPECT_FALSE(agentWidget(0).isPulsing());
    open();
    EXPECT_TRUE(agentWidget(0).isPulsing());
    // The icon fades while pulsing.
    double lowest = 1;
    for (int i = 0; i < 12; ++i) {
        QTest::qWait(50);
        lowest = std::min(lowest, agentWidget(0).iconOpacity());
    }
    EXPECT_LT(lowest, 0.6);
    close();

    // With animations off a working session stays still.
    reduceMotion = true;
    submit({agentRow("c", "Session c", "working")});
    open();
    EXPECT_FALSE(agentWidget(0).isPulsing());
    EXPECT_EQ(agentWidget(0).iconOpacity(), 1.0);
}

// The demo menu, drawn offscreen for a light and a dark desktop (the toolkit's palette is light;
// the popup follows the desktop): the pictures are kept for a person to look at (and as the
// reference of the desktop screenshots). The header and a plain row start their texts on one
// edge, on either side.
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
    const QString dir = qEnvironmentVariable("CORVANE_TEST_ARTIFACTS", QDir::tempPath());
    // Light, dark, and right to left (dark).
    QApplication::setPalette(QApplication::style()->standardPalette());
    for (const auto& [dark, rightToLeft] : {std::pair{false, false}, {true, false}, {true, true}}) {
        QApplication::setLayoutDirection(rightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
        QtPopupMenu::setDesktopShade([dark = dark] { return std::optional<bool>(dark); });
        submit(items, payload->more);
        open();
        // A keyboard highlight on the first session.
        for (std::size_t i = 0; i < live().count(); ++i)
            if (itemAt(i).content() && std::holds_alternative<AgentRowContent>(*itemAt(i).content())) {
                itemAt(i).setHighlighted(true);
                break;
            }
        const QImage image = popup().grab().toImage();
        EXPECT_GT(image.height(), 400);
        EXPECT_GE(image.width(), 320);
        const QColor ground = image.pixelColor(3, image.height() / 2);
        EXPECT_EQ(ground.lightnessF() < 0.5, dark);
        // The text's leading edge in a row: its first column (last, right to left) unlike the ground.
        auto textEdge = [&, mirrored = rightToLeft](QAction* action) {
            const QRect row = popup().actionGeometry(action);
            for (int step = 0; step < row.width(); ++step) {
                const int x = mirrored ? row.right() - step : row.left() + step;
                for (int y = row.top() + 2; y < row.bottom() - 2; ++y)
                    if (image.pixelColor(x, y) != ground) return step;
            }
            return -1;
        };
        QAction* plain = nullptr;
        for (auto* action : popup().actions()) {
            const auto* custom = qobject_cast<QWidgetAction*>(action);
            if (!plain && !action->isSeparator() && action->icon().isNull() && !(custom && custom->defaultWidget()))
                plain = action;
        }
        ASSERT_NE(plain, nullptr);
        EXPECT_NEAR(textEdge(itemAt(0).action()), textEdge(plain), 2) << "header and " << plain->text().toStdString();
        const QString path = dir + (rightToLeft ? QStringLiteral("/qt-menu-rtl.png")
                                    : dark      ? QStringLiteral("/qt-menu-dark.png")
                                                : QStringLiteral("/qt-menu-light.png"));
        EXPECT_TRUE(image.save(path)) << path.toStdString();
        close();
    }
    QApplication::setPalette(original);
    QApplication::setLayoutDirection(Qt::LeftToRight);
    QtPopupMenu::setDesktopShade({});
}

}  // namespace
}  // namespace corvane::qttest
