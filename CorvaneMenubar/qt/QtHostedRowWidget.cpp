#include "QtHostedRowWidget.h"

#include <QFontMetricsF>
#include <QPainter>
#include <cmath>

#include "QtMenuLook.h"
#include "QtNativeMenuItem.h"

namespace corvane {
namespace {

QString qs(const std::string& text) { return QString::fromStdString(text); }

// Where the texts of every static row start; the mark sits in front of it.
constexpr double leading = 14;
constexpr double markedText = 30;
constexpr double trailingPad = 14;
constexpr double firstLine = 22;
constexpr double nextLine = 16;
constexpr double markSize = 8;

QStringList linesOf(const std::optional<std::string>& text) {
    if (!text || text->empty()) return {};
    return qs(*text).split(QLatin1Char('\n'));
}

QFont bold(FontRole role) {
    QFont font = QtMenuLook::font(role);
    font.setWeight(QFont::DemiBold);
    return font;
}

void drawMark(QPainter& p, const QRectF& rect, const QColor& colour, bool hollow) {
    const QRectF dot(rect.x() + leading, rect.y() + (firstLine - markSize) / 2, markSize, markSize);
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    if (hollow) {
        p.setPen(QPen(colour, 1.4));
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(dot.adjusted(0.7, 0.7, -0.7, -0.7));
    } else {
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawEllipse(dot);
    }
    p.restore();
}

void drawText(QPainter& p, const QRectF& rect, const QString& text, const QFont& font, const QColor& colour,
              Qt::Alignment align = Qt::AlignLeft) {
    p.setFont(font);
    p.setPen(colour);
    const QString shown = QFontMetricsF(font).elidedText(text, Qt::ElideRight, rect.width());
    p.drawText(rect, align | Qt::AlignVCenter, shown);
}

// The subtitle lines under a first line, from `x`.
void drawLines(QPainter& p, const QWidget& w, const QRectF& rect, double x, const QStringList& lines) {
    double y = rect.y() + firstLine - 2;
    for (const QString& line : lines) {
        drawText(p, QRectF(rect.x() + x, y, rect.width() - x - trailingPad, nextLine), line,
                 QtMenuLook::font(FontRole::system11), QtMenuLook::secondaryLabel(w));
        y += nextLine;
    }
}

double widest(const QStringList& lines, const QFont& font) {
    const QFontMetricsF metrics(font);
    double width = 0;
    for (const QString& line : lines) width = std::max(width, metrics.horizontalAdvance(line));
    return width;
}

}  // namespace

QtHostedRowWidget::QtHostedRowWidget(QtNativeMenuItem& item) : QtRowWidget(item) {}

void QtHostedRowWidget::sync() {
    if (const auto* content = contentAs<HostedRowContent>()) row_ = content->row;
    setAccessibleName(QString::fromStdString(plainText(row_)));
    updateGeometry();
    update();
}

int QtHostedRowWidget::naturalWidth() const { return static_cast<int>(std::ceil(naturalWidth(row_))); }

void QtHostedRowWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    paintRow(p, *this, row_, rect());
}

double QtHostedRowWidget::naturalWidth(const HostedRow& row) {
    const QFontMetricsF menu(QtMenuLook::font(FontRole::menu13));
    const QFont small = QtMenuLook::font(FontRole::system11);
    struct Visitor {
        const QFontMetricsF& menu;
        const QFont& small;
        double operator()(const hosted::Header& h) const {
            double line = QFontMetricsF(bold(FontRole::menu13)).horizontalAdvance(qs(h.title));
            if (h.trailing) line += 16 + QFontMetricsF(small).horizontalAdvance(qs(*h.trailing));
            return leading + std::max(line, widest(linesOf(h.subtitle), small)) + trailingPad;
        }
        double operator()(const hosted::SectionLabel& s) const {
            return leading + QFontMetricsF(bold(FontRole::system11)).horizontalAdvance(qs(s.title)) + trailingPad;
        }
        double operator()(const hosted::StatusRow& s) const {
            return markedText + std::max(menu.horizontalAdvance(qs(s.title)), widest(linesOf(s.subtitle), small)) +
                   trailingPad;
        }
        double operator()(const hosted::ConnectionRow& c) const {
            return markedText + menu.horizontalAdvance(qs(c.name)) + 16 + menu.horizontalAdvance(qs(c.state)) +
                   trailingPad;
        }
    };
    return std::visit(Visitor{menu, small}, row);
}

void QtHostedRowWidget::paintRow(QPainter& p, const QWidget& w, const HostedRow& row, const QRectF& rect) {
    const QColor label = QtMenuLook::label(w);
    const QColor secondary = QtMenuLook::secondaryLabel(w);
    const QFont menu = QtMenuLook::font(FontRole::menu13);
    const QFont small = QtMenuLook::font(FontRole::system11);
    const QRectF line(rect.x(), rect.y(), rect.width(), firstLine);
    struct Visitor {
        QPainter& p;
        const QWidget& w;
        const QRectF& rect;
        const QRectF& line;
        const QColor& label;
        const QColor& secondary;
        const QFont& menu;
        const QFont& small;
        void operator()(const hosted::Header& h) const {
            double right = line.right() - trailingPad;
            if (h.trailing) {
                const double width = QFontMetricsF(small).horizontalAdvance(qs(*h.trailing));
                drawText(p, QRectF(right - width, line.y(), width, line.height()), qs(*h.trailing), small, secondary,
                         Qt::AlignRight);
                right -= width + 16;
            }
            drawText(p, QRectF(line.x() + leading, line.y(), right - line.x() - leading, line.height()), qs(h.title),
                     bold(FontRole::menu13), label);
            drawLines(p, w, rect, leading, linesOf(h.subtitle));
        }
        void operator()(const hosted::SectionLabel& s) const {
            drawText(p, QRectF(rect.x() + leading, rect.y(), rect.width() - leading - trailingPad, rect.height()),
                     qs(s.title), bold(FontRole::system11), secondary);
        }
        void operator()(const hosted::StatusRow& s) const {
            drawMark(p, rect, s.checking ? secondary : QtMenuLook::mark(s.mark), s.checking);
            drawText(p, QRectF(line.x() + markedText, line.y(), line.width() - markedText - trailingPad, line.height()),
                     qs(s.title), menu, s.checking ? secondary : label);
            drawLines(p, w, rect, markedText, linesOf(s.subtitle));
        }
        void operator()(const hosted::ConnectionRow& c) const {
            drawMark(p, rect, QtMenuLook::mark(c.mark), false);
            const double stateWidth = QFontMetricsF(menu).horizontalAdvance(qs(c.state));
            const double right = line.right() - trailingPad;
            drawText(p, QRectF(right - stateWidth, line.y(), stateWidth, line.height()), qs(c.state), menu, secondary,
                     Qt::AlignRight);
            drawText(p, QRectF(line.x() + markedText, line.y(), right - stateWidth - 16 - line.x() - markedText, line.height()),
                     qs(c.name), menu, label);
        }
    };
    std::visit(Visitor{p, w, rect, line, label, secondary, menu, small}, row);
}

}  // namespace corvane
