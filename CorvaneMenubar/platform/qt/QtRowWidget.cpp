#include "QtRowWidget.h"

#include <QHelpEvent>
#include <QMenu>
#include <QWidgetAction>
#include <QToolTip>
#include <cmath>

#include "QtAgentRowWidget.h"
#include "QtCliUpdateWidget.h"
#include "QtDismissibleRowWidget.h"
#include "QtHostedRowWidget.h"
#include "QtMenuLook.h"
#include "QtPopupMenu.h"
#include "QtNativeMenuItem.h"
#include "QtTitleRowWidget.h"
#include "menu/MenuText.h"

namespace corvane {

QtRowWidget::Kind QtRowWidget::kindFor(const NativeMenuItem& item) {
    if (item.isSeparator()) return Kind::none;
    if (const auto& content = item.content()) {
        switch (content->index()) {
        case 0: return Kind::agent;
        case 1: return Kind::cliUpdate;
        case 2: return Kind::dismissible;
        default: return Kind::hosted;
        }
    }
    // Two fonts in one title (status actions, a CLI update that can start): a style's menu item
    // draws one font only.
    if (item.attributedTitle()) return Kind::title;
    return Kind::none;
}

QtRowWidget* QtRowWidget::create(QtNativeMenuItem& item) {
    switch (kindFor(item)) {
    case Kind::none: return nullptr;
    case Kind::agent: return new QtAgentRowWidget(item);
    case Kind::cliUpdate: return new QtCliUpdateWidget(item);
    case Kind::dismissible: return new QtDismissibleRowWidget(item);
    case Kind::hosted: return new QtHostedRowWidget(item);
    case Kind::title: return new QtTitleRowWidget(item);
    }
    return nullptr;
}

QtRowWidget::QtRowWidget(QtNativeMenuItem& item) : item_(item) {
    // The menu keeps the keyboard focus (arrows, Return) and the row only draws the highlight.
    setFocusPolicy(Qt::NoFocus);
    // Pointer moves reach the menu too, so that it moves its current action onto this row.
    setMouseTracking(true);
    setAttribute(Qt::WA_Hover, false);
}

QSize QtRowWidget::sizeHint() const {
    const double height = item_.content() ? rowHeight(*item_.content()) : 22.0;
    return {naturalWidth(), static_cast<int>(std::lround(height))};
}

const std::optional<RowContent>& QtRowWidget::itemContent() const { return item_.content(); }

QMenu* QtRowWidget::menu() const { return qobject_cast<QMenu*>(parentWidget()); }

std::optional<double> QtRowWidget::textColumn() const {
    auto* popup = dynamic_cast<QtPopupMenu*>(menu());
    return popup ? popup->plainTextColumn() : std::nullopt;
}

RowLayout QtRowWidget::placed(RowLayout layout) const {
    if (const auto column = textColumn()) layout = atTextColumn(std::move(layout), *column);
    return isRightToLeft() ? mirrored(std::move(layout), width()) : layout;
}

int QtRowWidget::naturalWidthOf(const RowLayout& layout, double laidOutWidth) {
    return QtMenuLook::naturalWidthOf(layout, laidOutWidth);
}

void QtRowWidget::choose(const Activation& activation) { item_.choose(activation); }

bool QtRowWidget::event(QEvent* event) {
    if (const auto tip = shownToolTip(item_); event->type() == QEvent::ToolTip && tip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        QToolTip::showText(help->globalPos(), QString::fromStdString(*tip), this);
        return true;
    }
    return QWidget::event(event);
}

}  // namespace corvane
