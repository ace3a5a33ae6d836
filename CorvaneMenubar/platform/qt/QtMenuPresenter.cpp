#include "QtMenuPresenter.h"

#include <QApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>
#include <QWindow>

#include "QtNativeMenu.h"
#include "QtPopupMenu.h"
#include "menu/PopupPlacement.h"

namespace corvane {

QtMenuPresenter::QtMenuPresenter(StatusItem& statusItem, const QString& placeholder, Placement placement)
    : statusItem_(statusItem), placeholder_(placeholder), placement_(placement), exported_(std::make_unique<QMenu>()) {
    // Never empty, from the first moment a host can read it.
    exported_->addAction(placeholder_)->setEnabled(false);
}

QtMenuPresenter::~QtMenuPresenter() {
    if (menu_) menu_->setReports({});
}

QtMenuPresenter::Placement QtMenuPresenter::defaultPlacement() {
    return QGuiApplication::platformName().startsWith(QLatin1String("wayland")) ? Placement::window : Placement::popup;
}

void QtMenuPresenter::setMenu(const std::shared_ptr<NativeMenu>& menu) {
    auto qt = std::dynamic_pointer_cast<QtNativeMenu>(menu);
    if (qt == menu_) return;
    if (menu_) menu_->setReports({});
    menu_ = std::move(qt);
    if (!menu_) return;
    exported_->clear();
    menu_->attachPlainSurface(exported_.get(), placeholder_);
    menu_->setLive();
    QtNativeMenu::Reports reports;
    reports.opened = [this] { statusItem_.reportMenuWillOpen(); };
    reports.closed = [this] { statusItem_.reportMenuDidClose(); };
    reports.highlighted = [this](NativeMenuItem* item) { statusItem_.reportHighlight(item); };
    menu_->setReports(std::move(reports));
    menu_->setMinimumWidth(menu_->minimumWidth());
}

QMenu* QtMenuPresenter::popupMenu() const { return menu_ ? menu_->popupMenu() : nullptr; }

bool QtMenuPresenter::isShown() const { return menu_ && menu_->popupMenu()->isVisible(); }

void QtMenuPresenter::popupAt(const QPoint& globalPosition) {
    if (!menu_) return;
    if (placement_ == Placement::window) {
        showAsWindow();
        return;
    }
    menu_->popupMenu()->popup(globalPosition);
}

void QtMenuPresenter::popupAtCursor() { popupAtIcon(QRect()); }

void QtMenuPresenter::popupAtIcon(const QRect& icon) {
    if (!menu_) return;
    if (placement_ == Placement::window) {
        showAsWindow();
        return;
    }
    auto rect = [](const QRect& r) { return ScreenRect{r.x(), r.y(), r.width(), r.height()}; };
    const bool iconKnown = icon.isValid() && !icon.isEmpty();
    const QPoint click = QCursor::pos();
    PopupAnchor anchor;
    if (iconKnown) anchor.icon = rect(icon);
    anchor.click = {click.x(), click.y()};
    const QScreen* screen = QGuiApplication::screenAt(iconKnown ? icon.center() : click);
    if (!screen) screen = QGuiApplication::primaryScreen();
    QMenu* popup = menu_->popupMenu();
    if (!screen) {
        popup->popup(click);
        return;
    }
    popup->ensurePolished();
    const QSize size = popup->sizeHint();
    const ScreenPoint at =
        popupPosition(anchor, size.width(), size.height(), rect(screen->geometry()), rect(screen->availableGeometry()));
    popup->popup(QPoint(at.x, at.y));
}

void QtMenuPresenter::close() {
    if (!menu_) return;
    menu_->popupMenu()->hide();
    exported_->hide();
}

void QtMenuPresenter::showAsWindow() {
    QMenu* window = menu_->popupMenu();
    if (window->isVisible()) {
        window->hide();
        return;
    }
    if (!window->windowFlags().testFlag(Qt::FramelessWindowHint)) {
        // A top-level the compositor places; it takes the keyboard focus like any window.
        window->setWindowFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        focusWatch_ = std::make_unique<QObject>();
        QObject::connect(qApp, &QGuiApplication::focusWindowChanged, focusWatch_.get(), [window](QWindow* focused) {
            if (window->isVisible() && focused != window->windowHandle()) window->hide();
        });
    }
    // A window whose least and greatest sizes agree floats at that size in tiling compositors
    // (sway tiles any other top-level over the whole output).
    window->setFixedSize(window->sizeHint());
    window->popup(QCursor::pos());
    window->activateWindow();
    window->raise();
}

}  // namespace corvane
