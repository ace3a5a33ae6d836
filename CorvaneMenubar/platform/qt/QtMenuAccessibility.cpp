#include "QtMenuAccessibility.h"

#include <QAccessible>
#include <QAccessibleActionInterface>
#include <QAccessibleObject>
#include <QAction>
#include <QMenu>
#include <QPointer>
#include <QWidgetAction>

#include "menu/PlainSurface.h"
#include "QtNativeMenuItem.h"

namespace corvane {
namespace {

constexpr const char* itemProperty = "corvaneMenuItem";

QtNativeMenuItem* itemOf(const QObject* action) {
    return action ? static_cast<QtNativeMenuItem*>(action->property(itemProperty).value<void*>()) : nullptr;
}

class AccessibleMenuRow final : public QAccessibleObject, public QAccessibleActionInterface {
public:
    explicit AccessibleMenuRow(QAction* action) : QAccessibleObject(action), action_(action) {}

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }

    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(menu()); }
    int childCount() const override { return action_ && action_->menu() ? 1 : 0; }
    QAccessibleInterface* child(int index) const override {
        return index == 0 && childCount() == 1 ? QAccessible::queryAccessibleInterface(action_->menu()) : nullptr;
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        return child && childCount() == 1 && child->object() == action_->menu() ? 0 : -1;
    }

    QRect rect() const override {
        QMenu* shown = menu();
        if (!shown || !action_) return {};
        const QRect inMenu = shown->actionGeometry(action_);
        return {shown->mapToGlobal(inMenu.topLeft()), inMenu.size()};
    }

    QString text(QAccessible::Text type) const override {
        if (!action_ || action_->isSeparator()) return {};
        switch (type) {
        case QAccessible::Name: {
            const auto row = this->row();
            return row ? QString::fromStdString(row->spokenName) : action_->text().remove(QLatin1Char('&'));
        }
        case QAccessible::Accelerator: return action_->shortcut().toString(QKeySequence::NativeText);
        default: return {};
        }
    }

    QAccessible::Role role() const override {
        if (!action_ || action_->isSeparator()) return QAccessible::Separator;
        // A check item whether its mark is on or off. The AT-SPI bridge has no check menu item and
        // does not pass on "checkable", so it is a check box there.
        if (const auto row = this->row(); row && row->check != PlainCheck::none) return QAccessible::CheckBox;
        return QAccessible::MenuItem;
    }

    QAccessible::State state() const override {
        QAccessible::State s;
        if (!action_) {
            s.invalid = true;
            return s;
        }
        const auto row = this->row();
        QMenu* shown = menu();
        s.focusable = true;
        s.disabled = row ? !row->enabled : !action_->isEnabled();
        if (shown && shown->activeAction() == action_) s.focused = true;
        if (!shown || !shown->isVisible()) s.invisible = true;
        if (row && row->check != PlainCheck::none) {
            s.checkable = true;
            s.checked = row->check == PlainCheck::on;
        }
        if (action_->menu()) s.hasPopup = true;
        return s;
    }

    QStringList actionNames() const override {
        QStringList names;
        const auto row = this->row();
        if (!action_ || action_->isSeparator() || (row && !row->enabled)) return names;
        if (action_->menu()) return {showMenuAction()};
        if (!row || row->targetsAreRow) return {pressAction()};
        if (row->targets.empty()) return names;
        names << pressAction();
        for (const auto& target : row->targets) names << QString::fromStdString(target.title);
        return names;
    }
    QString localizedActionName(const QString& name) const override {
        return isStandard(name) ? QAccessibleActionInterface::localizedActionName(name) : name;
    }
    QString localizedActionDescription(const QString& name) const override {
        return isStandard(name) ? QAccessibleActionInterface::localizedActionDescription(name) : name;
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

    void doAction(const QString& name) override {
        QtNativeMenuItem* item = itemOf(action_);
        if (!action_ || !item) return;
        if (name == showMenuAction()) {
            if (QMenu* shown = menu()) shown->setActiveAction(action_);
            return;
        }
        const auto row = this->row();
        if (!row || !row->enabled) return;
        if (name == pressAction()) {
            if (row->targetsAreRow)
                action_->trigger();
            else if (!row->targets.empty())
                item->choose(Activation{RowPart::main, false});
            return;
        }
        for (const auto& target : row->targets)
            if (QString::fromStdString(target.title) == name) return item->choose(target.activation);
    }

private:
    static bool isStandard(const QString& name) { return name == pressAction() || name == showMenuAction(); }

    QMenu* menu() const {
        if (!action_) return nullptr;
        for (QObject* object : action_->associatedObjects())
            if (auto* shown = qobject_cast<QMenu*>(object)) return shown;
        return nullptr;
    }
    std::optional<PlainRow> row() const {
        const QtNativeMenuItem* item = itemOf(action_);
        if (!item) return std::nullopt;
        return plainRow(*item, plainRowKey(*item));
    }

    QPointer<QAction> action_;
};

QAccessibleInterface* menuRowFactory(const QString& className, QObject* object) {
    if (className != QLatin1String("QWidgetAction") || !itemOf(object)) return nullptr;
    return new AccessibleMenuRow(static_cast<QAction*>(object));
}

}  // namespace

void installMenuAccessibility() {
    static const bool installed = [] {
        QAccessible::installFactory(menuRowFactory);
        return true;
    }();
    (void)installed;
}

void setAccessibleItem(QAction& action, QtNativeMenuItem* item) {
    action.setProperty(itemProperty, QVariant::fromValue(static_cast<void*>(item)));
}

}  // namespace corvane
