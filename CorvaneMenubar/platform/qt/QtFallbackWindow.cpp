#include "QtFallbackWindow.h"

#include <QAction>
#include <QCloseEvent>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QVBoxLayout>

#include "QtMenuPresenter.h"
#include "QtStatusItem.h"

namespace corvane {
namespace {
// A menu of hundreds of rows stays usable as a list; beyond this the rest is left out.
constexpr int maxListedRows = 500;
}  // namespace

QtFallbackWindow::QtFallbackWindow(QtStatusItem& statusItem, const QString& title)
    : statusItem_(statusItem),
      icon_(new QLabel(this)),
      toolTip_(new QLabel(this)),
      rows_(new QListWidget(this)),
      open_(new QPushButton(QStringLiteral("Open Menu"), this)) {
    setWindowTitle(title);
    auto* header = new QHBoxLayout();
    header->addWidget(icon_);
    header->addWidget(toolTip_, 1);
    header->addWidget(open_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addWidget(rows_, 1);
    // Long rows end in an ellipsis (their full text is the tool tip) rather than scroll sideways.
    rows_->setTextElideMode(Qt::ElideRight);
    rows_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    rows_->setUniformItemSizes(true);
    resize(460, 600);

    connect(&statusItem_, &QtStatusItem::looksChanged, this, [this] { scheduleRefresh(); });
    connect(open_, &QPushButton::clicked, this, [this] { openMenu(); });
    connect(rows_, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
        const int index = rows_->row(item);
        if (index < 0 || static_cast<std::size_t>(index) >= actions_.size()) return;
        if (QAction* action = actions_[static_cast<std::size_t>(index)]; action && action->isEnabled()) action->trigger();
    });
    if (QMenu* exported = statusItem_.presenter().exportedMenu()) {
        exported->installEventFilter(this);
        watched_.emplace_back(exported);
    }
    refresh();
}

void QtFallbackWindow::openMenu() {
    statusItem_.presenter().popupAt(open_->mapToGlobal(QPoint(0, open_->height())));
}

bool QtFallbackWindow::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
        case QEvent::ActionAdded:
        case QEvent::ActionChanged:
        case QEvent::ActionRemoved:
            scheduleRefresh();
            break;
        default:
            break;
    }
    return QWidget::eventFilter(watched, event);
}

void QtFallbackWindow::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    if (onClosed) onClosed();
}

void QtFallbackWindow::scheduleRefresh() {
    if (refreshPending_) return;
    refreshPending_ = true;
    QTimer::singleShot(0, this, [this] { refresh(); });
}

void QtFallbackWindow::refresh() {
    refreshPending_ = false;
    const QIcon icon = statusItem_.currentIcon();
    icon_->setPixmap(icon.pixmap(QSize(32, 32), devicePixelRatioF()));
    setWindowIcon(icon);
    toolTip_->setText(statusItem_.toolTip());
    rows_->clear();
    actions_.clear();
    if (QMenu* exported = statusItem_.presenter().exportedMenu()) addRows(exported, 0);
}

void QtFallbackWindow::addRows(QMenu* menu, int depth) {
    for (QAction* action : menu->actions()) {
        if (static_cast<int>(actions_.size()) >= maxListedRows) return;
        if (action->isSeparator() || !action->isVisible()) continue;
        QString text = action->text();
        text.remove(QLatin1Char('&'));
        if (action->isCheckable() && action->isChecked()) text = QStringLiteral("\u2713 ") + text;
        auto* item = new QListWidgetItem(QString(depth * 4, QLatin1Char(' ')) + text, rows_);
        if (!action->isEnabled()) item->setFlags(item->flags() & ~Qt::ItemIsEnabled);
        item->setToolTip(!action->toolTip().isEmpty() && action->toolTip() != action->text() ? action->toolTip() : text);
        actions_.emplace_back(action);
        if (QMenu* submenu = action->menu()) {
            bool known = false;
            for (const auto& menuSeen : watched_) known = known || menuSeen == submenu;
            if (!known) {
                submenu->installEventFilter(this);
                watched_.emplace_back(submenu);
            }
            if (depth < 4) addRows(submenu, depth + 1);
        }
    }
}

QStringList QtFallbackWindow::rowTexts() const {
    QStringList texts;
    for (int i = 0; i < rows_->count(); ++i) texts << rows_->item(i)->text();
    return texts;
}

}  // namespace corvane
