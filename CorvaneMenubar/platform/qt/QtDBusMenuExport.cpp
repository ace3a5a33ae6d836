#include "QtDBusMenuExport.h"

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QMetaClassInfo>
#include <QStringList>

#include <algorithm>
#include <optional>

namespace corvane {
namespace {

// The adaptors of `object` that serve `interface`, oldest first.
QList<QObject*> adaptorsOf(QObject* object, const char* interface) {
    QList<QObject*> out;
    if (!object) return out;
    for (auto* adaptor : object->findChildren<QDBusAbstractAdaptor*>(Qt::FindDirectChildrenOnly)) {
        const QMetaObject* meta = adaptor->metaObject();
        const int info = meta->indexOfClassInfo("D-Bus Interface");
        if (info >= 0 && qstrcmp(meta->classInfo(info).value(), interface) == 0) out << adaptor;
    }
    return out;
}

// Qt's tray icon talks on a connection of its own, named like the bus name it owns:
// org.kde.StatusNotifierItem-PID-N, N counting the tray icons the process made. The newest one.
std::optional<QDBusConnection> trayConnection() {
    const auto pid = QCoreApplication::applicationPid();
    for (int n = 64; n >= 1; --n) {
        QDBusConnection bus(QStringLiteral("org.kde.StatusNotifierItem-%1-%2").arg(pid).arg(n));
        if (bus.isConnected() && bus.objectRegisteredAt(QStringLiteral("/StatusNotifierItem"))) return bus;
    }
    return std::nullopt;
}

void answerIconThemePath(const QList<QObject*>& adaptors, const QVariant& value) {
    for (QObject* adaptor : adaptors)
        if (adaptor->metaObject()->indexOfProperty("IconThemePath") < 0) adaptor->setProperty("IconThemePath", value);
}

}  // namespace

QtDBusMenuExport::QtDBusMenuExport(QObject* parent) : QObject(parent) {
    flush_.setSingleShot(true);
    flush_.setInterval(0);
    connect(&flush_, &QTimer::timeout, this, &QtDBusMenuExport::flush);
}

bool QtDBusMenuExport::attach() {
    const auto bus = trayConnection();
    if (!bus) return false;
    answerIconThemePath(adaptorsOf(bus->objectRegisteredAt(QStringLiteral("/StatusNotifierItem")), "org.kde.StatusNotifierItem"),
                        QString());
    QObject* menu = bus->objectRegisteredAt(QStringLiteral("/MenuBar"));
    const auto adaptors = adaptorsOf(menu, "com.canonical.dbusmenu");
    answerIconThemePath(adaptors, QStringList());
    if (!menu || adaptors.isEmpty() || menu->metaObject()->indexOfSignal("updated(uint,int)") < 0 ||
        adaptors.last()->metaObject()->indexOfSignal("LayoutUpdated(uint,int)") < 0)
        return true;
    // Every adaptor stops relaying the menu's per-row signal; this object relays it, batched, to
    // the newest adaptor alone.
    for (QObject* adaptor : adaptors) {
        QObject::disconnect(menu, SIGNAL(updated(uint,int)), adaptor, SIGNAL(LayoutUpdated(uint,int)));
        // An older tray icon's adaptor relays the rows' property changes a second time.
        if (adaptor != adaptors.last())
            QObject::disconnect(menu, SIGNAL(propertiesUpdated(QDBusMenuItemList,QDBusMenuItemKeysList)), adaptor,
                                SIGNAL(ItemsPropertiesUpdated(QDBusMenuItemList,QDBusMenuItemKeysList)));
    }
    if (menu_ != menu) {
        if (menu_) QObject::disconnect(menu_, nullptr, this, nullptr);
        connect(menu, SIGNAL(updated(uint,int)), this, SLOT(layoutChanged(uint,int)), Qt::UniqueConnection);
        menu_ = menu;
    }
    adaptor_ = adaptors.last();
    return true;
}

void QtDBusMenuExport::layoutChanged(uint revision, int parent) {
    parents_.insert(parent);
    pendingRevision_ = std::max(pendingRevision_, revision);
    flush_.start();
}

void QtDBusMenuExport::flush() {
    if (parents_.isEmpty() || !adaptor_) return;
    // One menu level changed: say which (0 is the top level, else the submenu's item); more than
    // one level: the whole menu.
    const int parent = parents_.size() == 1 ? *parents_.constBegin() : 0;
    revision_ = std::max(revision_ + 1, pendingRevision_);
    parents_.clear();
    pendingRevision_ = 0;
    QMetaObject::invokeMethod(adaptor_, "LayoutUpdated", Qt::DirectConnection, Q_ARG(uint, revision_), Q_ARG(int, parent));
}

}  // namespace corvane
