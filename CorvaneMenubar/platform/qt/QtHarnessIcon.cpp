#include "QtHarnessIcon.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>
#include <QPixmap>
#include <QStandardPaths>
#include <map>

#include "BoundedFile.h"
#include "menu/AgentRowLogic.h"

namespace corvane {
namespace {

// A .desktop file is a few kilobytes; one past this is not read.
constexpr std::size_t maxDesktopFileBytes = 64 * 1024;
// The sizes the icon is kept at, for rows at scales 1 to 3 (others scale the nearest one).
constexpr int iconSides[] = {16, 24, 32, 48, 64};

QString iconKeyOf(const QString& path) {
    const auto bytes = readBoundedFile(QFile::encodeName(path).toStdString(), maxDesktopFileBytes);
    if (!bytes) return {};
    bool inEntry = false;
    for (const QString& raw : QString::fromUtf8(bytes->data(), qsizetype(bytes->size())).split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inEntry = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (inEntry && line.startsWith(QLatin1String("Icon="))) return line.mid(5).trimmed();
    }
    return {};
}

// The icons found per word, and how old the answers are.
struct IconCache {
    std::map<std::string, QIcon> icons;
    QElapsedTimer age;
};
IconCache& iconCache() {
    static IconCache cache;
    if (!cache.age.isValid() || cache.age.hasExpired(5 * 60 * 1000)) {
        cache.icons.clear();
        cache.age.start();
    }
    return cache;
}

}  // namespace

QIcon QtHarnessIcon::fromFile(const QString& path) {
    const auto bytes = readBoundedFile(QFile::encodeName(path).toStdString(), harnessIconFileLimit);
    if (!bytes) return {};
    QByteArray data(bytes->data(), qsizetype(bytes->size()));
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QByteArray format = reader.format();
    // A compressed SVG cannot be checked before it is expanded.
    if (format == "svgz" || (format == "svg" && !isRenderableSvgIcon(*bytes))) return {};
    const QSize size = reader.size();
    const bool tooLarge = size.width() > harnessIconSideLimit || size.height() > harnessIconSideLimit;
    if (format != "svg" && (!size.isValid() || tooLarge)) return {};
    // Decoded once, here, at every size the rows draw: nothing reads the file again later.
    QIcon icon;
    QImage whole;
    for (const int side : iconSides) {
        QImage image;
        if (format == "svg") {
            buffer.seek(0);
            QImageReader svg(&buffer, format);
            svg.setScaledSize(QSize(side, side));
            image = svg.read();
        } else {
            if (whole.isNull() && !reader.read(&whole)) return {};
            image = whole.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        }
        if (image.isNull()) return {};
        icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

void QtHarnessIcon::forget() { iconCache().icons.clear(); }

QIcon QtHarnessIcon::lookup(const std::string& desktopId) {
    const QString id = QString::fromStdString(desktopId);
    const QString path =
        QStandardPaths::locate(QStandardPaths::ApplicationsLocation, id + QLatin1String(".desktop"));
    if (!path.isEmpty()) {
        const QString key = iconKeyOf(path);
        if (QFileInfo(key).isAbsolute()) return fromFile(key);
        // A theme icon is a plain name: "../../tmp/x" would reach outside the theme's folders.
        const bool plainName = !key.isEmpty() && !key.contains(QLatin1Char('/'));
        if (plainName && QIcon::hasThemeIcon(key)) return QIcon::fromTheme(key);
    }
    if (QIcon::hasThemeIcon(id)) return QIcon::fromTheme(id);
    return {};
}

QIcon QtHarnessIcon::generic() {
    // Drawn here rather than taken from the icon theme, so that it looks the same on every theme
    // (a theme without a generic application icon falls back to its "missing image" glyph, which
    // would read as a fault of the agent): a grey window outline with a title bar.
    static const QIcon icon = [] {
        QIcon out;
        for (const int scale : {1, 2, 3}) {
            QPixmap pixmap(16 * scale, 16 * scale);
            pixmap.setDevicePixelRatio(scale);
            pixmap.fill(Qt::transparent);
            QPainter p(&pixmap);
            p.setRenderHint(QPainter::Antialiasing);
            p.setPen(QPen(QColor(128, 128, 128), 1.0));
            p.drawRoundedRect(QRectF(1.5, 2.5, 13, 11), 2.5, 2.5);
            p.drawLine(QPointF(1.5, 5.5), QPointF(14.5, 5.5));
            p.end();
            out.addPixmap(pixmap);
        }
        return out;
    }();
    return icon;
}

QIcon QtHarnessIcon::forWord(const std::string& iconWord) {
    auto& cache = iconCache().icons;
    if (auto found = cache.find(iconWord); found != cache.end()) return found->second;
    QIcon icon;
    firstAvailable(harnessIconCandidates(iconWord).iconNames, [&](const std::string& id) {
        icon = lookup(id);
        return !icon.isNull();
    });
    if (icon.isNull()) icon = generic();
    cache.emplace(iconWord, icon);
    return icon;
}

}  // namespace corvane
