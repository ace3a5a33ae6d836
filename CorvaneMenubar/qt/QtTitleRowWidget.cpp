#include "QtTitleRowWidget.h"

#include <QFontMetricsF>
#include <QMouseEvent>
#include <QPainter>
#include <cmath>

#include "QtMenuLook.h"
#include "QtNativeMenuItem.h"

namespace corvane {
namespace {

constexpr double textX = 14;
constexpr double trailingPad = 14;
constexpr double firstLine = 22;
constexpr double nextLine = 16;
constexpr double buttonSize = 16;
constexpr double buttonPad = 10;

}  // namespace

QtTitleRowWidget::QtTitleRowWidget(QtNativeMenuItem& item) : QtRowWidget(item) {}

std::vector<QtTitleRowWidget::Line> QtTitleRowWidget::lines() const {
    std::vector<Line> out(1);
    if (!item().attributedTitle()) {
        out[0].text = QString::fromStdString(item().title());
        return out;
    }
    for (const auto& run : item().attributedTitle()->runs) {
        const QStringList parts = QString::fromStdString(run.text).split(QLatin1Char('\n'));
        for (qsizetype i = 0; i < parts.size(); ++i) {
            if (i > 0) out.emplace_back();
            if (parts[i].isEmpty()) continue;
            // A line takes the font of its first run.
            if (out.back().text.isEmpty()) {
                out.back().font = run.font;
                out.back().secondary = run.secondary;
            }
            out.back().text += parts[i];
        }
    }
    while (out.size() > 1 && out.back().text.isEmpty()) out.pop_back();
    return out;
}

bool QtTitleRowWidget::hasDismiss() const {
    const auto* status = std::get_if<role::StatusAction>(&item().role());
    return status && status->dismiss;
}

void QtTitleRowWidget::sync() {
    setAccessibleName(QString::fromStdString(item().plainTitle()));
    updateGeometry();
    update();
}

QSize QtTitleRowWidget::sizeHint() const {
    const auto count = static_cast<double>(lines().size());
    return {naturalWidth(), static_cast<int>(std::lround(firstLine + nextLine * (count - 1)))};
}

QRectF QtTitleRowWidget::dismissButton() const {
    if (!hasDismiss()) return {};
    return {width() - buttonPad - buttonSize, (firstLine - buttonSize) / 2, buttonSize, buttonSize};
}

int QtTitleRowWidget::naturalWidth() const {
    double width = 0;
    for (const auto& line : lines())
        width = std::max(width, QFontMetricsF(QtMenuLook::font(line.font)).horizontalAdvance(line.text));
    width += textX + trailingPad;
    if (hasDismiss()) width += buttonSize + buttonPad;
    return static_cast<int>(std::ceil(width));
}

void QtTitleRowWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const bool enabled = item().isEnabled();
    const bool selected = enabled && isCurrent() && !dismissHovered_;
    if (selected) QtMenuLook::drawSelection(p, *this, rect());
    QColor primary = selected ? QtMenuLook::selectedText(*this) : QtMenuLook::label(*this);
    QColor secondary = selected ? QtMenuLook::selectedText(*this) : QtMenuLook::secondaryLabel(*this);
    if (!enabled) primary = palette().color(QPalette::Disabled, QPalette::WindowText);
    const double right = width() - trailingPad - (hasDismiss() ? buttonSize + buttonPad : 0);
    double y = 0;
    bool first = true;
    for (const auto& line : lines()) {
        const double height = first ? firstLine : nextLine;
        const QFont font = QtMenuLook::font(line.font);
        p.setFont(font);
        p.setPen(line.secondary ? secondary : primary);
        const QRectF box(textX, first ? y : y - 2, std::max(0.0, right - textX), height);
        p.drawText(box, Qt::AlignLeft | Qt::AlignVCenter,
                   QFontMetricsF(font).elidedText(line.text, Qt::ElideRight, box.width()));
        y += height;
        first = false;
    }
    if (hasDismiss()) QtMenuLook::drawDismissButton(p, *this, dismissButton(), dismissHovered_);
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
