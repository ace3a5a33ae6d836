#include "QtAgentRowWidget.h"

#include <QFontMetricsF>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QTimer>
#include <QToolTip>
#include <cmath>
#include <set>

#include "platform/posix/HostPlatform.h"

#include "menu/MenuColours.h"

#include "QtHarnessIcon.h"
#include "QtMenuLook.h"
#include "QtNativeMenuItem.h"

namespace corvane {
namespace {

// One timer for every pulsing row, so three working sessions cost one wake-up per frame, not
// three. 25 frames a second is smooth for a half-second fade of a 16-point icon.
class PulseTimer {
public:
    static PulseTimer& shared() {
        static PulseTimer timer;
        return timer;
    }
    void add(QtAgentRowWidget* row) {
        rows_.insert(row);
        if (!timer_.isActive()) timer_.start();
    }
    void remove(QtAgentRowWidget* row) {
        rows_.erase(row);
        if (rows_.empty()) timer_.stop();
    }

private:
    PulseTimer() {
        timer_.setInterval(40);
        timer_.setTimerType(Qt::CoarseTimer);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            const auto rows = rows_;
            for (auto* row : rows) row->pulseTick();
        });
    }
    QTimer timer_;
    std::set<QtAgentRowWidget*> rows_;
};

QString qs(const std::string& text) { return QString::fromStdString(text); }

QRectF qrect(const Rect& r) { return {r.x, r.y, r.width, r.height}; }

Rgb rgb(const QColor& colour) { return {colour.red(), colour.green(), colour.blue()}; }

// The mean colour of an icon's pixels, each weighted by how opaque it is.
Rgb meanInk(const QIcon& icon) {
    const QImage image = icon.pixmap(16, 16).toImage().convertToFormat(QImage::Format_ARGB32);
    double red = 0, green = 0, blue = 0, weight = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            const double alpha = qAlpha(pixel) / 255.0;
            red += qRed(pixel) * alpha, green += qGreen(pixel) * alpha, blue += qBlue(pixel) * alpha;
            weight += alpha;
        }
    if (weight <= 0) return {};
    return {int(red / weight), int(green / weight), int(blue / weight)};
}

}  // namespace

QtAgentRowWidget::QtAgentRowWidget(QtNativeMenuItem& item) : QtRowWidget(item) {}

QtAgentRowWidget::~QtAgentRowWidget() { PulseTimer::shared().remove(this); }

void QtAgentRowWidget::sync() {
    const auto* content = contentAs<AgentRowContent>();
    if (!content) return;
    const AgentRow& row = content->row;
    const bool restart = hasShown_ && pulseNeedsRestart(shown_, row);
    shown_ = row;
    reduceMotion_ = content->reduceMotion;
    hasShown_ = true;
    if (row.icon != iconWord_ || icon_.isNull()) {
        iconWord_ = row.icon;
        icon_ = QtHarnessIcon::forWord(row.icon);
        iconInk_ = meanInk(icon_);
    }
    const auto descriptions = describeTargets(row, hostWords());
    setAccessibleName(QString::fromStdString(descriptions.harnessAccessibilityLabel));
    setAccessibleDescription(QString::fromStdString(descriptions.corvaneAccessibilityLabel));
    syncPulse(restart);
    updateGeometry();
    update();
}

AgentRowGeometry QtAgentRowWidget::geometry() const {
    const auto status = agentStatusText(shown_);
    std::optional<double> statusWidth;
    if (status) statusWidth = QFontMetricsF(QtMenuLook::font(FontRole::menu13)).horizontalAdvance(qs(*status));
    const auto g = agentRowGeometry(width(), height(), statusWidth);
    return isRightToLeft() ? mirrored(g, width()) : g;
}

int QtAgentRowWidget::naturalWidth() const {
    const QFontMetricsF metrics(QtMenuLook::font(FontRole::menu13));
    const auto& row = shown_;
    double width = AgentRowGeometry::titleX + metrics.horizontalAdvance(qs(item().title())) + 24;
    if (const auto status = agentStatusText(row)) width += metrics.horizontalAdvance(qs(*status)) + 8;
    return static_cast<int>(std::ceil(width));
}

std::optional<AgentTarget> QtAgentRowWidget::targetAt(QPointF position) const {
    const auto g = geometry();
    if (qrect(g.corvaneButton).contains(position)) return AgentTarget::corvane;
    if (position.x() >= g.harnessPart.x && position.x() < g.harnessPart.x + g.harnessPart.width) return AgentTarget::harness;
    return std::nullopt;
}

std::optional<AgentTarget> QtAgentRowWidget::shownTarget() const {
    return highlightedTarget(shown_, hovered_, item().isHighlighted());
}

void QtAgentRowWidget::setHovered(std::optional<AgentTarget> target) {
    if (hovered_ == target) return;
    hovered_ = target;
    update();
}

// ---- Pulse ----

void QtAgentRowWidget::syncPulse(bool restart) {
    const bool should = shouldPulse(shown_, isVisible(), reduceMotion_);
    if (should && (!pulsing_ || restart)) {
        pulsing_ = true;
        ++pulseStarts_;
        pulseClock_.start();
        PulseTimer::shared().add(this);
    } else if (!should && pulsing_) {
        pulsing_ = false;
        PulseTimer::shared().remove(this);
        update(qrect(geometry().icon).toAlignedRect());
    }
}

double QtAgentRowWidget::iconOpacity() const {
    if (!pulsing_) return PulseAnimation::fromOpacity;
    // From full to faint over one duration, then back (reversing), without end.
    const double period = PulseAnimation::durationSeconds * 2000.0;
    const double phase = std::fmod(static_cast<double>(pulseClock_.elapsed()), period) / period * 2.0;
    const double progress = pulseEase(phase <= 1.0 ? phase : 2.0 - phase);
    return PulseAnimation::fromOpacity + (PulseAnimation::toOpacity - PulseAnimation::fromOpacity) * progress;
}

void QtAgentRowWidget::pulseTick() { update(qrect(geometry().icon).toAlignedRect().adjusted(-1, -1, 1, 1)); }

void QtAgentRowWidget::showEvent(QShowEvent* event) {
    QtRowWidget::showEvent(event);
    syncPulse(false);
}

void QtAgentRowWidget::hideEvent(QHideEvent* event) {
    QtRowWidget::hideEvent(event);
    hovered_.reset();
    syncPulse(false);
}

// ---- Pointer ----

void QtAgentRowWidget::mouseMoveEvent(QMouseEvent* event) {
    setHovered(targetAt(event->position()));
    // The menu moves its current action onto this row as well.
    event->ignore();
}

void QtAgentRowWidget::leaveEvent(QEvent* event) {
    setHovered(std::nullopt);
    QtRowWidget::leaveEvent(event);
}

void QtAgentRowWidget::mousePressEvent(QMouseEvent* event) { event->accept(); }

void QtAgentRowWidget::mouseReleaseEvent(QMouseEvent* event) {
    event->accept();
    if (event->button() != Qt::LeftButton || !rect().contains(event->position().toPoint())) return;
    const auto target = targetAt(event->position());
    if (target == AgentTarget::corvane) {
        choose({RowPart::corvane, false});
    } else if (target == AgentTarget::harness && shown_.harness) {
        choose({RowPart::harness, false});
    }
}

bool QtAgentRowWidget::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const auto descriptions = describeTargets(shown_, hostWords());
        const auto target = targetAt(help->pos());
        if (!target) {
            QToolTip::hideText();
            return true;
        }
        QToolTip::showText(help->globalPos(),
                           qs(*target == AgentTarget::corvane ? descriptions.corvaneToolTip : descriptions.harnessToolTip),
                           this);
        return true;
    }
    return QtRowWidget::event(event);
}

// ---- Drawing ----

void QtAgentRowWidget::paintEvent(QPaintEvent*) {
    const auto& row = shown_;
    const auto g = geometry();
    const auto target = shownTarget();
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);

    const QColor selection = QtMenuLook::selectedBackground(*this);
    if (target == AgentTarget::harness) {
        QPainterPath path;
        path.addRoundedRect(qrect(g.harnessHighlight), AgentRowGeometry::cornerRadius, AgentRowGeometry::cornerRadius);
        p.fillPath(path, selection);
    } else if (target == AgentTarget::corvane) {
        QPainterPath path;
        path.addRoundedRect(qrect(g.corvaneHighlight), AgentRowGeometry::cornerRadius, AgentRowGeometry::cornerRadius);
        p.fillPath(path, selection);
    }

    // An app icon that would not stand out from the highlight sits on a plate that does.
    if (target == AgentTarget::harness)
        if (const auto plate = iconPlate(iconInk_, rgb(selection), rgb(palette().color(QPalette::Active, QPalette::Window)))) {
            QPainterPath path;
            path.addRoundedRect(qrect(g.icon).adjusted(-2, -2, 2, 2), 4, 4);
            p.fillPath(path, QColor(plate->red, plate->green, plate->blue));
        }
    p.save();
    p.setOpacity(iconOpacity());
    icon_.paint(&p, qrect(g.icon).toAlignedRect());
    p.restore();

    const auto colours = agentRowColours(target);
    const QColor title = QtMenuLook::colour(colours.title, *this);
    const QColor secondary = QtMenuLook::colour(colours.status, *this);
    const QFont font = QtMenuLook::font(FontRole::menu13);
    const QFontMetricsF metrics(font);
    p.setFont(font);
    if (const auto status = agentStatusText(row); status && g.status) {
        p.setPen(secondary);
        p.drawText(qrect(*g.status), Qt::AlignRight | Qt::AlignVCenter, qs(*status));
    }
    p.setPen(title);
    p.drawText(qrect(g.title), Qt::AlignLeft | Qt::AlignVCenter,
               metrics.elidedText(qs(item().title()), Qt::ElideRight, g.title.width));

    // The lightning bolt, 12 points square, in the middle of its button.
    const QRectF button = qrect(g.corvaneButton);
    const QRectF bolt(button.center().x() - 6, button.center().y() - 6, 12, 12);
    QtMenuLook::drawBolt(p, bolt, QtMenuLook::colour(colours.bolt, *this));
}

}  // namespace corvane
