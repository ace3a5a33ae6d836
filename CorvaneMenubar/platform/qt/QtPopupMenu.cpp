#include "QtPopupMenu.h"

#include <QActionEvent>
#include <QApplication>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QImage>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionMenuItem>
#include <QTimer>
#include <QWidgetAction>

#include "menu/DesktopTheme.h"

namespace corvane {
namespace {

std::function<std::optional<bool>()>& desktopShade() {
    static std::function<std::optional<bool>()> isDark;
    return isDark;
}

Rgb rgb(const QColor& c) { return {c.red(), c.green(), c.blue()}; }
QColor qcolor(const Rgb& c) { return QColor(c.red, c.green, c.blue); }

}  // namespace

void QtPopupMenu::setDesktopShade(std::function<std::optional<bool>()> isDark) { desktopShade() = std::move(isDark); }

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

std::optional<double> QtPopupMenu::plainTextColumn() {
    if (!columnKnown_) {
        columnKnown_ = true;  // before measuring: the style may ask the rows for their sizes
        column_ = measureTextColumn();
    }
    return column_;
}

std::optional<double> QtPopupMenu::measureTextColumn() {
    QAction* plain = nullptr;
    for (auto* action : actions()) {
        const auto* custom = qobject_cast<QWidgetAction*>(action);
        if (!action->isSeparator() && action->isVisible() && !(custom && custom->defaultWidget())) {
            plain = action;
            break;
        }
    }
    if (!plain) return std::nullopt;
    QStyleOptionMenuItem option;
    initStyleOption(&option, plain);
    // The item's own height (some styles widen the check column with it), as the menu sizes it.
    const QSize size = style()->sizeFromContents(QStyle::CT_MenuItem, &option,
                                                 QSize(0, QFontMetrics(option.font).height()), this);
    option.rect = QRect(0, 0, 320, std::max(size.height(), 16));
    option.state &= ~QStyle::State_Selected;
    option.direction = Qt::LeftToRight;
    // The first column where drawing a title changes the item is the title's ink; less the
    // glyph's own bearing, drawn alone at x = 0, that is where the title starts.
    auto draw = [&](const QString& text, bool alone) {
        QImage image(option.rect.size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        option.text = text;
        if (alone) {
            painter.setFont(option.font);
            painter.setPen(Qt::black);
            painter.drawText(QPointF(0, QFontMetricsF(option.font).ascent()), text);
        } else {
            style()->drawControl(QStyle::CE_MenuItem, &option, &painter, this);
        }
        return image;
    };
    auto firstDifference = [](const QImage& a, const QImage& b) -> std::optional<int> {
        for (int x = 0; x < a.width(); ++x)
            for (int y = 0; y < a.height(); ++y)
                if (a.pixel(x, y) != b.pixel(x, y)) return x;
        return std::nullopt;
    };
    const QString glyph = QStringLiteral("H");
    const auto ink = firstDifference(draw(glyph, false), draw(QString(), false));
    const auto bearing = firstDifference(draw(glyph, true), draw(QString(), true));
    if (!ink || !bearing) return std::nullopt;
    return double(*ink - *bearing);
}

void QtPopupMenu::actionEvent(QActionEvent* event) {
    if (event->type() != QEvent::ActionChanged) columnKnown_ = false;
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
    columnKnown_ = false;
    QPalette palette = QApplication::palette(this);
    auto at = [&](QPalette::ColorRole role) { return rgb(palette.color(QPalette::Active, role)); };
    const MenuColours toolkit{at(QPalette::Window), at(QPalette::WindowText),
                              rgb(palette.color(QPalette::Disabled, QPalette::WindowText)), at(QPalette::Highlight),
                              at(QPalette::HighlightedText)};
    const MenuColours shown = popupColours(toolkit, desktopShade() ? desktopShade()() : std::nullopt);
    if (shown != readable(toolkit)) {
        // The desktop's shade, not the toolkit's: every role a style draws a menu with.
        for (const auto group : {QPalette::Active, QPalette::Inactive}) {
            for (const auto role : {QPalette::Window, QPalette::Base, QPalette::Button})
                palette.setColor(group, role, qcolor(shown.window));
            for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
                palette.setColor(group, role, qcolor(shown.text));
        }
        for (const auto role : {QPalette::Window, QPalette::Base, QPalette::Button})
            palette.setColor(QPalette::Disabled, role, qcolor(shown.window));
        for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
            palette.setColor(QPalette::Disabled, role, qcolor(shown.secondaryText));
        palette.setColor(QPalette::Disabled, QPalette::Light, qcolor(shown.window));
    }
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
        palette.setColor(group, QPalette::Highlight, qcolor(shown.highlight));
        palette.setColor(group, QPalette::HighlightedText, qcolor(shown.highlightedText));
    }
    if (palette != this->palette()) setPalette(palette);
    QMenu::showEvent(event);
}

void QtPopupMenu::hideEvent(QHideEvent* event) {
    QMenu::hideEvent(event);
    syncHighlight();
}

}  // namespace corvane
