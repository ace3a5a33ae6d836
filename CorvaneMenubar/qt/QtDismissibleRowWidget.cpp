#include "QtDismissibleRowWidget.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>
#include <cmath>

#include "QtHostedRowWidget.h"
#include "QtMenuLook.h"
#include "QtNativeMenuItem.h"

namespace corvane {
namespace {

constexpr double buttonSize = 16;
constexpr double buttonPad = 10;  // from the row's right edge
constexpr double firstLine = 22;

}  // namespace

QtDismissibleRowWidget::QtDismissibleRowWidget(QtNativeMenuItem& item) : QtRowWidget(item) {}

void QtDismissibleRowWidget::sync() {
    if (const auto* content = contentAs<DismissibleRowContent>()) content_ = *content;
    setAccessibleName(QString::fromStdString(plainText(content_.content)));
    updateGeometry();
    update();
}

QRectF QtDismissibleRowWidget::dismissButton() const {
    return {width() - buttonPad - buttonSize, (firstLine - buttonSize) / 2, buttonSize, buttonSize};
}

int QtDismissibleRowWidget::naturalWidth() const {
    return static_cast<int>(std::ceil(QtHostedRowWidget::naturalWidth(content_.content) + buttonSize + buttonPad));
}

void QtDismissibleRowWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const bool repairHighlighted = content_.repair && isCurrent() && !dismissHovered_;
    if (repairHighlighted) QtMenuLook::drawSelection(p, *this, rect());
    // The row's content keeps clear of the button.
    QtHostedRowWidget::paintRow(p, *this, content_.content,
                                QRectF(0, 0, width() - buttonSize - buttonPad + 4, height()));
    const bool keyboardOnButton = item().isHighlighted() && !content_.repair;
    QtMenuLook::drawDismissButton(p, *this, dismissButton(), dismissHovered_ || keyboardOnButton);
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
