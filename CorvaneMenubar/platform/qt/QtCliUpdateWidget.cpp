#include "QtCliUpdateWidget.h"

#include <QFontMetricsF>
#include <QPainter>
#include <cmath>

#include "QtMenuLook.h"
#include "QtNativeMenuItem.h"

namespace corvane {
namespace {

constexpr int spokes = 12;

QRectF qrect(const Rect& r) { return {r.x, r.y, r.width, r.height}; }

}  // namespace

QtCliUpdateWidget::QtCliUpdateWidget(QtNativeMenuItem& item) : QtRowWidget(item) {
    // One spoke a frame, a full turn a second, like the desktop's own small spinners.
    timer_.setInterval(1000 / spokes);
    QObject::connect(&timer_, &QTimer::timeout, this, [this] {
        step_ = (step_ + 1) % spokes;
        if (const auto spinner = placed(cliUpdateRowLayout(model_, width())).spinner)
            update(qrect(*spinner).toAlignedRect().adjusted(-1, -1, 1, 1));
    });
}

CliUpdateViewState QtCliUpdateWidget::state() const { return cliUpdateViewState(model_); }

CliUpdateLayout QtCliUpdateWidget::layout() const { return cliUpdateLayout(width(), state().spinnerVisible); }

bool QtCliUpdateWidget::reduceMotion() const { return reduceMotion_; }

void QtCliUpdateWidget::sync() {
    if (const auto* content = contentAs<CliUpdateViewContent>()) {
        model_ = content->model;
        reduceMotion_ = content->reduceMotion;
    }
    const auto shown = state();
    setAccessibleName(QString::fromStdString(shown.title));
    setAccessibleDescription(shown.spinnerVisible ? QString::fromUtf8(updatingCliAccessibilityLabel.data(),
                                                                      int(updatingCliAccessibilityLabel.size()))
                                                  : QString::fromStdString(shown.subtitle));
    syncSpinner();
    updateGeometry();
    update();
}

void QtCliUpdateWidget::syncSpinner() {
    const bool turns = cliUpdateSpinnerAnimates(state().spinnerVisible, isVisible(), reduceMotion());
    if (turns && !timer_.isActive()) timer_.start();
    if (!turns) timer_.stop();
}

void QtCliUpdateWidget::showEvent(QShowEvent* event) {
    QtRowWidget::showEvent(event);
    syncSpinner();
}

void QtCliUpdateWidget::hideEvent(QHideEvent* event) {
    QtRowWidget::hideEvent(event);
    syncSpinner();
}

int QtCliUpdateWidget::naturalWidth() const {
    const int needed = placedNaturalWidth([&](double w) { return cliUpdateRowLayout(model_, w); });
    return std::max(needed, static_cast<int>(std::ceil(cliUpdateViewWidth)));
}

void QtCliUpdateWidget::paintEvent(QPaintEvent*) {
    const auto shown = placed(cliUpdateRowLayout(model_, width()));
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QtMenuLook::paint(p, *this, shown);
    if (!shown.spinner) return;
    // Twelve spokes fading behind the leading one; still (the leading spoke at the top) when the
    // spinner does not turn.
    const QRectF spinner = qrect(*shown.spinner);
    p.translate(spinner.center());
    const QColor base = QtMenuLook::label(*this);
    for (int i = 0; i < spokes; ++i) {
        QColor colour = base;
        const int age = (step_ - i + spokes) % spokes;
        colour.setAlphaF(static_cast<float>(1.0 - 0.75 * age / (spokes - 1)));
        p.setPen(QPen(colour, 1.6, Qt::SolidLine, Qt::RoundCap));
        p.save();
        p.rotate(360.0 * i / spokes);
        p.drawLine(QPointF(0, -spinner.height() / 2 + 1), QPointF(0, -spinner.height() / 4));
        p.restore();
    }
}

}  // namespace corvane
