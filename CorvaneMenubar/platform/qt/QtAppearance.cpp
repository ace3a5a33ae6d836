#include "QtAppearance.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>

#include <map>

namespace corvane {
namespace {
const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearanceNamespace = QStringLiteral("org.freedesktop.appearance");
const QString gnomeInterfaceNamespace = QStringLiteral("org.gnome.desktop.interface");

// Read answers a variant that older portals wrap in one more variant.
QVariant unwrap(QVariant value) {
    for (int depth = 0; depth < 4 && value.canConvert<QDBusVariant>(); ++depth)
        value = value.value<QDBusVariant>().variant();
    return value;
}
}  // namespace

struct QtAppearance::Observers {
    std::map<std::uint64_t, Job> jobs;
    std::uint64_t next = 0;
};

namespace {
class QtAppearanceObservation : public AppearanceObservation {
public:
    QtAppearanceObservation(std::weak_ptr<void> observers, std::function<void()> stop)
        : observers_(std::move(observers)), stop_(std::move(stop)) {}
    ~QtAppearanceObservation() override {
        if (observers_.lock()) stop_();
    }

private:
    std::weak_ptr<void> observers_;
    std::function<void()> stop_;
};
}  // namespace

QtAppearance::QtAppearance(bool usePortal) : observers_(std::make_shared<Observers>()) {
    qApp->installEventFilter(this);
    if (usePortal) readPortal();
}

QtAppearance::~QtAppearance() {
    if (qApp) qApp->removeEventFilter(this);
}

void QtAppearance::readPortal() {
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return;
    bus.connect(portalService, portalPath, settingsInterface, QStringLiteral("SettingChanged"), this,
                SLOT(onSettingChanged(QString, QString, QDBusVariant)));
    auto read = [this, &bus](const QString& nameSpace, const QString& key) {
        auto message = QDBusMessage::createMethodCall(portalService, portalPath, settingsInterface, QStringLiteral("Read"));
        message << nameSpace << key;
        auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message, 2000), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, nameSpace, key](QDBusPendingCallWatcher* call) {
            call->deleteLater();
            QDBusPendingReply<QVariant> reply = *call;
            if (reply.isError()) return;
            onSettingChanged(nameSpace, key, QDBusVariant(unwrap(reply.value())));
        });
    };
    read(appearanceNamespace, QStringLiteral("color-scheme"));
    read(gnomeInterfaceNamespace, QStringLiteral("enable-animations"));
}

void QtAppearance::onSettingChanged(const QString& nameSpace, const QString& key, const QDBusVariant& value) {
    const QVariant plain = unwrap(value.variant());
    if (nameSpace == appearanceNamespace && key == QStringLiteral("color-scheme")) {
        bool ok = false;
        const uint scheme = plain.toUInt(&ok);
        portalColorScheme(ok ? std::optional<std::uint32_t>(scheme) : std::nullopt);
    } else if (nameSpace == gnomeInterfaceNamespace && key == QStringLiteral("enable-animations")) {
        portalAnimations(plain.typeId() == QMetaType::Bool ? std::optional<bool>(plain.toBool()) : std::nullopt);
    }
}

void QtAppearance::portalColorScheme(std::optional<std::uint32_t> colorScheme) {
    if (colorScheme == colorScheme_) return;
    colorScheme_ = colorScheme;
    notify();
}

void QtAppearance::portalAnimations(std::optional<bool> enabled) {
    if (enabled == animations_) return;
    animations_ = enabled;
    notify();
}

bool QtAppearance::menuBarIsDark() const {
    if (colorScheme_ == 1u) return true;
    if (colorScheme_ == 2u) return false;
    const QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::WindowText).lightness() > palette.color(QPalette::Window).lightness();
}

bool QtAppearance::reduceMotion() const { return animations_ == false; }

QColor QtAppearance::panelTextColour() const {
    // The greys the attention icon draws with on dark and light bars, so every state matches.
    return menuBarIsDark() ? QColor::fromRgbF(0.95f, 0.95f, 0.95f) : QColor::fromRgbF(0.1f, 0.1f, 0.1f);
}

std::unique_ptr<AppearanceObservation> QtAppearance::observe(Job onChange) {
    const auto id = observers_->next++;
    observers_->jobs.emplace(id, std::move(onChange));
    std::weak_ptr<Observers> weak = observers_;
    return std::make_unique<QtAppearanceObservation>(observers_, [weak, id] {
        if (auto observers = weak.lock()) observers->jobs.erase(id);
    });
}

bool QtAppearance::eventFilter(QObject* watched, QEvent* event) {
    if (watched == qApp && (event->type() == QEvent::ApplicationPaletteChange || event->type() == QEvent::ThemeChange))
        notify();
    return QObject::eventFilter(watched, event);
}

void QtAppearance::notify() {
    // A job may end its own observation: iterate over a copy of the ids.
    std::vector<std::uint64_t> ids;
    for (const auto& [id, job] : observers_->jobs) ids.push_back(id);
    auto keep = observers_;
    for (auto id : ids) {
        auto found = keep->jobs.find(id);
        if (found == keep->jobs.end()) continue;
        auto job = found->second;
        job();
    }
}

}  // namespace corvane
