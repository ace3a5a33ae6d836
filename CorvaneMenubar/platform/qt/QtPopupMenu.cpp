#include "QtPopupMenu.h"

#include <QActionEvent>
#include <QApplication>
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
    std::optional<MenuKey> key;
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) key = MenuKey::enter;
    if (event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) key = MenuKey::erase;
    if (key && activeAction() && hooks_.keyPressed &&
        hooks_.keyPressed(activeAction(), *key, event->modifiers().testFlag(Qt::AltModifier))) {
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

void QtPopupMenu::showEvent(QShowEvent* event) {
    QPalette palette = QApplication::palette(this);
    auto rgb = [&](QPalette::ColorRole role) {
        const QColor c = palette.color(QPalette::Active, role);
        return Rgb{c.red(), c.green(), c.blue()};
    };
    const Rgb highlight = withContrast(rgb(QPalette::Highlight), rgb(QPalette::HighlightedText), textContrast);
    for (const auto group : {QPalette::Active, QPalette::Inactive})
        palette.setColor(group, QPalette::Highlight, QColor(highlight.red, highlight.green, highlight.blue));
    if (palette != this->palette()) setPalette(palette);
    QMenu::showEvent(event);
}

void QtPopupMenu::hideEvent(QHideEvent* event) {
    QMenu::hideEvent(event);
    syncHighlight();
}

}  // namespace corvane
