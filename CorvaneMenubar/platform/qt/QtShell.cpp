#include "QtShell.h"

#include <QApplication>
#include <QMessageBox>
#include <QScreen>
#include <QTimer>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <malloc.h>
#include <syslog.h>

#include "app/AboutPanel.h"
#include "app/DesktopShell.h"
#include "platform/posix/HostPlatform.h"
#include "QtAppearance.h"
#include "QtPopupMenu.h"
#include "QtEffects.h"
#include "QtFallbackWindow.h"
#include "QtMainLoop.h"
#include "QtMenuAccessibility.h"
#include "QtNativeMenuFactory.h"
#include "QtStatusItem.h"
#include "QtTextMeasure.h"
#include "SingleInstance.h"
#include "platform/posix/XdgLoginItem.h"
#include "platform/posix/SystemDirectoryWatcher.h"
#include "platform/posix/JsonFileDefaults.h"
#include "platform/posix/ThreadBackgroundWork.h"

namespace corvane {

namespace {
// QApplication keeps references to these for its whole life.
int applicationArgc = 1;
char applicationName[] = "corvane-menubar";
char* applicationArgv[] = {applicationName, nullptr};

std::string homeFolder() {
    const char* home = std::getenv("HOME");
    return home ? home : "";
}
}  // namespace

// Declared in the order they must be built; destroyed in reverse, so the loop outlives the
// background work (whose jobs post into it) and every seam outlives what uses it.
struct QtShell::Parts {
    Variant variant;
    std::unique_ptr<JsonFileDefaults> defaults;
    std::unique_ptr<XdgLoginItem> loginItem;
    std::unique_ptr<QApplication> application;
    std::unique_ptr<SingleInstance> instance;
    std::unique_ptr<QtMainLoop> loop;
    std::unique_ptr<ThreadBackgroundWork> background;
    std::unique_ptr<DirectoryWatcher> watcher;
    std::unique_ptr<QtAppearance> appearance;
    std::unique_ptr<QtStatusItem> statusItem;
    std::unique_ptr<QtNativeMenuFactory> menuFactory;
    std::unique_ptr<QtTextMeasure> textMeasure;
    std::unique_ptr<QtEffects> effects;
    std::unique_ptr<QtFallbackWindow> window;
    bool openRequested = false;
    // The window opened because no tray showed the icon (not by --window or the user).
    bool windowStandsInForTray = false;
};

QtShell::QtShell(const ShellOptions& options) : options_(options), parts_(std::make_unique<Parts>()) {}

QtShell::~QtShell() {
    // Widgets and timers go before the application object.
    if (parts_) {
        parts_->window.reset();
        parts_->statusItem.reset();
        parts_->effects.reset();
        parts_->textMeasure.reset();
        parts_->menuFactory.reset();
        parts_->appearance.reset();
        parts_->watcher.reset();
        parts_->background.reset();
        parts_->loop.reset();
        parts_->instance.reset();
    }
}

bool QtShell::prepare(const Variant& variant) {
    auto& parts = *parts_;
    parts.variant = variant;
    // One store with the headless shell, so switching modes keeps the preferences.
    auto path = JsonFileDefaults::defaultPath(variant.appEnv, std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME"));
    parts.defaults = std::make_unique<JsonFileDefaults>(
        path ? *path
             : (std::filesystem::temp_directory_path() / ("corvane-menubar-" + variant.appEnv + ".json")).string());
    parts.loginItem = std::make_unique<XdgLoginItem>(xdgConfigFolder(), desktopAppId(variant.appEnv), executablePath(),
                                                     variant.displayName());
    if (options_.loginItemOnly) return true;

    parts.application = std::make_unique<QApplication>(applicationArgc, applicationArgv);
    installMenuAccessibility();
    // Tray hosts list the icon under this name (the StatusNotifierItem Title and Id).
    QApplication::setApplicationName(QString::fromStdString(variant.displayName()));
    QApplication::setApplicationDisplayName(QString::fromStdString(variant.displayName()));
    QGuiApplication::setDesktopFileName(QString::fromStdString(desktopAppId(variant.appEnv)));
    // Alerts and the About box close without ending the app.
    QApplication::setQuitOnLastWindowClosed(false);

    parts.instance = std::make_unique<SingleInstance>(SingleInstance::defaultFolder(),
                                                      QString::fromStdString(desktopAppId(variant.appEnv)));
    switch (parts.instance->claim([this] {
        if (parts_->window) {
            parts_->window->show();
            parts_->window->raise();
            parts_->window->activateWindow();
        } else if (parts_->statusItem) {
            parts_->statusItem->openMenu();
        }
    })) {
        case SingleInstance::Role::primary:
            break;
        case SingleInstance::Role::secondary:
            // The running instance opens its menu; this start has nothing more to do, and
            // leaving is a success, not a failure.
            std::cout.flush();
            std::exit(0);
        case SingleInstance::Role::failed:
            systemLog("Another Corvane seems to be running but did not answer; starting anyway.");
            break;
    }

    parts.loop = std::make_unique<QtMainLoop>();
    parts.background = std::make_unique<ThreadBackgroundWork>();
    parts.watcher = makeSystemDirectoryWatcher(*parts.loop);
    parts.appearance = std::make_unique<QtAppearance>();
    QtPopupMenu::setDesktopShade([appearance = parts.appearance.get()] { return appearance->desktopIsDark(); });
    parts.statusItem = std::make_unique<QtStatusItem>(*parts.appearance, QString::fromStdString(variant.displayName()),
                                                      !options_.window);
    parts.menuFactory = std::make_unique<QtNativeMenuFactory>();
    parts.textMeasure = std::make_unique<QtTextMeasure>();
    parts.effects = std::make_unique<QtEffects>();
    return true;
}

LoginItem& QtShell::loginItem() { return *parts_->loginItem; }

Defaults& QtShell::defaults() { return *parts_->defaults; }

AppSeams QtShell::seams() {
    auto& parts = *parts_;
    return AppSeams{*parts.loop,    *parts.background, *parts.watcher,   *parts.statusItem, *parts.menuFactory,
                    *parts.textMeasure, *parts.effects, *parts.loginItem, *parts.defaults,   *parts.appearance};
}

std::string QtShell::bundlePath() const { return firstLaunchBundlePath(executablePath(), homeFolder()); }

void QtShell::showAbout() {
    const QString name = QString::fromStdString(parts_->variant.displayName());
    // In front of whatever window has the focus: the menu it was chosen from is gone by now.
    QMessageBox box(QMessageBox::NoIcon, QStringLiteral("About ") + name,
                    QStringLiteral("<b>%1</b><br>Version %2<br><br>Your coding-agent sessions in the panel.<br><br>"
                                   "<a href=\"%3\">%4</a>")
                        .arg(name.toHtmlEscaped(),
                             QString::fromStdString(appVersion(buildInfoDictionary())).toHtmlEscaped(),
                             QString::fromUtf8(privacyPageUrl.data(), static_cast<qsizetype>(privacyPageUrl.size())),
                             QString::fromUtf8(aboutCreditsText.data(), static_cast<qsizetype>(aboutCreditsText.size()))),
                    QMessageBox::Ok);
    box.setTextFormat(Qt::RichText);
    if (!QApplication::windowIcon().isNull()) box.setIconPixmap(QApplication::windowIcon().pixmap(64, 64));
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
}

void QtShell::systemLog(std::string_view line) {
    std::cerr << line << std::endl;
    ::syslog(LOG_USER | LOG_WARNING, "%.*s", static_cast<int>(line.size()), line.data());
}

void QtShell::showWindow() {
    auto& parts = *parts_;
    if (!parts.window) {
        parts.window = std::make_unique<QtFallbackWindow>(*parts.statusItem, QString::fromStdString(parts.variant.displayName()));
        // Without an icon in a tray the window is the app's only way in: closing it quits, like
        // any ordinary app (starting the app again brings it back). With the icon shown the app
        // goes on in the tray.
        parts.window->onClosed = [this] {
            if (parts_->statusItem->iconShown()) return;
            const std::string name = parts_->variant.displayName();
            systemLog(name + "'s window was closed and no tray shows its icon, so " + name + " quits.");
            // The session-end path: aboutToQuit runs the termination order.
            QTimer::singleShot(0, parts_->application.get(), [] { QCoreApplication::quit(); });
        };
        // In the middle of the screen's free area: clear of panels (a window manager that places
        // new windows at the origin would put its title bar under a top panel).
        if (const QScreen* screen = QGuiApplication::primaryScreen()) {
            QRect frame = parts.window->frameGeometry();
            frame.moveCenter(screen->availableGeometry().center());
            parts.window->move(frame.topLeft());
        }
    }
    parts.window->show();
    parts.window->raise();
}

int QtShell::exec(AppDelegate& app, std::function<void()> terminate) {
    auto* application = parts_->application.get();
    // A poll's answer and a rebuilt menu leave freed heap behind; hand it back to the system a
    // moment after each render, so an app that runs all day keeps a small footprint. One pending
    // trim at a time; nothing runs while the app is idle between renders.
    auto* trim = new QTimer(application);
    trim->setSingleShot(true);
    trim->setInterval(2000);
    QObject::connect(trim, &QTimer::timeout, [] { ::malloc_trim(0); });
    app.onRendered = [trim] {
        if (!trim->isActive()) trim->start();
    };
    // The session ending (logout) quits the application: run the termination order first.
    QObject::connect(application, &QCoreApplication::aboutToQuit, application, [terminate] { terminate(); });

    if (options_.window) {
        showWindow();
    } else {
        auto* statusItem = parts_->statusItem.get();
        QTimer::singleShot(trayWaitSeconds * 1000, application, [this, statusItem] {
            if (statusItem->iconShown() || parts_->window) return;
            systemLog("No system tray showed the Corvane icon within " + std::to_string(trayWaitSeconds) +
                      " seconds, so its menu opens in a window instead.");
            showWindow();
            parts_->windowStandsInForTray = true;
        });
        // A tray that comes later (the panel started after the app) takes over from the window.
        QObject::connect(statusItem, &QtStatusItem::trayIconRecreated, application, [this, statusItem] {
            if (!parts_->windowStandsInForTray || !statusItem->iconShown()) return;
            parts_->windowStandsInForTray = false;
            if (parts_->window) parts_->window->close();
            systemLog("The Corvane icon is in the tray now; its window closed.");
        });
    }
    return application->exec();
}

void QtShell::quit() {
    if (parts_->statusItem) parts_->statusItem->remove();
    QCoreApplication::exit(0);
}

std::string_view desktopShellName() { return "qt"; }

std::unique_ptr<Shell> makeDesktopShell(const ShellOptions& options) { return std::make_unique<QtShell>(options); }

}  // namespace corvane
