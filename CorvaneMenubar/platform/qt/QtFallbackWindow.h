#pragma once

#include <QPointer>
#include <QWidget>

#include <functional>

class QAction;
class QLabel;
class QListWidget;
class QMenu;
class QPushButton;

namespace corvane {

class QtStatusItem;

// The app when no tray shows its icon: a small ordinary window with the icon, the tool tip, the
// menu's rows as a list (the same plain-text rows the tray's context menu carries; activating
// one chooses it) and a button that opens the app's own popup below it. It follows the menu as
// the builder edits it. GUI thread only.
class QtFallbackWindow : public QWidget {
public:
    QtFallbackWindow(QtStatusItem& statusItem, const QString& title);

    // Rebuilds the list from the current rows (coalesced: edits in one event-loop turn rebuild
    // once).
    void scheduleRefresh();
    // The list's row texts, separators left out, submenu rows indented (for tests).
    QStringList rowTexts() const;
    void openMenu();

    // Called when the window closes (by the user or by the shell).
    std::function<void()> onClosed;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void refresh();
    void addRows(QMenu* menu, int depth);

    QtStatusItem& statusItem_;
    QLabel* icon_;
    QLabel* toolTip_;
    QListWidget* rows_;
    QPushButton* open_;
    bool refreshPending_ = false;
    std::vector<QPointer<QAction>> actions_;
    std::vector<QPointer<QMenu>> watched_;
};

}  // namespace corvane
