#pragma once

// A native menu item of the Qt shell, shown on two surfaces at once:
//   - the app's own popup: one QWidgetAction. Without a default widget it draws like a plain
//     QAction; custom content (agent rows, hosted rows, the update view, two-font titles) becomes
//     its default widget;
//   - the plain-text mirror exported over D-Bus (dbusmenu cannot carry widgets): one QAction
//     titled with the row's one-line text.
// Both actions live as long as the item and are only ever edited, so a menu that is open keeps its
// QAction objects, its highlighted action and an open submenu while the builder rewrites it.

#include <QPointer>
#include <memory>

#include "menu/NativeMenu.h"

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

    // The one-line text of the exported mirror: custom and two-line rows as their plain text.
    std::string plainTitle() const;

protected:
    void didChange(ItemField field) override;

private:
    void syncTexts();
    void syncRowWidget();
    void syncToolTip();
    void syncEnabled();

    std::unique_ptr<QWidgetAction> action_;
    std::unique_ptr<QAction> plain_;
    bool materialized_ = false;
};

}  // namespace corvane
