#pragma once

// A native menu of the Qt shell: the app's own popup (a `QtPopupMenu` with the custom rows) and
// its plain-text mirror (a QMenu of plain QActions, exported over D-Bus as the tray icon's
// context menu). Every edit the builder makes reaches both surfaces by inserting, removing or
// editing the items' actions; neither QMenu is ever replaced.

#include <QMenu>
#include <QPointer>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

#include "menu/NativeMenu.h"

class QAction;
class QMenu;

namespace corvane {

class QtNativeMenuItem;
class QtPopupMenu;

class QtNativeMenu final : public NativeMenu {
public:
    QtNativeMenu();
    ~QtNativeMenu() override;

    QtPopupMenu* popupMenu() const { return popup_.get(); }
    // This menu's plain-text mirror: its own QMenu, or the one given to `attachPlainSurface`.
    QMenu* plainMenu() const { return plain_; }

    // Where the status item's menu reports opening, closing and highlighting (the status item
    // keeps their order). Without reports (submenus) a menu reports to itself.
    struct Reports {
        std::function<void()> opened;
        std::function<void()> closed;
        std::function<void(NativeMenuItem*)> highlighted;
    };
    void setReports(Reports reports) { reports_ = std::move(reports); }

    // Moves the mirror into `menu`, a QMenu that outlives this one (the tray icon's context menu,
    // set once). While this menu has no items, `menu` shows `placeholder`, disabled, because some
    // panels hide a tray icon whose menu is empty. A menu too tall for the screen shows folds
    // there (`plainFolds`): a long section's last rows behind a "4 more" submenu.
    void attachPlainSurface(QMenu* menu, const QString& placeholder);

    // The item whose popup or mirror action is `action`, or null.
    QtNativeMenuItem* itemFor(const QAction* action) const;

    // A menu that is (or may become) shown: its items build their custom row widgets. The
    // presenter makes the status item's menu live, and a live menu its submenus; a build made
    // off-screen stays light.
    void setLive();
    bool isLive() const { return live_; }

protected:
    void didInsert(std::size_t index, NativeMenuItem& item) override;
    void didRemove(std::size_t index, NativeMenuItem& item) override;
    void willUpdate() override;
    void didChangeSettings() override;
    void willCancelTracking() override;

private:
    void watchPlainSurface();
    void surfaceShown();
    void surfaceHidden();
    void highlightChanged(QAction* action);
    void syncPlaceholder();
    bool isAttached() const;
    // The attached mirror: every row's action, and the folds, in place (edits only).
    void layoutAttached();
    void scheduleLayout();

    std::unique_ptr<QtPopupMenu> popup_;
    std::unique_ptr<QMenu> ownPlain_;
    QPointer<QMenu> plain_;
    std::unique_ptr<QAction> placeholder_;
    std::vector<std::unique_ptr<QMenu>> folds_;  // the attached mirror's folds, in order
    bool layoutPending_ = false;
    Reports reports_;
    bool live_ = false;
    bool reportedOpen_ = false;
};

}  // namespace corvane
