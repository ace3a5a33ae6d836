#include "QtMenuLook.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QStyle>
#include <QStyleOptionMenuItem>
#include <QWidget>
#include <cmath>

#include "menu/IconRenderer.h"
#include "menu/MenuColours.h"
#include "QtTextMeasure.h"
#include <QFontMetricsF>
#include <map>

namespace corvane {

QFont QtMenuLook::font(FontRole role) {
    QFont menu = QApplication::font("QMenu");
    if (role == FontRole::system11) {
        if (menu.pointSizeF() > 0)
            menu.setPointSizeF(menu.pointSizeF() * 11.0 / 13.0);
        else
            menu.setPixelSize(std::max(1, menu.pixelSize() * 11 / 13));
    }
    return menu;
}

QColor QtMenuLook::label(const QWidget& widget) {
    return widget.palette().color(QPalette::Active, QPalette::WindowText);
}

QColor QtMenuLook::secondaryLabel(const QWidget& widget) {
    // Between the text and the background, like the secondary label colour: readable on light
    // and dark menus alike, and never below 4.5:1 on the menu.
    QColor text = label(widget);
    const QColor base = widget.palette().color(QPalette::Active, QPalette::Window);
    const QColor mixed = QColor::fromRgbF(text.redF() * 0.6f + base.redF() * 0.4f, text.greenF() * 0.6f + base.greenF() * 0.4f,
                                          text.blueF() * 0.6f + base.blueF() * 0.4f);
    const Rgb readable = withContrast({mixed.red(), mixed.green(), mixed.blue()}, {base.red(), base.green(), base.blue()},
                                      textContrast);
    return QColor(readable.red, readable.green, readable.blue);
}

QColor QtMenuLook::selectedBackground(const QWidget& widget) {
    return widget.palette().color(QPalette::Active, QPalette::Highlight);
}

QColor QtMenuLook::selectedText(const QWidget& widget) {
    return widget.palette().color(QPalette::Active, QPalette::HighlightedText);
}

QColor QtMenuLook::systemOrange() { return QColor(255, 149, 0); }

QColor QtMenuLook::mark(StatusMark mark) {
    switch (mark) {
    case StatusMark::ok: return QColor(52, 178, 84);
    case StatusMark::problem: return QColor(235, 64, 52);
    case StatusMark::warn: return systemOrange();
    case StatusMark::paused: return QColor(142, 142, 147);
    case StatusMark::muted: return QColor(142, 142, 147, 150);
    }
    return QColor(142, 142, 147);
}

QColor QtMenuLook::mark(ConnectionMark mark) {
    switch (mark) {
    case ConnectionMark::ok: return QColor(52, 178, 84);
    case ConnectionMark::warn: return systemOrange();
    case ConnectionMark::muted: return QColor(142, 142, 147, 150);
    }
    return QColor(142, 142, 147);
}

void QtMenuLook::drawSelection(QPainter& painter, const QWidget& widget, const QRectF& rect) {
    QStyleOptionMenuItem option;
    option.initFrom(&widget);
    option.rect = rect.toAlignedRect();
    option.state = QStyle::State_Enabled | QStyle::State_Selected;
    option.menuItemType = QStyleOptionMenuItem::Normal;
    option.checkType = QStyleOptionMenuItem::NotCheckable;
    option.palette.setCurrentColorGroup(QPalette::Active);
    widget.style()->drawControl(QStyle::CE_MenuItem, &option, &painter, &widget);
}

QIcon QtMenuLook::pausedBadgeIcon() {
    static const QIcon icon = [] {
        QIcon out;
        for (const int scale : {1, 2, 3}) {
            QPixmap pixmap(13 * scale, 13 * scale);
            pixmap.setDevicePixelRatio(scale);
            pixmap.fill(Qt::transparent);
            QPainter p(&pixmap);
            p.setRenderHint(QPainter::Antialiasing);
            p.setPen(Qt::NoPen);
            // Dark enough for the white bars and a light menu to stand at 3:1 from it.
            const QColor orange = systemOrange();
            const Rgb disc = withContrast({orange.red(), orange.green(), orange.blue()}, {255, 255, 255}, glyphContrast);
            p.setBrush(QColor(disc.red, disc.green, disc.blue));
            p.drawEllipse(QRectF(0.5, 0.5, 12, 12));
            p.setBrush(Qt::white);
            p.drawRoundedRect(QRectF(4.2, 3.7, 1.6, 5.6), 0.5, 0.5);
            p.drawRoundedRect(QRectF(7.2, 3.7, 1.6, 5.6), 0.5, 0.5);
            p.end();
            out.addPixmap(pixmap);
        }
        return out;
    }();
    return icon;
}

void QtMenuLook::drawDismissButton(QPainter& painter, const QWidget& widget, const QRectF& rect, bool active) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    // On a highlighted row a ring and the cross in the selected text colour, straight on the
    // highlight (a tinted disc there would pale it below 3:1); elsewhere a faint disc in the
    // secondary colour with the cross in the label colour.
    const QColor cross = active ? selectedText(widget) : label(widget);
    if (active) {
        painter.setPen(QPen(cross, 1.2));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(rect.adjusted(0.6, 0.6, -0.6, -0.6));
    } else {
        QColor disc = secondaryLabel(widget);
        disc.setAlphaF(0.35f);
        painter.setPen(Qt::NoPen);
        painter.setBrush(disc);
        painter.drawEllipse(rect);
    }
    painter.setPen(QPen(cross, 1.4, Qt::SolidLine, Qt::RoundCap));
    const QRectF c = rect.adjusted(rect.width() * 0.32, rect.height() * 0.32, -rect.width() * 0.32, -rect.height() * 0.32);
    painter.drawLine(c.topLeft(), c.bottomRight());
    painter.drawLine(c.topRight(), c.bottomLeft());
    painter.restore();
}

QColor QtMenuLook::colour(ColourRole role, const QWidget& widget) {
    switch (role) {
    case ColourRole::label: return label(widget);
    case ColourRole::secondaryLabel: return secondaryLabel(widget);
    case ColourRole::selectedMenuItemText: return selectedText(widget);
    case ColourRole::selectedContentBackground: return selectedBackground(widget);
    case ColourRole::systemGreen: return QColor(52, 178, 84);
    case ColourRole::systemRed: return QColor(235, 64, 52);
    case ColourRole::systemOrange: return systemOrange();
    case ColourRole::systemYellow: return QColor(240, 190, 0);
    case ColourRole::systemGray: return QColor(142, 142, 147);
    }
    return label(widget);
}

const TextMeasure& QtMenuLook::measure() {
    static const QtTextMeasure measure;
    return measure;
}

RowLayout QtMenuLook::highlighted(RowLayout layout, double width) {
    layout.highlight = Rect{4, 0, std::max(width - 8, 0.0), layout.height};
    for (auto& text : layout.texts) text.colour = ColourRole::selectedMenuItemText;
    return layout;
}

void QtMenuLook::paint(QPainter& p, const QWidget& widget, const RowLayout& layout) {
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    if (layout.highlight) {
        const auto& r = *layout.highlight;
        QPainterPath path;
        path.addRoundedRect(QRectF(r.x, r.y, r.width, r.height), RowLayout::highlightRadius, RowLayout::highlightRadius);
        p.fillPath(path, selectedBackground(widget));
    }
    if (layout.mark) {
        const auto& r = layout.mark->frame;
        // A status colour keeps its hue but stands at 3:1 from what it is drawn on, the highlight
        // included.
        const QColor ground = layout.highlight ? selectedBackground(widget) : widget.palette().color(QPalette::Active, QPalette::Window);
        QColor mark = colour(layout.mark->colour, widget);
        const Rgb readable = withContrast({mark.red(), mark.green(), mark.blue()}, {ground.red(), ground.green(), ground.blue()},
                                          glyphContrast);
        mark.setRgb(readable.red, readable.green, readable.blue, mark.alpha());
        p.setPen(Qt::NoPen);
        p.setBrush(mark);
        p.drawEllipse(QRectF(r.x, r.y, r.width, r.height));
    }
    for (const auto& text : layout.texts) {
        if (text.text.empty() || text.frame.width <= 0) continue;
        QFont f = font(text.font);
        f.setBold(text.bold);
        const QRectF frame(text.frame.x, text.frame.y, text.frame.width, text.frame.height);
        p.setFont(f);
        p.setPen(colour(text.colour, widget));
        const QString shown =
            QFontMetricsF(f).elidedText(QString::fromStdString(text.text), Qt::ElideRight, frame.width());
        // The layout is already mirrored for a right-to-left language: its sides are absolute.
        p.drawText(frame,
                   Qt::AlignVCenter | Qt::AlignAbsolute |
                       (text.align == TextAlign::trailing ? Qt::AlignRight : Qt::AlignLeft),
                   shown);
    }
    if (layout.dismissButton) {
        const auto& r = *layout.dismissButton;
        drawDismissButton(p, widget, QRectF(r.x, r.y, r.width, r.height), layout.highlight.has_value());
    }
    p.restore();
}

int QtMenuLook::naturalWidthOf(const RowLayout& layout, double wide) {
    // Per line (texts sharing a top): the room before the first text, the texts at their natural
    // widths with the gaps the layout keeps between them, and the room after the last element.
    std::map<double, std::vector<const TextSlot*>> lines;
    for (const auto& text : layout.texts) lines[text.frame.y].push_back(&text);
    double need = 0;
    for (const auto& [y, onLine] : lines) {
        double left = wide, right = 0, texts = 0;
        for (const auto* slot : onLine) {
            left = std::min(left, slot->frame.x);
            right = std::max(right, slot->frame.x + slot->frame.width);
            texts += measure().width(slot->text, slot->font);
        }
        if (layout.dismissButton && std::abs(layout.dismissButton->y - y) < 10)
            right = std::max(right, layout.dismissButton->x + layout.dismissButton->width);
        const double gaps = rowmetrics::gap * static_cast<double>(onLine.size() - 1);
        need = std::max(need, left + texts + gaps + (wide - right));
    }
    return static_cast<int>(std::ceil(need));
}

void QtMenuLook::drawBolt(QPainter& painter, const QRectF& rect, const QColor& colour) {
    // The bolt polygons live in an 18-point square with a 1-point margin.
    QPainterPath path;
    for (const auto& polygon : IconRenderer::boltPolygons().polygons) {
        if (polygon.empty()) continue;
        path.moveTo(polygon[0].x, polygon[0].y);
        for (std::size_t i = 1; i < polygon.size(); ++i) path.lineTo(polygon[i].x, polygon[i].y);
        path.closeSubpath();
    }
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(rect.topLeft());
    painter.scale(rect.width() / 18.0, rect.height() / 18.0);
    painter.fillPath(path, colour);
    painter.restore();
}

}  // namespace corvane
