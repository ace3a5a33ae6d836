#pragma once

#include <QColor>
#include <QDBusVariant>
#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "seams/Appearance.h"

namespace corvane {

// The desktop's look as the tray icon needs it. Dark comes from the desktop portal's
// `org.freedesktop.appearance` `color-scheme` (1 prefer dark, 2 prefer light) and, when the portal
// is missing or has no preference, from the application palette (window text lighter than the
// window). Reduced motion comes from the portal's `org.gnome.desktop.interface`
// `enable-animations` where the desktop publishes it; otherwise motion stays on. The portal is
// read asynchronously (start-up never waits for it) and its `SettingChanged` signal, like a
// palette or theme change, notifies every observer. GUI thread only.
class QtAppearance : public QObject, public Appearance {
    Q_OBJECT
public:
    // `usePortal` false keeps to the palette (tests, and sessions without a bus).
    explicit QtAppearance(bool usePortal = true);
    ~QtAppearance() override;

    bool menuBarIsDark() const override;
    bool reduceMotion() const override;
    std::unique_ptr<AppearanceObservation> observe(Job onChange) override;

    // The colour template icons take: the text colour of a dark or light panel.
    QColor panelTextColour() const;

    // What the portal said: `colorScheme` 0 (no preference), 1 (dark) or 2 (light);
    // `animations` absent when not published. Public so tests can feed portal answers.
    void portalColorScheme(std::optional<std::uint32_t> colorScheme);
    void portalAnimations(std::optional<bool> enabled);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private Q_SLOTS:
    void onSettingChanged(const QString& nameSpace, const QString& key, const QDBusVariant& value);

private:
    void notify();
    void readPortal();

    std::optional<std::uint32_t> colorScheme_;
    std::optional<bool> animations_;
    struct Observers;
    std::shared_ptr<Observers> observers_;
};

}  // namespace corvane
