#include "QtPopupMenu.h"

#include <QActionEvent>
#include <QKeyEvent>
#include <QTimer>

namespace corvane {

QtPopupMenu::QtPopupMenu() {
    setToolTipsVisible(true);
    setSeparatorsCollapsible(false);
    connect(this, &QMenu::hovered, this, [this](QAction*) { syncHighlight(); });
}

void QtPopupMenu::flushLayout() {
    if (!layoutPending_) return;
    layoutPending_ = false;
    const auto all = actions();
    if (all.isEmpty()) return;
    QActionEvent relayout(QEvent::ActionChanged, all.first());
    QMenu::actionEvent(&relayout);
    update();
}

void QtPopupMenu::actionEvent(QActionEvent* event) {
    if (event->type() == QEvent::ActionChanged && isVisible()) {
        if (!layoutPending_) {
            layoutPending_ = true;
            // A batch that never says it is complete is laid out when the loop turns.
            QTimer::singleShot(0, this, [this] { flushLayout(); });
        }
        update();
        return;
    }
    QMenu::actionEvent(event);
    if (event->type() == QEvent::ActionRemoved) syncHighlight();
}

void QtPopupMenu::syncHighlight() {
    QAction* current = isVisible() ? activeAction() : nullptr;
    if (current == reported_) return;
    reported_ = current;
    if (hooks_.highlightChanged) hooks_.highlightChanged(current);
}

void QtPopupMenu::keyPressEvent(QKeyEvent* event) {
    // Alt alone would close the menu in styles with Alt navigation, but it is the Option key
    // that Alt+Return holds.
    if (event->key() == Qt::Key_Alt) {
        event->accept();
        return;
    }
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && activeAction() && hooks_.returnPressed &&
        hooks_.returnPressed(activeAction(), event->modifiers().testFlag(Qt::AltModifier))) {
        event->accept();
        return;
    }
    QMenu::keyPressEvent(event);
    syncHighlight();
}

void QtPopupMenu::mouseMoveEvent(QMouseEvent* event) {
    QMenu::mouseMoveEvent(event);
    syncHighlight();
}

void QtPopupMenu::leaveEvent(QEvent* event) {
    QMenu::leaveEvent(event);
    syncHighlight();
}

void QtPopupMenu::hideEvent(QHideEvent* event) {
    QMenu::hideEvent(event);
    syncHighlight();
}

}  // namespace corvane
