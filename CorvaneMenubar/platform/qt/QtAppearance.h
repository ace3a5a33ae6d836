#pragma once

#include <QColor>
#include <QDBusVariant>
#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "menu/DesktopTheme.h"
#include "menu/PanelShade.h"
#include "seams/Appearance.h"

namespace corvane {

// The desktop's look as the tray icon needs it. Dark means the panel is dark (`panelShade`): the
// tray hosts draw the icon as given, so what counts is the panel's colour, never the app's own
// palette or colour-scheme preference. The panel is read where the desktop publishes it: on Xfce
// xfce4-panel's xfconf channel (over D-Bus, followed through its PropertyChanged signal), on KDE
// the colour scheme in kdeglobals and the Plasma style in plasmarc (read again on KDE's
// notifyChange signal), and for waybar (the process that owns the StatusNotifierWatcher name) the
// bar's background in its style sheet. Reduced motion comes from the portal's `org.gnome.desktop.interface`
// `enable-animations` where the desktop publishes it, and from KDE's animation speed
// (kdeglobals, read with the colour scheme); otherwise motion stays on. Everything is
// read asynchronously (start-up never waits for it); every change notifies the observers.
// GUI thread only.
class QtAppearance : public QObject, public Appearance {
    Q_OBJECT
public:
    // `readDesktop` false reads nothing (tests, and sessions without a bus): the panel is taken
    // as dark until `setPanelFacts` says more.
    explicit QtAppearance(bool readDesktop = true);
    ~QtAppearance() override;

    bool menuBarIsDark() const override;
    bool reduceMotion() const override;
    std::unique_ptr<AppearanceObservation> observe(Job onChange) override;

    // The colour template icons take: the text colour of a dark or light panel.
    QColor panelTextColour() const;

    // Whether the desktop's windows and menus are dark (DesktopTheme.h), which the app's own popup
    // follows; absent when the desktop says nothing. Read from the portal's color-scheme, KDE's
    // kdeglobals, Xfce's xsettings theme and GTK's settings.ini, and followed like the panel.
    std::optional<bool> desktopIsDark() const { return corvane::desktopIsDark(theme_); }
    void setDesktopTheme(const DesktopTheme& theme);
    const DesktopTheme& desktopTheme() const { return theme_; }

    // What was read about the panel, and what the portal said about animations (absent when not
    // published). Public so tests can feed answers.
    void setPanelFacts(const PanelFacts& facts);
    const PanelFacts& panelFacts() const { return panelFacts_; }
    void portalAnimations(std::optional<bool> enabled);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private Q_SLOTS:
    void onSettingChanged(const QString& nameSpace, const QString& key, const QDBusVariant& value);
    void onXfconfChanged(const QString& channel, const QString& property, const QDBusVariant& value);
    void readKde();
    void readTrayHost(const QString& owner);

private:
    void notify();
    void readPortal();
    void readXfconf();

    void readGtk();

    PanelFacts panelFacts_;
    DesktopTheme theme_;
    bool xfconfPending_ = false;
    std::optional<bool> animations_;
    std::optional<bool> kdeAnimationsOff_;  // KDE's animation speed is instant
    struct Observers;
    std::shared_ptr<Observers> observers_;
};

}  // namespace corvane
