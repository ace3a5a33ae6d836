#include "QtVectorImage.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QPen>
#include <QPixmap>

#include <type_traits>

namespace corvane {
namespace {

QColor toQColor(const Colour& colour) {
    return QColor::fromRgbF(static_cast<float>(colour.red), static_cast<float>(colour.green),
                            static_cast<float>(colour.blue), static_cast<float>(colour.alpha));
}

QPainterPath toPath(const Shape& shape) {
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    std::visit(
        [&path](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, shape::Polygons>) {
                for (const auto& polygon : value.polygons) {
                    if (polygon.empty()) continue;
                    path.moveTo(polygon.front().x, polygon.front().y);
                    for (std::size_t i = 1; i < polygon.size(); ++i) path.lineTo(polygon[i].x, polygon[i].y);
                    path.closeSubpath();
                }
            } else if constexpr (std::is_same_v<T, shape::Oval>) {
                path.addEllipse(QRectF(value.bounds.x, value.bounds.y, value.bounds.width, value.bounds.height));
            } else {
                path.addRoundedRect(QRectF(value.rect.x, value.rect.y, value.rect.width, value.rect.height),
                                    value.radius, value.radius);
            }
        },
        shape);
    return path;
}

// The glyphs of `text` as an outline of `fontSize` units, its measured box centred on `centre`.
// Laid out at a large pixel size and scaled down, so the outline does not depend on the
// screen's resolution.
QPainterPath textPath(const op::PunchOutText& text) {
    constexpr int layoutPixels = 100;
    QFont font;
    font.setPixelSize(layoutPixels);
    font.setBold(text.bold);
    const QString letters = QString::fromStdString(text.text);
    const QFontMetricsF metrics(font);
    const qreal scale = text.fontSize / layoutPixels;
    const qreal width = metrics.horizontalAdvance(letters) * scale;
    const qreal height = metrics.height() * scale;
    QPainterPath glyphs;
    glyphs.addText(0, metrics.ascent(), font, letters);
    QTransform place;
    place.translate(text.centre.x - width / 2, text.centre.y - height / 2);
    place.scale(scale, scale);
    return place.map(glyphs);
}

}  // namespace

const std::vector<int>& trayIconSizes() {
    static const std::vector<int> sizes{16, 22, 24, 32, 48, 64};
    return sizes;
}

QImage rasterize(const VectorImage& image, int pixels, qreal devicePixelRatio, const QColor& tint) {
    const int side = qMax(1, qRound(pixels * devicePixelRatio));
    QImage result(side, side, QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::transparent);
    if (image.width <= 0 || image.height <= 0) return result;
    {
        QPainter painter(&result);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(side / image.width, side / image.height);
        for (const auto& operation : image.ops) {
            std::visit(
                [&painter](const auto& value) {
                    using T = std::decay_t<decltype(value)>;
                    if constexpr (std::is_same_v<T, op::Fill>) {
                        painter.fillPath(toPath(value.shape), toQColor(value.colour));
                    } else if constexpr (std::is_same_v<T, op::Stroke>) {
                        QPen pen(toQColor(value.colour), value.lineWidth);
                        pen.setJoinStyle(value.roundJoins ? Qt::RoundJoin : Qt::MiterJoin);
                        painter.strokePath(toPath(value.shape), pen);
                    } else {
                        QPainterPath path;
                        if constexpr (std::is_same_v<T, op::PunchOut>) path = toPath(value.shape);
                        else path = textPath(value);
                        painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
                        painter.fillPath(path, Qt::black);
                        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
                    }
                },
                operation);
        }
        if (image.isTemplate) {
            // Keep the mask's alpha, take the colour from the tint.
            painter.resetTransform();
            painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
            painter.fillRect(result.rect(), tint);
        }
    }
    result.setDevicePixelRatio(devicePixelRatio);
    return result;
}

QIcon trayIcon(const VectorImage& image, const QColor& tint) {
    QIcon icon;
    for (int pixels : trayIconSizes())
        for (qreal ratio : {1.0, 2.0}) icon.addPixmap(QPixmap::fromImage(rasterize(image, pixels, ratio, tint)));
    return icon;
}

}  // namespace corvane
