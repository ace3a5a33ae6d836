#include "QtHostedRowWidget.h"

#include <QPainter>

#include "QtMenuLook.h"
#include "QtNativeMenuItem.h"

namespace corvane {

QtHostedRowWidget::QtHostedRowWidget(QtNativeMenuItem& item) : QtRowWidget(item) {}

void QtHostedRowWidget::sync() {
    if (const auto* content = contentAs<HostedRowContent>()) row_ = content->row;
    setAccessibleName(QString::fromStdString(plainText(row_)));
    updateGeometry();
    update();
}

RowLayout QtHostedRowWidget::layout() const {
    return placed(hostedRowLayout(row_, width(), QtMenuLook::measure()));
}

int QtHostedRowWidget::naturalWidth() const {
    return placedNaturalWidth([&](double w) { return hostedRowLayout(row_, w, QtMenuLook::measure()); });
}

void QtHostedRowWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    QtMenuLook::paint(p, *this, layout());
}

}  // namespace corvane
