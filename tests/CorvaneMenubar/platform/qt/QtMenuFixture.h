#pragma once

// A menu builder on the Qt shell's native menu, shown by the presenter on the offscreen platform,
// with the status item's highlight event wired as the app wires it.

#include <QApplication>
#include <QMenu>
#include <QTest>
#include <QWidgetAction>
#include <gtest/gtest.h>

#include "support/MenuRows.h"
#include "menu/MenuBuilder.h"
#include "menu/MemoryMenu.h"
#include "platform/headless/MemoryStatusItem.h"
#include "platform/qt/QtAgentRowWidget.h"
#include "platform/qt/QtNativeMenu.h"
#include "platform/qt/QtNativeMenuFactory.h"
#include "platform/qt/QtNativeMenuItem.h"
#include "platform/qt/QtMenuPresenter.h"
#include "platform/qt/QtPopupMenu.h"
#include "platform/qt/QtRowWidget.h"
#include "platform/qt/QtTextMeasure.h"

namespace corvane::qttest {

using namespace testrows;

// A menu builder on the Qt native menu that notes the title of each action it performs.
struct QtBuiltMenu {
    QtNativeMenuFactory factory;
    QtTextMeasure measure;
    std::vector<std::string> performed;
    bool reduceMotion = false;
    bool loginEnabled = true;  // the login item's status; switching it changes nothing
    int toggles = 0;
    MenuBuilder builder{factory, measure,
                        MenuBuilderHooks{[this](const MenuAction& a) { performed.push_back(a.title); },
                                         [this] { return loginEnabled; }, [this] { ++toggles; }, [] {}, [] {},
                                         [this] { return reduceMotion; }},
                        "Corvane"};
};

class QtMenuFixture : public ::testing::Test, protected QtBuiltMenu {
protected:
    MemoryStatusItem statusItem;
    QtMenuPresenter presenter{statusItem, QStringLiteral("Corvane"), QtMenuPresenter::Placement::popup};

    QtMenuFixture() {
        statusItem.setMenu(builder.menu());
        presenter.setMenu(builder.menu());
        StatusItemEvents events;
        events.willHighlight = [this](NativeMenuItem* item) { MenuBuilder::applyHighlight(*builder.menu(), item); };
        statusItem.setEvents(std::move(events));
    }
    ~QtMenuFixture() override { close(); }

    void submit(std::vector<MenuItem> items, std::vector<MenuItem> more = {}) {
        builder.submit(MenuBuild{std::move(items), std::move(more), false});
    }
    QtNativeMenu& live() { return static_cast<QtNativeMenu&>(*builder.menu()); }
    QtPopupMenu& popup() { return *live().popupMenu(); }
    QtNativeMenuItem& itemAt(std::size_t index) { return static_cast<QtNativeMenuItem&>(*live().itemAt(index)); }
    QtAgentRowWidget& agentWidget(std::size_t index) { return *dynamic_cast<QtAgentRowWidget*>(itemAt(index).rowWidget()); }
    void open() {
        presenter.popupAt(QPoint(20, 20));
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&popup()));
        QApplication::processEvents();
    }
    void close() {
        presenter.close();
        QApplication::processEvents();
    }
};

inline MenuItem agentRow(const std::string& id, const std::string& title, std::optional<std::string> status,
                         bool harness = true) {
    auto row = std::get<row::Agent>(agent(id, title, std::move(status), std::nullopt).value);
    if (!harness) row.agent.harness.reset();
    return row;
}

}  // namespace corvane::qttest
