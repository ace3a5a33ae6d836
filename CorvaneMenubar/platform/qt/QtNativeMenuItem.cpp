#include "QtNativeMenuItem.h"

#include <QAction>
#include <QGuiApplication>
#include <QMenu>
#include <QTimer>
#include <QWidgetAction>

#include "QtMenuAccessibility.h"
#include "menu/MenuText.h"
#include "QtMenuLook.h"
#include "QtNativeMenu.h"
#include "QtPopupMenu.h"
#include "QtRowWidget.h"

namespace corvane {
namespace {

// Menu texts take "&" as a mnemonic marker and a tab as the start of the shortcut column.
QString menuText(const std::string& text) {
    QString out = QString::fromStdString(text);
    out.replace(QLatin1Char('&'), QLatin1String("&&"));
    out.replace(QLatin1Char('\t'), QLatin1Char(' '));
    return out;
}

QKeySequence shortcutFor(const std::string& key) {
    if (key.empty()) return {};
    return QKeySequence(QStringLiteral("Ctrl+") + QString::fromStdString(key).toUpper());
}

// The menus (popups and the mirror) an action is in, with the action that follows it in each.
struct Placement {
    QPointer<QMenu> menu;
    QPointer<QAction> before;
    bool wasActive = false;
};

std::vector<Placement> placementsOf(QAction* action) {
    std::vector<Placement> out;
    for (QObject* object : action->associatedObjects()) {
        auto* menu = qobject_cast<QMenu*>(object);
        if (!menu) continue;
        const auto actions = menu->actions();
        const auto at = actions.indexOf(action);
        out.push_back({menu, at + 1 < actions.size() ? actions.at(at + 1) : nullptr, menu->activeAction() == action});
    }
    return out;
}

}  // namespace

QtNativeMenuItem::QtNativeMenuItem(bool separator)
    : NativeMenuItem(separator), action_(std::make_unique<QWidgetAction>(nullptr)), plain_(std::make_unique<QAction>()) {
    action_->setSeparator(separator);
    plain_->setSeparator(separator);
    // Shortcuts are shown for the app rows ("Quit", Ctrl+Q) and work while the popup is open.
    action_->setShortcutContext(Qt::WidgetShortcut);
    plain_->setShortcutContext(Qt::WidgetShortcut);
    action_->setIconVisibleInMenu(true);
    setAccessibleItem(*action_, this);
    // A plain row chosen in either surface. The popup has already closed when Qt triggers it. A
    // check item keeps showing the login item's real status, not the click: Qt flips a checkable
    // action's mark by itself, and the next build says whether the switch took.
    QObject::connect(action_.get(), &QAction::triggered, [this] {
        syncChecks();
        choose({RowPart::main, QGuiApplication::keyboardModifiers().testFlag(Qt::AltModifier)});
    });
    QObject::connect(plain_.get(), &QAction::triggered, [this] {
        syncChecks();
        if (plainRow_.targetsAreRow && !plainRow_.targets.empty()) choose(plainRow_.targets.front().activation);
    });
}

QtNativeMenuItem::~QtNativeMenuItem() {
    setAccessibleItem(*action_, nullptr);
    // Out of every menu before the widget goes, so no menu keeps a pointer to either.
    for (QAction* action : {static_cast<QAction*>(action_.get()), plain_.get()}) {
        action->setMenu(static_cast<QMenu*>(nullptr));
        for (QObject* object : action->associatedObjects())
            if (auto* widget = qobject_cast<QWidget*>(object)) widget->removeAction(action);
    }
}

QtRowWidget* QtNativeMenuItem::rowWidget() const { return static_cast<QtRowWidget*>(action_->defaultWidget()); }

void QtNativeMenuItem::choose(const Activation& activation) {
    // The handler may close the menu and the builder may then drop this item; the widget or menu
    // that reported the choice is still on the stack, so the item lives until the loop turns.
    auto keepAlive = shared_from_this();
    fire(activation);
    QTimer::singleShot(0, [keepAlive] {});
}

std::string QtNativeMenuItem::plainTitle() const { return plainRow_.text; }

void QtNativeMenuItem::syncTexts() { action_->setText(menuText(title())); }

void QtNativeMenuItem::syncChecks() {
    // "Launch at Login" is a check item whether its mark is on or off.
    const bool checkable = plainRow_.check != PlainCheck::none;
    for (QAction* action : {static_cast<QAction*>(action_.get()), plain_.get()}) {
        action->setCheckable(checkable);
        action->setChecked(plainRow_.check == PlainCheck::on);
    }
}

void QtNativeMenuItem::syncPlain() {
    if (isSeparator()) return;
    auto row = plainRow(*this, plainRowKey(*this));
    if (row == plainRow_) return;
    plainRow_ = std::move(row);
    plain_->setText(menuText(plainRow_.text));
    plain_->setData(QString::fromStdString(plainRow_.key));
    plain_->setEnabled(plainRow_.enabled);
    syncChecks();
    if (!listsTargets(plainRow_)) {
        if (targets_) {
            if (plain_->menu() == targets_.get()) plain_->setMenu(static_cast<QMenu*>(nullptr));
            targets_.reset();
        }
        return;
    }
    if (!targets_) targets_ = std::make_unique<QMenu>();
    // The same actions while the targets stay as many, so an open targets menu stays put.
    auto actions = targets_->actions();
    if (static_cast<std::size_t>(actions.size()) != plainRow_.targets.size()) {
        targets_->clear();
        for (std::size_t i = 0; i < plainRow_.targets.size(); ++i) {
            QAction* target = targets_->addAction(QString());
            QObject::connect(target, &QAction::triggered, targets_.get(), [this, i] {
                if (i < plainRow_.targets.size() && plainRow_.enabled) choose(plainRow_.targets[i].activation);
            });
        }
        actions = targets_->actions();
    }
    for (std::size_t i = 0; i < plainRow_.targets.size(); ++i) {
        QAction* target = actions.at(static_cast<qsizetype>(i));
        target->setText(menuText(plainRow_.targets[i].title));
        target->setData(QString::fromStdString(plainRow_.targets[i].key));
    }
    if (plain_->menu() != targets_.get()) plain_->setMenu(targets_.get());
}

void QtNativeMenuItem::syncToolTip() {
    // The style shows a tool tip for any action that has one. The exported row's text is whole.
    const auto tip = shownToolTip(*this);
    action_->setToolTip(tip ? QString::fromStdString(*tip) : QString());
}

void QtNativeMenuItem::syncEnabled() { action_->setEnabled(isEnabled()); }

void QtNativeMenuItem::materialize() {
    if (materialized_) return;
    materialized_ = true;
    syncRowWidget();
    if (auto* sub = dynamic_cast<QtNativeMenu*>(submenu().get())) sub->setLive();
}

void QtNativeMenuItem::syncRowWidget() {
    if (!materialized_) return;
    const auto wanted = QtRowWidget::kindFor(*this);
    QtRowWidget* shown = rowWidget();
    if (shown && shown->kind() == wanted) {
        shown->sync();
        return;
    }
    if (!shown && wanted == QtRowWidget::Kind::none) return;
    // A QWidgetAction takes its widget when it joins a menu: to gain, lose or change custom
    // content the action steps out of its menus and back in at the same place. The QAction
    // object stays the same, and so does the menu's current action.
    const auto placements = placementsOf(action_.get());
    for (const auto& placement : placements) placement.menu->removeAction(action_.get());
    action_->setDefaultWidget(nullptr);
    if (auto* widget = QtRowWidget::create(*this)) {
        action_->setDefaultWidget(widget);
        widget->sync();
    }
    for (const auto& placement : placements) {
        if (!placement.menu) continue;
        placement.menu->insertAction(placement.before, action_.get());
        if (placement.wasActive) placement.menu->setActiveAction(action_.get());
    }
}

void QtNativeMenuItem::didChange(ItemField field) {
    if (field != ItemField::highlighted && field != ItemField::keyEquivalent && field != ItemField::badge &&
        field != ItemField::submenu)
        syncPlain();
    switch (field) {
    case ItemField::title:
    case ItemField::attributedTitle:
    case ItemField::content:
    case ItemField::role:
        syncTexts();
        syncToolTip();
        syncRowWidget();
        break;
    case ItemField::toolTip:
        syncToolTip();
        if (auto* widget = rowWidget()) widget->sync();
        break;
    case ItemField::enabled:
        syncEnabled();
        if (auto* widget = rowWidget()) widget->sync();
        break;
    case ItemField::checked:
        syncChecks();
        break;
    case ItemField::keyEquivalent:
        action_->setShortcut(shortcutFor(keyEquivalent()));
        plain_->setShortcut(shortcutFor(keyEquivalent()));
        break;
    case ItemField::submenu: {
        auto* sub = dynamic_cast<QtNativeMenu*>(submenu().get());
        action_->setMenu(sub ? static_cast<QMenu*>(sub->popupMenu()) : nullptr);
        syncPlain();
        if (sub || !targets_) plain_->setMenu(sub ? sub->plainMenu() : nullptr);
        if (sub && materialized_) sub->setLive();
        break;
    }
    case ItemField::badge: {
        const QIcon icon = badge() ? QtMenuLook::pausedBadgeIcon() : QIcon();
        action_->setIcon(icon);
        plain_->setIcon(icon);
        break;
    }
    case ItemField::highlighted:
        if (auto* widget = rowWidget()) widget->sync();
        break;
    case ItemField::handler:
    case ItemField::representedObject:
        break;
    }
}

}  // namespace corvane
