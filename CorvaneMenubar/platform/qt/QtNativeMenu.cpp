#include "QtNativeMenu.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QTimer>
#include <QWidgetAction>

#include "menu/MenuBuilder.h"
#include "QtNativeMenuItem.h"
#include "QtPopupMenu.h"

namespace corvane {
namespace {

QtNativeMenuItem& qtItem(NativeMenuItem& item) { return static_cast<QtNativeMenuItem&>(item); }

}  // namespace

QtNativeMenu::QtNativeMenu() : popup_(std::make_unique<QtPopupMenu>()), ownPlain_(std::make_unique<QMenu>()) {
    plain_ = ownPlain_.get();
    QtPopupMenu::Hooks hooks;
    hooks.highlightChanged = [this](QAction* action) { highlightChanged(action); };
    hooks.keyPressed = [this](QAction* action, MenuKey key, bool alt) {
        QtNativeMenuItem* item = itemFor(action);
        const auto chosen = item ? keyActivation(*item, key, alt) : std::nullopt;
        if (!chosen) return false;
        item->choose(*chosen);
        return true;
    };
    popup_->setHooks(std::move(hooks));
    QObject::connect(popup_.get(), &QMenu::aboutToShow, popup_.get(), [this] { surfaceShown(); });
    QObject::connect(popup_.get(), &QMenu::aboutToHide, popup_.get(), [this] { surfaceHidden(); });
    watchPlainSurface();
}

QtNativeMenu::~QtNativeMenu() {
    // The items may outlive this menu (the builder holds them while it reconciles): take their
    // actions out of both surfaces now.
    for (const auto& item : items()) {
        auto& qt = qtItem(*item);
        popup_->removeAction(qt.action());
        if (plain_) plain_->removeAction(qt.plainAction());
    }
    if (plain_ && placeholder_) plain_->removeAction(placeholder_.get());
}

void QtNativeMenu::watchPlainSurface() {
    // The panel draws its own copy of this menu and says when it opens it (AboutToShow), but GTK
    // hosts (libdbusmenu-gtk: xfce4-panel, waybar) never say when it closes. So an opening of
    // the panel's menu counts as an opening and a closing at once: the app still refreshes on
    // it, while nothing waits for a "closed" that may never come (the popup opens, and rows
    // change in place, as if the panel's menu were shut). Edits reach an open panel menu anyway.
    QObject::connect(plain_, &QMenu::aboutToShow, popup_.get(), [this] {
        surfaceShown();
        surfaceHidden();
    });
}

void QtNativeMenu::attachPlainSurface(QMenu* menu, const QString& placeholder) {
    if (!menu || menu == plain_) return;
    for (const auto& item : items()) plain_->removeAction(qtItem(*item).plainAction());
    if (placeholder_) plain_->removeAction(placeholder_.get());
    QObject::disconnect(plain_, nullptr, popup_.get(), nullptr);
    plain_ = menu;
    for (const auto& item : items()) plain_->addAction(qtItem(*item).plainAction());
    placeholder_ = std::make_unique<QAction>(placeholder);
    placeholder_->setEnabled(false);
    syncPlaceholder();
    watchPlainSurface();
}

void QtNativeMenu::setLive() {
    if (live_) return;
    live_ = true;
    for (const auto& item : items()) qtItem(*item).materialize();
}

void QtNativeMenu::syncPlaceholder() {
    if (!placeholder_ || !plain_) return;
    const bool inMenu = plain_->actions().contains(placeholder_.get());
    if (count() == 0 && !inMenu) plain_->addAction(placeholder_.get());
    if (count() > 0 && inMenu) plain_->removeAction(placeholder_.get());
}

QtNativeMenuItem* QtNativeMenu::itemFor(const QAction* action) const {
    if (!action) return nullptr;
    for (const auto& item : items()) {
        auto& qt = qtItem(*item);
        if (qt.action() == action || qt.plainAction() == action) return &qt;
    }
    return nullptr;
}

void QtNativeMenu::didInsert(std::size_t index, NativeMenuItem& inserted) {
    // `index` is a position in the surfaces as they are now (the portable list may already be
    // further on), so the action that follows is read from each QMenu itself.
    auto& item = qtItem(inserted);
    const auto atIndex = [index](QMenu& menu) -> QAction* {
        const auto actions = menu.actions();
        return index < static_cast<std::size_t>(actions.size()) ? actions.at(static_cast<qsizetype>(index)) : nullptr;
    };
    popup_->insertAction(atIndex(*popup_), item.action());
    if (plain_) plain_->insertAction(atIndex(*plain_), item.plainAction());
    if (live_) item.materialize();
    syncPlaceholder();
}

void QtNativeMenu::didRemove(std::size_t, NativeMenuItem& item) {
    auto& qt = qtItem(item);
    popup_->removeAction(qt.action());
    if (plain_) plain_->removeAction(qt.plainAction());
    syncPlaceholder();
}

void QtNativeMenu::willUpdate() { popup_->flushLayout(); }

void QtNativeMenu::didChangeSettings() { popup_->setMinimumWidth(static_cast<int>(minimumWidth())); }

void QtNativeMenu::willCancelTracking() {
    // Every open level: the popups (this menu may be a submenu of the one the user opened), and
    // the app's menu shown as a window where popups cannot be placed, whichever level the row is on.
    while (QWidget* popup = QApplication::activePopupWidget()) popup->close();
    for (QWidget* window : QApplication::topLevelWidgets())
        if (dynamic_cast<QtPopupMenu*>(window) && window->isVisible()) window->hide();
}

void QtNativeMenu::surfaceShown() {
    if (reportedOpen_) return;
    reportedOpen_ = true;
    if (reports_.opened)
        reports_.opened();
    else
        reportTrackingBegan();
}

void QtNativeMenu::surfaceHidden() {
    // Reported once the loop turns: Qt hides a menu before it triggers the chosen action, and the
    // builder, told of the close, may drop that very action while the menu is still delivering it.
    QTimer::singleShot(0, popup_.get(), [this] {
        if (!reportedOpen_ || popup_->isVisible()) return;
        reportedOpen_ = false;
        if (reports_.closed)
            reports_.closed();
        else
            reportTrackingEnded();
    });
}

void QtNativeMenu::highlightChanged(QAction* action) {
    NativeMenuItem* item = itemFor(action);
    if (reports_.highlighted) {
        reports_.highlighted(item);
        return;
    }
    reportHighlight(item);
    MenuBuilder::applyHighlight(*this, item);
}

}  // namespace corvane
