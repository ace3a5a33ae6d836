#include "QtDismissibleRowWidget.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>
#include <cmath>

#include "QtMenuLook.h"
#include "QtNativeMenuItem.h"

namespace corvane {

QtDismissibleRowWidget::QtDismissibleRowWidget(QtNativeMenuItem& item) : QtRowWidget(item) {}

void QtDismissibleRowWidget::sync() {
    if (const auto* content = contentAs<DismissibleRowContent>()) content_ = *content;
    setAccessibleName(QString::fromStdString(plainText(content_.content)));
    updateGeometry();
    update();
}

RowLayout QtDismissibleRowWidget::layout() const {
    auto out = dismissibleRowLayout(content_, width(), item().isHighlighted(), QtMenuLook::measure());
    // The button alone shows the pointer on it.
    if (dismissHovered_ && !out.highlight) out = QtMenuLook::highlighted(out, width());
    return placed(std::move(out));
}

QRectF QtDismissibleRowWidget::dismissButton() const {
    const auto r = *layout().dismissButton;
    return {r.x, r.y, r.width, r.height};
}

int QtDismissibleRowWidget::naturalWidth() const {
    return placedNaturalWidth(
        [&](double w) { return dismissibleRowLayout(content_, w, false, QtMenuLook::measure()); });
}

void QtDismissibleRowWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    QtMenuLook::paint(p, *this, layout());
}

void QtDismissibleRowWidget::mouseMoveEvent(QMouseEvent* event) {
    const bool over = dismissButton().contains(event->position());
    if (over != dismissHovered_) {
        dismissHovered_ = over;
        update();
    }
    event->ignore();
}

void QtDismissibleRowWidget::leaveEvent(QEvent* event) {
    dismissHovered_ = false;
    update();
    QtRowWidget::leaveEvent(event);
}

void QtDismissibleRowWidget::mousePressEvent(QMouseEvent* event) { event->accept(); }

void QtDismissibleRowWidget::mouseReleaseEvent(QMouseEvent* event) {
    event->accept();
    if (event->button() != Qt::LeftButton || !rect().contains(event->position().toPoint())) return;
    choose({dismissButton().contains(event->position()) ? RowPart::dismiss : RowPart::main, false});
}

bool QtDismissibleRowWidget::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        if (dismissButton().contains(help->pos())) {
            QToolTip::showText(help->globalPos(), QString::fromStdString(content_.dismiss.title), this);
            return true;
        }
        if (content_.warning) {
            QToolTip::showText(help->globalPos(), QString::fromStdString(*content_.warning), this);
            return true;
        }
    }
    return QtRowWidget::event(event);
}

}  // namespace corvane
