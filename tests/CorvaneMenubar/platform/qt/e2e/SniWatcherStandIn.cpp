// A stand-in StatusNotifierWatcher with a host, as a panel provides: it owns
// org.kde.StatusNotifierWatcher on the session bus, waits for one item to register, then reads the
// item (its icon sizes) and its exported menu's layout, and prints what it found:
//   item SERVICE
//   icon WxH            one line per pixmap the item offers
//   row LABEL           one line per visible menu row, depth-first, submenu rows indented
// once the menu holds a row labelled EXPECTED (second argument; any row when absent). Then it
// opens the menu as a panel does (AboutToShow on the top level, then on the "More" submenu) and
// prints what a host meets:
//   iconThemePath answered|missing
//   opening: layout-updated N, rows kept K of M   LayoutUpdated signals within 2 s of the
//                                                 opening; top-level rows with the same id after
//   submenu More: N rows                          GetLayout of the submenu after its AboutToShow
// and exits 0; 1 when the expected row did not come within the time limit (first argument, s).

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QTimer>

#include <cstdio>

namespace {

struct Row {
    int id = 0;
    int depth = 0;
    QString label;
};

// One (ia{sv}av) node of a dbusmenu layout, its rows added to `rows` as they are read.
void readLayout(const QDBusArgument& argument, int depth, QList<Row>& rows) {
    int id = 0;
    QVariantMap properties;
    argument.beginStructure();
    argument >> id >> properties;
    const bool visible = !properties.contains(QStringLiteral("visible")) || properties.value(QStringLiteral("visible")).toBool();
    const bool separator = properties.value(QStringLiteral("type")).toString() == QStringLiteral("separator");
    if (depth > 0 && visible && !separator) {
        QString label = properties.value(QStringLiteral("label")).toString();
        label.remove(QLatin1Char('_'));
        rows << Row{id, depth, label};
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

// Counts the signals it is connected to.
class Counter : public QObject {
    Q_OBJECT
public:
    int count = 0;
public Q_SLOTS:
    void hit() { ++count; }
};

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
        QStringList sizes;
        QList<Row> rows;
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
        if (!menuPath.isEmpty()) rows = layoutOf(service, menuPath, 0, -1);
        const QString expected = QCoreApplication::arguments().value(2);
        bool found = expected.isEmpty();
        for (const auto& row : rows) found = found || row.label == expected;
        if (!found) {
            QTimer::singleShot(200, [service, path] { inspect(service, path); });
            return;
        }
        std::printf("item %s\n", service.toUtf8().constData());
        for (const auto& size : sizes) std::printf("icon %s\n", size.toUtf8().constData());
        for (const auto& row : rows)
            std::printf("row %s%s\n", QString(2 * (row.depth - 1), QLatin1Char(' ')).toUtf8().constData(),
                        row.label.toUtf8().constData());
        std::printf("iconThemePath %s\n", property(QStringLiteral("IconThemePath")).isValid() ? "answered" : "missing");
        std::fflush(stdout);
        open(service, menuPath, rows);
    }

    static QList<Row> layoutOf(const QString& service, const QString& menuPath, int parent, int depth) {
        QList<Row> rows;
        const QDBusMessage reply = QDBusConnection::sessionBus().call(
            QDBusMessage::createMethodCall(service, menuPath, QStringLiteral("com.canonical.dbusmenu"), QStringLiteral("GetLayout"))
                << parent << depth << QStringList(),
            QDBus::Block, 3000);
        if (reply.arguments().size() == 2) readLayout(reply.arguments().at(1).value<QDBusArgument>(), 0, rows);
        return rows;
    }

    static void aboutToShow(const QString& service, const QString& menuPath, int id) {
        QDBusConnection::sessionBus().call(QDBusMessage::createMethodCall(service, menuPath, QStringLiteral("com.canonical.dbusmenu"),
                                                                          QStringLiteral("AboutToShow"))
                                               << id,
                                           QDBus::Block, 3000);
    }

    // A panel opening the menu: counts the layout signals that follow and compares the ids.
    static void open(const QString& service, const QString& menuPath, const QList<Row>& before) {
        static auto* counter = new Counter;
        QDBusConnection::sessionBus().connect(service, menuPath, QStringLiteral("com.canonical.dbusmenu"),
                                              QStringLiteral("LayoutUpdated"), counter, SLOT(hit()));
        aboutToShow(service, menuPath, 0);
        QTimer::singleShot(2000, [service, menuPath, before] {
            const auto after = layoutOf(service, menuPath, 0, -1);
            int rows = 0, kept = 0, more = 0;
            for (const auto& row : before) {
                if (row.label == QStringLiteral("More")) more = row.id;
                if (row.depth != 1) continue;
                ++rows;
                for (const auto& now : after) kept += now.depth == 1 && now.id == row.id;
            }
            std::printf("opening: layout-updated %d, rows kept %d of %d\n", counter->count, kept, rows);
            aboutToShow(service, menuPath, more);
            int shown = 0;
            for (const auto& row : layoutOf(service, menuPath, more, 1)) shown += row.depth == 1;
            std::printf("submenu More: %d rows\n", shown);
            std::fflush(stdout);
            QCoreApplication::exit(0);
        });
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
