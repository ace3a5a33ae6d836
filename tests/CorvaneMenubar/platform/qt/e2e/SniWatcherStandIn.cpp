// A stand-in StatusNotifierWatcher with a host, as a panel provides: it owns
// org.kde.StatusNotifierWatcher on the session bus, waits for one item to register, then reads the
// item (its icon sizes) and its exported menu's layout, and prints what it found:
//   item SERVICE
//   icon WxH            one line per pixmap the item offers
//   row LABEL           one line per visible menu row, depth-first, submenu rows indented
// and exits 0 once the menu holds a row labelled EXPECTED (second argument; any row when absent);
// 1 when that did not happen within the time limit (first argument, seconds).

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QTimer>

#include <cstdio>

namespace {

// One (ia{sv}av) node of a dbusmenu layout, its rows added to `rows` as they are read.
void readLayout(const QDBusArgument& argument, int depth, QStringList& rows) {
    int id = 0;
    QVariantMap properties;
    argument.beginStructure();
    argument >> id >> properties;
    const bool visible = !properties.contains(QStringLiteral("visible")) || properties.value(QStringLiteral("visible")).toBool();
    const bool separator = properties.value(QStringLiteral("type")).toString() == QStringLiteral("separator");
    if (depth > 0 && visible && !separator) {
        QString label = properties.value(QStringLiteral("label")).toString();
        label.remove(QLatin1Char('_'));
        rows << QString(2 * (depth - 1), QLatin1Char(' ')) + label;
    }
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        readLayout(child.variant().value<QDBusArgument>(), depth + 1, rows);
    }
    argument.endArray();
    argument.endStructure();
}

// Only what Qt's tray icon asks of a watcher: that a host is there, and the registration.
class Watcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
public:
    bool hostRegistered() const { return true; }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString& service, const QDBusMessage& message) {
        // An item may give its bus name or only its object path.
        const QString name = service.startsWith(QLatin1Char('/')) ? message.service() : service;
        const QString path = service.startsWith(QLatin1Char('/')) ? service : QStringLiteral("/StatusNotifierItem");
        // Let the item finish exporting before reading it.
        QTimer::singleShot(300, this, [name, path] { inspect(name, path); });
    }

private:
    // Reads the item until its menu holds the expected row, then prints it all and ends.
    static void inspect(const QString& service, const QString& path) {
        auto bus = QDBusConnection::sessionBus();
        const auto property = [&](const QString& name) {
            const QDBusMessage get = QDBusMessage::createMethodCall(service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                                                                    QStringLiteral("Get"))
                                     << QStringLiteral("org.kde.StatusNotifierItem") << name;
            const QDBusMessage reply = bus.call(get, QDBus::Block, 3000);
            return reply.arguments().isEmpty() ? QVariant() : reply.arguments().first().value<QDBusVariant>().variant();
        };
        QStringList sizes, rows;
        if (const QVariant pixmaps = property(QStringLiteral("IconPixmap")); pixmaps.isValid()) {
            const auto list = pixmaps.value<QDBusArgument>();  // a(iiay)
            list.beginArray();
            while (!list.atEnd()) {
                int width = 0, height = 0;
                QByteArray bytes;
                list.beginStructure();
                list >> width >> height >> bytes;
                list.endStructure();
                sizes << QStringLiteral("%1x%2").arg(width).arg(height);
            }
            list.endArray();
        }
        const QString menuPath = property(QStringLiteral("Menu")).value<QDBusObjectPath>().path();
        if (!menuPath.isEmpty()) {
            QDBusMessage layout = QDBusMessage::createMethodCall(service, menuPath, QStringLiteral("com.canonical.dbusmenu"),
                                                                 QStringLiteral("GetLayout"));
            layout << 0 << -1 << QStringList();
            const QDBusMessage reply = bus.call(layout, QDBus::Block, 3000);
            if (reply.arguments().size() == 2) readLayout(reply.arguments().at(1).value<QDBusArgument>(), 0, rows);
        }
        const QString expected = QCoreApplication::arguments().value(2);
        bool found = expected.isEmpty();
        for (const auto& row : rows) found = found || row.trimmed() == expected;
        if (!found) {
            QTimer::singleShot(200, [service, path] { inspect(service, path); });
            return;
        }
        std::printf("item %s\n", service.toUtf8().constData());
        for (const auto& size : sizes) std::printf("icon %s\n", size.toUtf8().constData());
        for (const auto& row : rows) std::printf("row %s\n", row.toUtf8().constData());
        std::fflush(stdout);
        QCoreApplication::exit(0);
    }
};

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int seconds = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 20;
    auto bus = QDBusConnection::sessionBus();
    Watcher watcher;
    if (!bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals |
                                QDBusConnection::ExportAllProperties) ||
        !bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"))) {
        std::fprintf(stderr, "cannot own org.kde.StatusNotifierWatcher\n");
        return 2;
    }
    QTimer::singleShot(seconds * 1000, &app, [] {
        std::fprintf(stderr, "no item registered\n");
        QCoreApplication::exit(1);
    });
    return app.exec();
}

#include "SniWatcherStandIn.moc"
