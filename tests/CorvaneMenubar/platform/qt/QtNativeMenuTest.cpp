#include "QtMenuFixture.h"

#include "platform/qt/QtCliUpdateWidget.h"

namespace corvane::qttest {
namespace {

using Kind = QtRowWidget::Kind;

std::vector<QAction*> actionsOf(QMenu& menu) {
    const auto list = menu.actions();
    return {list.begin(), list.end()};
}

QStringList textsOf(QMenu& menu) {
    QStringList out;
    for (QAction* action : menu.actions()) out << (action->isSeparator() ? QStringLiteral("-") : action->text());
    return out;
}

std::vector<MenuItem> sessions(const std::string& status, const std::string& age) {
    return {
        row::Header{"Corvane", "dana@acme.dev", std::string("2 agents")},
        agentRow("a", "Fix checkout · " + age, status),
        agentRow("b", "Billing v2 · " + age, "idle"),
        row::Submenu{"Open", {action("Dashboard"), action("Folder")}},
        action("Copy Session ID"),
    };
}

TEST_F(QtMenuFixture, AnOpenMenuIsRewrittenInPlaceKeepingActionsHighlightAndSubmenu) {
    submit(sessions("working", "2m ago"));
    open();
    auto& agentItem = itemAt(1);
    popup().setActiveAction(agentItem.action());
    QApplication::processEvents();
    ASSERT_TRUE(agentItem.isHighlighted());

    const auto popupActions = actionsOf(popup());
    const auto mirrorActions = actionsOf(*presenter.exportedMenu());
    QWidget* const shownWidget = agentItem.rowWidget();
    submit(sessions("idle", "3m ago"));

    EXPECT_EQ(actionsOf(popup()), popupActions);
    EXPECT_EQ(actionsOf(*presenter.exportedMenu()), mirrorActions);
    EXPECT_EQ(popup().activeAction(), agentItem.action());
    EXPECT_TRUE(agentItem.isHighlighted());
    EXPECT_EQ(agentItem.rowWidget(), shownWidget);
    EXPECT_EQ(agentItem.action()->text(), QStringLiteral("Fix checkout · 3m ago"));
    EXPECT_EQ(presenter.exportedMenu()->actions().at(1)->text(), QStringLiteral("Fix checkout · 3m ago"));

    // Into the submenu with the keyboard, then another rewrite.
    auto& openItem = itemAt(3);
    popup().setActiveAction(openItem.action());
    QTest::keyClick(&popup(), Qt::Key_Right);
    QMenu* submenu = openItem.action()->menu();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(submenu));
    const auto subActions = actionsOf(*submenu);
    submit(sessions("working", "4m ago"));
    QApplication::processEvents();
    EXPECT_TRUE(submenu->isVisible());
    EXPECT_EQ(actionsOf(*submenu), subActions);
    EXPECT_EQ(popup().activeAction(), openItem.action());
}

TEST_F(QtMenuFixture, TheUpdateRowChangesItsContentWithoutLeavingTheOpenMenu) {
    struct Step {
        CliUpdatePhase phase;
        bool blocked;
        Kind kind;
        bool spinner;
    };
    const std::vector<Step> steps = {
        {CliUpdatePhase::available, false, Kind::title, false},
        {CliUpdatePhase::available, true, Kind::cliUpdate, false},
        {CliUpdatePhase::installing, false, Kind::cliUpdate, true},
        {CliUpdatePhase::installing, false, Kind::cliUpdate, true},
        {CliUpdatePhase::succeeded, false, Kind::cliUpdate, false},
        {CliUpdatePhase::available, false, Kind::title, false},
    };
    submit({row::CliUpdate{update(CliUpdatePhase::available)}, action("Dashboard")});
    open();
    QAction* const notice = itemAt(0).action();
    popup().setActiveAction(itemAt(1).action());
    for (const auto& step : steps) {
        SCOPED_TRACE(static_cast<int>(step.phase) * 10 + step.blocked);
        submit({row::CliUpdate{update(step.phase, step.blocked)}, action("Dashboard")});
        QApplication::processEvents();
        EXPECT_EQ(popup().actions().first(), notice);
        EXPECT_EQ(popup().activeAction(), itemAt(1).action());
        auto* widget = itemAt(0).rowWidget();
        ASSERT_NE(widget, nullptr);
        EXPECT_EQ(widget->kind(), step.kind);
        EXPECT_TRUE(widget->isVisible());
        if (auto* view = dynamic_cast<QtCliUpdateWidget*>(widget)) {
            EXPECT_EQ(view->spinnerTurning(), step.spinner);
        }
    }
    // The spinner turns only while the menu is shown.
    close();
    submit({row::CliUpdate{update(CliUpdatePhase::installing)}, action("Dashboard")});
    auto* view = dynamic_cast<QtCliUpdateWidget*>(itemAt(0).rowWidget());
    ASSERT_NE(view, nullptr);
    EXPECT_FALSE(view->spinnerTurning());
    open();
    EXPECT_TRUE(view->spinnerTurning());
    close();
    EXPECT_FALSE(view->spinnerTurning());
    // After a failure the log row follows the notice row.
    submit({row::CliUpdate{update(CliUpdatePhase::failed)}, action("Dashboard")});
    EXPECT_EQ(textsOf(popup()).mid(0, 3), (QStringList{QStringLiteral("CLI update failed. Retry?"), QStringLiteral("View update log"),
                                                       QStringLiteral("Dashboard")}))
        << textsOf(popup()).join(QLatin1Char('|')).toStdString();
}

TEST_F(QtMenuFixture, TheExportedMirrorIsSetOnceNeverEmptyAndPlainText) {
    QMenu* const exported = presenter.exportedMenu();
    QtMenuPresenter early(statusItem);
    ASSERT_EQ(early.exportedMenu()->actions().size(), 1);
    EXPECT_FALSE(early.exportedMenu()->actions().first()->isEnabled());

    submit({row::Header{"Corvane", "dana@acme.dev", std::string("3 agents")},
            row::Status{StatusMark::warn, "Sync late", std::string("Last sync\n2 h ago"), std::nullopt, std::nullopt},
            row::Connection{ConnectionMark::ok, "GitHub", "connected", std::nullopt, std::nullopt},
            agentRow("a", "Fix checkout", "working"),
            row::Status{StatusMark::problem, "Token expired", std::string("GitHub"), std::nullopt, urlAction("Reconnect")},
            action("A & B")});
    EXPECT_EQ(presenter.exportedMenu(), exported);
    const QStringList expected = {
        QStringLiteral("Corvane — dana@acme.dev — 3 agents"),
        QStringLiteral("Sync late — Last sync\n2 h ago"),
        QStringLiteral("GitHub: connected"),
        QStringLiteral("Fix checkout — Working"),
        QStringLiteral("Token expired — GitHub"),
        QStringLiteral("A && B"),
    };
    EXPECT_EQ(textsOf(*exported).mid(0, expected.size()), expected) << textsOf(*exported).join(QLatin1Char('|')).toStdString();

    // Its actions act: the agent row opens its default target.
    exported->actions().at(3)->trigger();
    EXPECT_EQ(performed, std::vector<std::string>{"Open in Claude"});
}

// Where popups cannot be placed (Wayland) the same menu opens as a window. Either way a choice
// closes it, and the status item hears of the opening once and of the closing after the choice.
TEST_F(QtMenuFixture, OpeningAndClosingReachTheStatusItemOnceAndAfterTheChosenActionInBothPlacements) {
    QtMenuPresenter windowed(statusItem, QStringLiteral("Corvane"), QtMenuPresenter::Placement::window);
    windowed.setMenu(builder.menu());
    StatusItemEvents observed;
    observed.menuWillOpen = [&] { performed.push_back("open"); };
    observed.menuDidClose = [&] { performed.push_back("close"); };
    statusItem.setEvents(observed);
    struct Case {
        bool window;
        std::size_t row;
        Qt::KeyboardModifiers modifiers;
        std::string opened;
    };
    // A plain row closes the popup in Qt before it triggers, and the window once it has; an agent
    // row closes the menu itself. A window stays one: the popup goes first.
    for (const Case& c : {Case{false, 1, Qt::NoModifier, "Dashboard"}, Case{true, 0, Qt::AltModifier, "Fix checkout"},
                          Case{true, 1, Qt::NoModifier, "Dashboard"}}) {
        SCOPED_TRACE(c.opened);
        performed.clear();
        submit({agentRow("a", "Fix checkout", "working"), action("Dashboard")});
        (c.window ? windowed : presenter).popupAt(QPoint(20, 20));
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&popup()));
        EXPECT_EQ(popup().windowFlags().testFlag(Qt::Popup), !c.window);
        EXPECT_TRUE(builder.isTracking());
        EXPECT_TRUE(agentWidget(0).isPulsing());
        popup().setActiveAction(itemAt(c.row).action());
        QTest::keyClick(&popup(), Qt::Key_Return, c.modifiers);
        QApplication::processEvents();
        EXPECT_EQ(performed, (std::vector<std::string>{"open", c.opened, "close"}));
        EXPECT_FALSE(popup().isVisible());
        EXPECT_FALSE(builder.isTracking());
    }

    // The panel's menu (the mirror went to the last presenter given the menu): GTK hosts say it
    // opens (AboutToShow, which Qt turns into aboutToShow) and never that it closed. It counts as
    // an opening and a closing, and the popup still opens.
    for (int opening = 0; opening < 2; ++opening) {
        performed.clear();
        Q_EMIT windowed.exportedMenu()->aboutToShow();
        QApplication::processEvents();
        EXPECT_EQ(performed, (std::vector<std::string>{"open", "close"}));
        EXPECT_FALSE(builder.isTracking());
    }
    windowed.popupAt(QPoint(20, 20));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&popup()));
    EXPECT_TRUE(windowed.isShown());
    EXPECT_EQ(performed.back(), "open");
    windowed.close();
}

}  // namespace
}  // namespace corvane::qttest
