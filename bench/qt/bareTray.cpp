// The baseline of bench/qt-desktop.sh: a bare Qt 6 tray app (one QSystemTrayIcon with a drawn icon
// and a three-row context menu, nothing else), so the app's start-to-icon time and resident
// memory are read side by side with what Qt's tray alone costs on the same machine in the same run.

#include <QApplication>
#include <QMenu>
#include <QPainter>
#include <QPixmap>
#include <QSystemTrayIcon>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::transparent);
    {
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(Qt::white);
        painter.drawEllipse(8, 8, 48, 48);
    }
    QMenu menu;
    menu.addAction(QStringLiteral("First"));
    menu.addAction(QStringLiteral("Second"));
    menu.addAction(QStringLiteral("Quit"), &app, &QApplication::quit);
    QSystemTrayIcon tray{QIcon(pixmap)};
    tray.setToolTip(QStringLiteral("Bare tray"));
    tray.setContextMenu(&menu);
    tray.show();
    return app.exec();
}
