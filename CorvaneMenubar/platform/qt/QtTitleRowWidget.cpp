#include "QtTitleRowWidget.h"

#include <QMouseEvent>
#include <QPainter>
#include <cmath>

#include "QtMenuLook.h"
#include "QtNativeMenuItem.h"

namespace corvane {

QtTitleRowWidget::QtTitleRowWidget(QtNativeMenuItem& item) : QtRowWidget(item) {}

void QtTitleRowWidget::sync() {
    setAccessibleName(QString::fromStdString(item().plainTitle()));
    updateGeometry();
    update();
}

RowLayout QtTitleRowWidget::layout() const {
    return placed(statusActionRowLayout(item(), width(), QtMenuLook::measure()));
}

QSize QtTitleRowWidget::sizeHint() const {
    const auto height = statusActionRowLayout(item(), 320, QtMenuLook::measure()).height;
    return {naturalWidth(), static_cast<int>(std::lround(height))};
}

QRectF QtTitleRowWidget::dismissButton() const {
    const auto button = layout().dismissButton;
    if (!button) return {};
    return {button->x, button->y, button->width, button->height};
}

int QtTitleRowWidget::naturalWidth() const {
    return placedNaturalWidth([&](double w) { return statusActionRowLayout(item(), w, QtMenuLook::measure()); });
}

void QtTitleRowWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    auto shown = layout();
    if (!item().isEnabled())
        for (auto& text : shown.texts) text.colour = ColourRole::secondaryLabel;
    QtMenuLook::paint(p, *this, shown);
}

void QtTitleRowWidget::mouseMoveEvent(QMouseEvent* event) {
    const bool over = dismissButton().contains(event->position());
    if (over != dismissHovered_) {
        dismissHovered_ = over;
        update();
    }
    event->ignore();
}

void QtTitleRowWidget::leaveEvent(QEvent* event) {
    dismissHovered_ = false;
    update();
    QtRowWidget::leaveEvent(event);
}

void QtTitleRowWidget::mousePressEvent(QMouseEvent* event) {
    if (dismissButton().contains(event->position()))
        event->accept();
    else
        event->ignore();
}

void QtTitleRowWidget::mouseReleaseEvent(QMouseEvent* event) {
    // Outside the button the menu triggers the row, closing itself like for any plain row.
    if (event->button() != Qt::LeftButton || !dismissButton().contains(event->position())) {
        event->ignore();
        return;
    }
    event->accept();
    choose({RowPart::dismiss, false});
}

}  // namespace corvane
