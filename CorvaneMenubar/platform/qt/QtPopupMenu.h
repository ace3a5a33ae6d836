#pragma once

// The QMenu of the app's own popup. It adds three things to a plain QMenu:
//   - highlight reports: every change of the current action (pointer, keyboard, leaving), also
//     to none, which QMenu::hovered does not report;
//   - Return and Enter (with Alt, which stands for Option), Delete and BackSpace go to the
//     highlighted row first (MenuKeys.h decides what each does on which row); what the row does
//     not take, the menu handles as usual;
//   - its colours follow the desktop's light or dark theme (DesktopTheme.h): the toolkit's palette
//     where it agrees, else the menu's own colours; the highlight is darkened where white text on
//     it would not read at 4.5:1 (MenuColours.h), so the style's rows and the custom rows
//     highlight alike and readably;
//   - while shown, the relayout a QMenu does on every action change is held back and done once
//     per batch of edits (`flushLayout`), so rewriting 200 open rows costs one layout, not 200.

#include <QMenu>
#include <QPointer>
#include <functional>
#include <optional>

#include "menu/MenuColours.h"
#include "menu/MenuKeys.h"

namespace corvane {

class QtPopupMenu final : public QMenu {
public:
    struct Hooks {
        std::function<void(QAction* current)> highlightChanged;
        // A key on `current`: true when the row took it.
        std::function<bool(QAction* current, MenuKey key, bool altPressed)> keyPressed;
    };

    QtPopupMenu();
    void setHooks(Hooks hooks) { hooks_ = std::move(hooks); }
    // Where every popup learns whether the desktop is dark (absent: it did not say), asked each
    // time a popup opens.
    static void setDesktopShade(std::function<std::optional<bool>()> isDark);

    // Lays the menu out again now if edits were held back while it was shown.
    void flushLayout();
    // Reports the current action when it differs from the last one reported.
    void syncHighlight();
    // Where the style starts a plain item's title, from the item's leading edge (its check or
    // icon column included), measured by drawing one; none while the menu has no plain item.
    // The custom rows start their texts there too.
    std::optional<double> plainTextColumn();

protected:
    void actionEvent(QActionEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    Hooks hooks_;
    std::optional<double> measureTextColumn();

    QPointer<QAction> reported_;
    bool layoutPending_ = false;
    bool columnKnown_ = false;
    std::optional<double> column_;
};

}  // namespace corvane
