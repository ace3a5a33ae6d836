#include "QtNativeMenu.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QTimer>
#include <QWidgetAction>

#include "menu/MenuBuilder.h"
#include "menu/PlainSurface.h"
#include "QtNativeMenuItem.h"
#include "QtPopupMenu.h"

namespace corvane {
namespace {

QtNativeMenuItem& qtItem(NativeMenuItem& item) { return static_cast<QtNativeMenuItem&>(item); }

// Makes `menu` hold `wanted` in order, with as few removals and insertions as can be: an action
// that stays in its place keeps its exported id.
void placeActions(QMenu& menu, const QList<QAction*>& wanted) {
    for (QAction* action : menu.actions())
        if (!wanted.contains(action)) menu.removeAction(action);
    for (qsizetype i = 0; i < wanted.size(); ++i) {
        const auto now = menu.actions();
        if (i < now.size() && now.at(i) == wanted.at(i)) continue;
        if (now.contains(wanted.at(i))) menu.removeAction(wanted.at(i));
        const auto after = menu.actions();
        menu.insertAction(i < after.size() ? after.at(i) : nullptr, wanted.at(i));
    }
}

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
        for (const auto& fold : folds_) fold->removeAction(qt.plainAction());
    }
    if (plain_ && placeholder_) plain_->removeAction(placeholder_.get());
    if (plain_)
        for (const auto& fold : folds_) plain_->removeAction(fold->menuAction());
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
    placeholder_ = std::make_unique<QAction>(placeholder);
    placeholder_->setEnabled(false);
    layoutAttached();
    watchPlainSurface();
}

bool QtNativeMenu::isAttached() const { return plain_ && plain_ != ownPlain_.get(); }

void QtNativeMenu::scheduleLayout() {
    // Once per batch of edits (the builder calls update() after each), or when the loop turns.
    if (layoutPending_) return;
    layoutPending_ = true;
    QTimer::singleShot(0, popup_.get(), [this] {
        if (layoutPending_) layoutAttached();
    });
}

void QtNativeMenu::layoutAttached() {
    layoutPending_ = false;
    if (!isAttached()) return;
    std::vector<bool> separators;
    separators.reserve(count());
    for (const auto& item : items()) separators.push_back(item->isSeparator());
    const auto folds = plainFolds(separators);
    while (folds_.size() < folds.size()) folds_.push_back(std::make_unique<QMenu>());
    QList<QAction*> top;
    std::vector<QList<QAction*>> folded(folds.size());
    std::size_t next = 0;
    for (std::size_t i = 0; i < count(); ++i) {
        QAction* action = qtItem(*itemAt(i)).plainAction();
        if (next < folds.size() && i >= folds[next].first) {
            if (i == folds[next].first) top << folds_[next]->menuAction();
            folded[next] << action;
            if (i + 1 == folds[next].first + folds[next].count) ++next;
            continue;
        }
        top << action;
    }
    if (count() == 0 && placeholder_) top << placeholder_.get();
    for (std::size_t f = 0; f < folds.size(); ++f) {
        folds_[f]->setTitle(QString::fromStdString(plainFoldTitle(folds[f])));
        placeActions(*folds_[f], folded[f]);
    }
    placeActions(*plain_, top);
    while (folds_.size() > folds.size()) {
        placeActions(*folds_.back(), {});
        folds_.pop_back();
    }
}

void QtNativeMenu::setLive() {
    if (live_) return;
    live_ = true;
    for (const auto& item : items()) qtItem(*item).materialize();
}

void QtNativeMenu::syncPlaceholder() {
    if (!placeholder_ || !plain_ || isAttached()) return;
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
    if (isAttached())
        scheduleLayout();
    else if (plain_)
        plain_->insertAction(atIndex(*plain_), item.plainAction());
    if (live_) item.materialize();
    syncPlaceholder();
}

void QtNativeMenu::didRemove(std::size_t, NativeMenuItem& item) {
    auto& qt = qtItem(item);
    popup_->removeAction(qt.action());
    if (plain_) plain_->removeAction(qt.plainAction());
    for (const auto& fold : folds_) fold->removeAction(qt.plainAction());
    if (isAttached()) scheduleLayout();
    syncPlaceholder();
}

void QtNativeMenu::willUpdate() {
    popup_->flushLayout();
    if (layoutPending_) layoutAttached();
}

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
