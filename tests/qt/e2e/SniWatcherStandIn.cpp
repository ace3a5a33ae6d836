// A stand-in StatusNotifierWatcher with a host, as a panel provides: it owns
// org.kde.StatusNotifierWatcher on the session bus, waits for one item to register, then reads the
// item (its icon sizes) and its exported menu's layout, and prints what it found:
//   item SERVICE
//   icon WxH            one line per pixmap the item offers
//   row LABEL           one line per visible menu row, depth-first, submenu rows indented
// and exits 0; 1 when nothing registered within the time limit (first argument, seconds).

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QTimer>

#include <cstdio>

namespace {

struct IconPixmap {
    int width = 0;
    int height = 0;
    QByteArray bytes;
};

const QDBusArgument& operator>>(const QDBusArgument& argument, IconPixmap& pixmap) {
    argument.beginStructure();
    argument >> pixmap.width >> pixmap.height >> pixmap.bytes;
    argument.endStructure();
    return argument;
}
QDBusArgument& operator<<(QDBusArgument& argument, const IconPixmap& pixmap) {
    argument.beginStructure();
    argument << pixmap.width << pixmap.height << pixmap.bytes;
    argument.endStructure();
    return argument;
}

// One (ia{sv}av) node of a dbusmenu layout, printed as it is read.
void printLayout(const QDBusArgument& argument, int depth) {
    int id = 0;
    QVariantMap properties;
    argument.beginStructure();
    argument >> id >> properties;
    const bool visible = !properties.contains(QStringLiteral("visible")) || properties.value(QStringLiteral("visible")).toBool();
    const bool separator = properties.value(QStringLiteral("type")).toString() == QStringLiteral("separator");
    if (depth > 0 && visible && !separator) {
        QString label = properties.value(QStringLiteral("label")).toString();
        label.remove(QLatin1Char('_'));
        std::printf("row %s%s\n", QString(2 * (depth - 1), QLatin1Char(' ')).toUtf8().constData(), label.toUtf8().constData());
    }
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        printLayout(child.variant().value<QDBusArgument>(), depth + 1);
    }
    argument.endArray();
    argument.endStructure();
}

class Watcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
public:
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList items() const { return items_; }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString& service, const QDBusMessage& message) {
        // An item may give its bus name or only its object path.
        const QString name = service.startsWith(QLatin1Char('/')) ? message.service() : service;
        const QString path = service.startsWith(QLatin1Char('/')) ? service : QStringLiteral("/StatusNotifierItem");
        items_ << name;
        Q_EMIT StatusNotifierItemRegistered(name);
        // Let the item finish exporting before reading it.
        QTimer::singleShot(300, this, [name, path] { inspect(name, path); });
    }
    void RegisterStatusNotifierHost(const QString&) {}

Q_SIGNALS:
    void StatusNotifierItemRegistered(const QString& service);
    void StatusNotifierItemUnregistered(const QString& service);
    void StatusNotifierHostRegistered();

private:
    static void inspect(const QString& service, const QString& path) {
        auto bus = QDBusConnection::sessionBus();
        std::printf("item %s\n", service.toUtf8().constData());
        QDBusInterface item(service, path, QStringLiteral("org.kde.StatusNotifierItem"), bus);
        const QDBusMessage pixmaps = QDBusMessage::createMethodCall(service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                                                                    QStringLiteral("Get"))
                                     << QStringLiteral("org.kde.StatusNotifierItem") << QStringLiteral("IconPixmap");
        const QDBusMessage pixmapReply = bus.call(pixmaps, QDBus::Block, 3000);
        if (!pixmapReply.arguments().isEmpty()) {
            const auto argument = pixmapReply.arguments().first().value<QDBusVariant>().variant().value<QDBusArgument>();
            QList<IconPixmap> list;
            argument >> list;
            for (const auto& pixmap : list) std::printf("icon %dx%d\n", pixmap.width, pixmap.height);
        }
        const QString menuPath = item.property("Menu").value<QDBusObjectPath>().path();
        if (!menuPath.isEmpty()) {
            QDBusMessage layout = QDBusMessage::createMethodCall(service, menuPath, QStringLiteral("com.canonical.dbusmenu"),
                                                                 QStringLiteral("GetLayout"));
            layout << 0 << -1 << QStringList();
            const QDBusMessage reply = bus.call(layout, QDBus::Block, 3000);
            if (reply.arguments().size() == 2) printLayout(reply.arguments().at(1).value<QDBusArgument>(), 0);
        }
        std::fflush(stdout);
        QCoreApplication::exit(0);
    }

    QStringList items_;
};

}  // namespace

Q_DECLARE_METATYPE(IconPixmap)

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    qDBusRegisterMetaType<IconPixmap>();
    qDBusRegisterMetaType<QList<IconPixmap>>();
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
