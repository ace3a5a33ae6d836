#include "QtStatusItem.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QSystemTrayIcon>

#include "QtAppearance.h"
#include "QtMenuPresenter.h"
#include "QtVectorImage.h"

namespace corvane {

QtStatusItem::QtStatusItem(QtAppearance& appearance, const QString& placeholder, bool showInTray)
    : appearance_(appearance),
      presenter_(std::make_unique<QtMenuPresenter>(*this, placeholder)),
      showInTray_(showInTray) {
    appearanceObservation_ = appearance_.observe([this] { redraw(); });
    createTray();
    auto bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        watcher_ = new QDBusServiceWatcher(QStringLiteral("org.kde.StatusNotifierWatcher"), bus,
                                           QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
                [this](const QString&, const QString&, const QString& newOwner) {
                    if (removed_ || newOwner.isEmpty()) return;
                    createTray();
                    Q_EMIT trayIconRecreated();
                });
    }
}

QtStatusItem::~QtStatusItem() {
    appearanceObservation_.reset();
    delete tray_;
}

bool QtStatusItem::trayAvailable() { return QSystemTrayIcon::isSystemTrayAvailable(); }

void QtStatusItem::createTray() {
    delete tray_;
    tray_ = new QSystemTrayIcon(this);
    tray_->setToolTip(toolTip_);
    tray_->setContextMenu(presenter_->exportedMenu());
    connect(tray_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::MiddleClick) openMenu();
    });
    redraw();
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
