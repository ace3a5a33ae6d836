#include "QtStatusItem.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QGuiApplication>
#include <QSystemTrayIcon>
#include <QTimer>

#include <cstdlib>

#include <xcb/xcb.h>

#include "QtAppearance.h"
#include "QtDBusMenuExport.h"
#include "QtMenuPresenter.h"
#include "QtVectorImage.h"
#include "app/TrayChoice.h"

namespace corvane {
namespace {
const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");

// A watcher owns its name and says a host (a panel's tray) registered with it: the condition on
// which Qt picks StatusNotifierItem. Asked with a short limit; a busy watcher is asked again.
bool statusNotifierHostRegistered(const QDBusConnection& bus) {
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(watcherService)) return false;
    auto message = QDBusMessage::createMethodCall(watcherService, QStringLiteral("/StatusNotifierWatcher"),
                                                  QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message << watcherService << QStringLiteral("IsStatusNotifierHostRegistered");
    const QDBusMessage reply = bus.call(message, QDBus::Block, 300);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return false;
    return reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

// An X11 tray manager owns the screen's _NET_SYSTEM_TRAY_S selection.
bool xembedTrayPresent() {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection) return false;
    const QByteArray name = "_NET_SYSTEM_TRAY_S0";
    xcb_intern_atom_reply_t* atom =
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 1, static_cast<uint16_t>(name.size()), name.constData()), nullptr);
    if (!atom) return false;
    const xcb_atom_t selection = atom->atom;
    std::free(atom);
    if (selection == XCB_ATOM_NONE) return false;
    xcb_get_selection_owner_reply_t* owner =
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection), nullptr);
    const bool present = owner && owner->owner != XCB_WINDOW_NONE;
    std::free(owner);
    return present;
}

TrayFacts::Display display() {
    const QString platform = QGuiApplication::platformName();
    if (platform.startsWith(QLatin1String("wayland"))) return TrayFacts::Display::wayland;
    if (platform == QLatin1String("xcb")) return TrayFacts::Display::x11;
    return TrayFacts::Display::other;
}
}  // namespace

QtStatusItem::QtStatusItem(QtAppearance& appearance, const QString& placeholder, bool showInTray)
    : appearance_(appearance),
      presenter_(std::make_unique<QtMenuPresenter>(*this, placeholder)),
      showInTray_(showInTray) {
    appearanceObservation_ = appearance_.observe([this] { redraw(); });
    look_ = new QTimer(this);
    look_->setSingleShot(true);
    connect(look_, &QTimer::timeout, this, [this] { lookForTray(); });
    waited_.start();
    auto bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        watcher_ = new QDBusServiceWatcher(watcherService, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
                [this](const QString&, const QString&, const QString& newOwner) {
                    if (removed_ || newOwner.isEmpty()) return;
                    if (tray_)
                        createTray();
                    else
                        lookForTray();
                });
    }
    // The window-only mode never shows the icon: nothing to wait for.
    if (showInTray_)
        lookForTray();
    else
        createTray();
}

QtStatusItem::~QtStatusItem() {
    appearanceObservation_.reset();
    delete tray_;
}

void QtStatusItem::lookForTray() {
    if (tray_ || removed_) return;
    TrayFacts facts;
    facts.display = display();
    const auto bus = QDBusConnection::sessionBus();
    facts.sessionBus = bus.isConnected();
    facts.statusNotifierHost = statusNotifierHostRegistered(bus);
    if (facts.display == TrayFacts::Display::x11 && xembedTrayPresent()) {
        if (!xembedSeen_.isValid()) xembedSeen_.start();
        facts.xembedTraySeconds = xembedSeen_.elapsed() / 1000.0;
    } else {
        xembedSeen_.invalidate();
    }
    facts.waitedSeconds = waited_.elapsed() / 1000.0;
    const TrayStep step = trayStep(facts);
    if (step.create)
        createTray();
    else if (step.lookAgainSeconds > 0)
        look_->start(static_cast<int>(step.lookAgainSeconds * 1000));
}

bool QtStatusItem::iconShown() const {
    // Asked only once the icon exists: before that, Qt's answer would fix its choice of protocol.
    return tray_ && showInTray_ && !removed_ && QSystemTrayIcon::isSystemTrayAvailable();
}

void QtStatusItem::createTray() {
    look_->stop();
    delete tray_;
    tray_ = new QSystemTrayIcon(this);
    exportPending_ = true;
    tray_->setToolTip(toolTip_);
    tray_->setContextMenu(presenter_->exportedMenu());
    connect(tray_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::MiddleClick) openMenu();
    });
    redraw();
    Q_EMIT trayIconRecreated();
}

QIcon QtStatusItem::currentIcon() const {
    if (!image_) return {};
    return corvane::trayIcon(*image_, appearance_.panelTextColour());
}

void QtStatusItem::redraw() {
    if (tray_ && image_) {
        tray_->setIcon(currentIcon());
        // Shown with or without a tray (Qt registers the icon as soon as a host appears), once
        // there is an icon to show.
        if (showInTray_ && !removed_) tray_->show();
        // Qt registers a StatusNotifierItem and its menu when the icon is first shown.
        if (exportPending_ && tray_->isVisible()) {
            exportPending_ = false;
            if (!export_) export_ = new QtDBusMenuExport(this);
            export_->attach();
        }
    }
    Q_EMIT looksChanged();
}

void QtStatusItem::setImage(const VectorImage& image) {
    if (image_ == image) return;
    image_ = image;
    redraw();
}

bool QtStatusItem::hasImage() const { return image_.has_value(); }

void QtStatusItem::setToolTip(const std::string& toolTip) {
    toolTip_ = QString::fromStdString(toolTip);
    if (tray_) tray_->setToolTip(toolTip_);
    Q_EMIT looksChanged();
}

void QtStatusItem::setMenu(std::shared_ptr<NativeMenu> menu) {
    menu_ = std::move(menu);
    presenter_->setMenu(menu_);
}

std::shared_ptr<NativeMenu> QtStatusItem::menu() const { return menu_; }

void QtStatusItem::remove() {
    removed_ = true;
    presenter_->close();
    if (tray_) tray_->hide();
}

void QtStatusItem::openMenu() {
    if (removed_) return;
    if (presenter_->isShown()) return;
    presenter_->popupAtIcon(tray_ ? tray_->geometry() : QRect());
}

}  // namespace corvane
