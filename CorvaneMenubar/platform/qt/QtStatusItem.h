#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QSystemTrayIcon>

#include <functional>
#include <memory>
#include <optional>

#include "seams/Appearance.h"
#include "seams/StatusItem.h"
#include "menu/VectorImage.h"

class QDBusServiceWatcher;
class QTimer;


namespace corvane {

class QtAppearance;
class QtDBusMenuExport;
class QtMenuPresenter;

// The app's tray icon: a QSystemTrayIcon (a StatusNotifierItem over D-Bus when a watcher is
// there, an XEmbed icon otherwise). The icon is the vector image rasterised at every tray size,
// template images tinted with the panel's text colour and tinted again when the desktop's look
// changes. Left click opens the app's own popup at the icon; right click, and hosts that only
// show the exported menu, get its plain-text mirror, set once and kept current.
//
// Qt chooses the tray protocol once, when the first tray icon is made, so the icon is made only
// when the choice is right (`trayStep`): at once when a StatusNotifierWatcher with a host is
// there; on X11 once an XEmbed tray has stood alone for a moment; otherwise it keeps looking, so
// that an app started before its panel registers over StatusNotifierItem as soon as the panel's
// watcher is up. When the watcher changes owner (the panel restarted) the icon is created anew so
// that it registers with the new watcher. GUI thread only.
class QtStatusItem : public QObject, public StatusItem {
    Q_OBJECT
public:
    // `showInTray` false keeps the icon out of the tray (the window-only mode).
    explicit QtStatusItem(QtAppearance& appearance, const QString& placeholder = QStringLiteral("Corvane"),
                          bool showInTray = true);
    ~QtStatusItem() override;

    void setImage(const VectorImage& image) override;
    bool hasImage() const override;
    void setToolTip(const std::string& toolTip) override;
    void setMenu(std::shared_ptr<NativeMenu> menu) override;
    std::shared_ptr<NativeMenu> menu() const override;
    void remove() override;

    // Opens the app's popup at the icon (or the pointer when the host does not say where the icon
    // is). A second start of the app and the fallback window ask for this too.
    void openMenu();
    // Whether a tray shows the icon now.
    bool iconShown() const;
    QString toolTip() const { return toolTip_; }

    QtMenuPresenter& presenter() { return *presenter_; }
    QSystemTrayIcon* trayIcon() const { return tray_; }
    // The last image and the tint it was drawn with, for the fallback window.
    const std::optional<VectorImage>& image() const { return image_; }
    QIcon currentIcon() const;

Q_SIGNALS:
    // The tray icon was created (first, or again for a new watcher); `trayIcon()` is the new one.
    void trayIconRecreated();
    // The icon or the tool tip changed.
    void looksChanged();

private:
    void lookForTray();
    void createTray();
    void redraw();

    QtAppearance& appearance_;
    std::unique_ptr<QtMenuPresenter> presenter_;
    QPointer<QSystemTrayIcon> tray_;
    QtDBusMenuExport* export_ = nullptr;
    bool exportPending_ = false;  // a new tray icon whose D-Bus objects are not adopted yet
    QDBusServiceWatcher* watcher_ = nullptr;
    QTimer* look_ = nullptr;
    QElapsedTimer waited_;
    QElapsedTimer xembedSeen_;
    std::shared_ptr<NativeMenu> menu_;
    std::optional<VectorImage> image_;
    QString toolTip_;
    std::unique_ptr<AppearanceObservation> appearanceObservation_;
    bool showInTray_ = true;
    bool removed_ = false;
};

}  // namespace corvane
