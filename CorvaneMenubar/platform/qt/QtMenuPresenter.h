#pragma once

// Shows the status item's menu on the desktop, on its two surfaces:
//   - left click: the app's own popup with the custom rows (`popupAt…`). On X11 it opens at the
//     tray icon (or the pointer). On Wayland a popup cannot be placed at a tray icon and a grabbing
//     popup needs a focused parent window the app does not have, so the same menu opens as a
//     frameless window that the compositor places, and closes when it loses the focus, on Escape,
//     or when a row is chosen;
//   - right click, and hosts that show only the exported menu (GNOME's AppIndicator extension):
//     `exportedMenu`, a plain-text mirror of the same rows, set once as the tray icon's context
//     menu. It is never empty and never replaced: the builder's edits reach its actions.
// Both surfaces report opening, closing and highlighting through the status item, in its order.
// GUI thread only.

#include <QPoint>
#include <QRect>
#include <QString>
#include <memory>

#include "menu/NativeMenu.h"
#include "seams/StatusItem.h"

class QMenu;
class QObject;

namespace corvane {

class QtNativeMenu;

class QtMenuPresenter {
public:
    enum class Placement { popup, window };

    // `placeholder` is the exported menu's only row until the first menu arrives.
    explicit QtMenuPresenter(StatusItem& statusItem, const QString& placeholder = QStringLiteral("Corvane"),
                             Placement placement = defaultPlacement());
    ~QtMenuPresenter();
    QtMenuPresenter(const QtMenuPresenter&) = delete;
    QtMenuPresenter& operator=(const QtMenuPresenter&) = delete;

    // Popups where the platform can place them (X11, offscreen), windows on Wayland.
    static Placement defaultPlacement();

    // The status item's menu, made by `QtNativeMenuFactory`. Call it from `StatusItem::setMenu`;
    // giving the same menu again changes nothing.
    void setMenu(const std::shared_ptr<NativeMenu>& menu);

    // The plain-text menu to set once as the tray icon's context menu.
    QMenu* exportedMenu() const { return exported_.get(); }
    // The app's own popup (null before `setMenu`).
    QMenu* popupMenu() const;

    // Opens the popup with its top-left corner at `globalPosition` (moved to fit the screen).
    void popupAt(const QPoint& globalPosition);
    // Opens the popup next to the tray icon (`popupPosition`: on the far side of its panel, inside
    // the screen's available area). An empty geometry (the host did not say) places it from the
    // pointer instead, by the same rule.
    void popupAtIcon(const QRect& iconGeometry);
    void popupAtCursor();
    // Closes whichever surface is open.
    void close();
    // Whether the app's own popup is on screen. The panel's menu never counts: a host may not
    // say when it closes it.
    bool isShown() const;

private:
    void showAsWindow();

    StatusItem& statusItem_;
    QString placeholder_;
    Placement placement_;
    std::unique_ptr<QMenu> exported_;
    std::shared_ptr<QtNativeMenu> menu_;
    std::unique_ptr<QObject> focusWatch_;
};

}  // namespace corvane
