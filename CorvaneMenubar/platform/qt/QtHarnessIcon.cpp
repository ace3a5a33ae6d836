#include "QtHarnessIcon.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QPixmap>
#include <QStandardPaths>
#include <map>

#include "menu/AgentRowLogic.h"

namespace corvane {
namespace {

// A .desktop file is a few kilobytes; anything past this is not read.
constexpr qint64 maxDesktopFileBytes = 64 * 1024;

QString iconKeyOf(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QString text = QString::fromUtf8(file.read(maxDesktopFileBytes));
    bool inEntry = false;
    for (const QString& raw : text.split(QLatin1Char('\n'))) {
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

void QtHarnessIcon::forget() { iconCache().icons.clear(); }

QIcon QtHarnessIcon::lookup(const std::string& desktopId) {
    const QString id = QString::fromStdString(desktopId);
    const QString path =
        QStandardPaths::locate(QStandardPaths::ApplicationsLocation, id + QLatin1String(".desktop"));
    if (!path.isEmpty()) {
        const QString key = iconKeyOf(path);
        if (QFileInfo(key).isAbsolute()) {
            if (QFileInfo(key).isFile()) return QIcon(key);
        } else if (!key.isEmpty() && QIcon::hasThemeIcon(key)) {
            return QIcon::fromTheme(key);
        }
    }
    if (QIcon::hasThemeIcon(id)) return QIcon::fromTheme(id);
    return {};
}

QIcon QtHarnessIcon::generic() {
    static const QIcon icon = [] {
        const QString name = QString::fromUtf8(genericHarnessIconName.data(), int(genericHarnessIconName.size()));
        if (QIcon::hasThemeIcon(name)) return QIcon::fromTheme(name);
        QIcon out;
        for (const int scale : {1, 2, 3}) {
            QPixmap pixmap(16 * scale, 16 * scale);
            pixmap.setDevicePixelRatio(scale);
            pixmap.fill(Qt::transparent);
            QPainter p(&pixmap);
            p.setRenderHint(QPainter::Antialiasing);
            QPen pen(QColor(128, 128, 128), 1.2, Qt::DashLine);
            pen.setDashPattern({2.0, 1.6});
            p.setPen(pen);
            p.drawRoundedRect(QRectF(1.5, 1.5, 13, 13), 3.5, 3.5);
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
