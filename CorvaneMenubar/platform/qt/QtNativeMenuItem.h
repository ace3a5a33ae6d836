#pragma once

// A native menu item of the Qt shell, shown on two surfaces at once:
//   - the app's own popup: one QWidgetAction. Without a default widget it draws like a plain
//     QAction; custom content (agent rows, hosted rows, the update view, two-font titles) becomes
//     its default widget;
//   - the plain-text mirror exported over D-Bus (dbusmenu cannot carry widgets): one QAction
//     that renders the row's plain surface (PlainSurface.h): its whole text, its check mark, and
//     a submenu of its targets when it has titled ones (an agent's harness and Corvane, a
//     dismiss, a status row's action). Its data is the row's key.
// Both actions live as long as the item and are only ever edited, so a menu that is open keeps its
// QAction objects, its highlighted action and an open submenu while the builder rewrites it.

#include <QPointer>
#include <memory>
#include <vector>

#include "menu/NativeMenu.h"
#include "menu/PlainSurface.h"

class QAction;
class QWidgetAction;

namespace corvane {

class QtRowWidget;

class QtNativeMenuItem final : public NativeMenuItem {
public:
    explicit QtNativeMenuItem(bool separator = false);
    ~QtNativeMenuItem() override;

    QWidgetAction* action() const { return action_.get(); }
    QAction* plainAction() const { return plain_.get(); }
    // The custom row shown in the popup, or null for a plain row.
    QtRowWidget* rowWidget() const;

    // The user chose (a part of) the row in the popup. The item stays alive until the event that
    // chose it has been handled, even when the builder drops it from the menu meanwhile.
    void choose(const Activation& activation);

    // Builds the custom row widget and keeps it current from now on. Items of an off-screen build
    // (most of them only hand their content to a live item) never pay for a widget.
    void materialize();
    bool isMaterialized() const { return materialized_; }

    // The one-line text of the exported mirror: the plain surface's whole text of the row.
    std::string plainTitle() const;
    // The exported row's targets when it lists them (null otherwise).
    QMenu* targetsMenu() const { return targets_.get(); }

protected:
    void didChange(ItemField field) override;

private:
    void syncTexts();
    void syncRowWidget();
    void syncToolTip();
    void syncEnabled();
    void syncChecks();
    void syncPlain();

    std::unique_ptr<QWidgetAction> action_;
    std::unique_ptr<QAction> plain_;
    std::unique_ptr<QMenu> targets_;
    PlainRow plainRow_;
    bool materialized_ = false;
};

}  // namespace corvane
