#include "QtAppearance.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QEvent>
#include <QFile>
#include <QTimer>
#include <QGuiApplication>

#include <map>

#include "QtHarnessIcon.h"

namespace corvane {
namespace {
const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString gnomeInterfaceNamespace = QStringLiteral("org.gnome.desktop.interface");
const QString xfconfService = QStringLiteral("org.xfce.Xfconf");
const QString xfconfPath = QStringLiteral("/org/xfce/Xfconf");
const QString panelChannel = QStringLiteral("xfce4-panel");
const QString xsettingsChannel = QStringLiteral("xsettings");
const QString themeNameProperty = QStringLiteral("/Net/ThemeName");
const QString appearanceNamespace = QStringLiteral("org.freedesktop.appearance");

QString configFolder() {
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty()) config = QDir::homePath() + QStringLiteral("/.config");
    return config;
}

// Read answers a variant that older portals wrap in one more variant.
QVariant unwrap(QVariant value) {
    for (int depth = 0; depth < 4 && value.canConvert<QDBusVariant>(); ++depth)
        value = value.value<QDBusVariant>().variant();
    return value;
}
// One xfconf value as text: booleans "true" or "false", numbers as written, arrays joined by ",".
QString xfconfText(const QVariant& value, int depth = 0) {
    const QVariant plain = unwrap(value);
    if (plain.canConvert<QDBusArgument>()) {
        const auto argument = plain.value<QDBusArgument>();
        if (depth > 0 || argument.currentType() != QDBusArgument::ArrayType) return {};
        QStringList parts;
        argument.beginArray();
        while (!argument.atEnd()) {
            QDBusVariant element;
            argument >> element;
            if (parts.size() < 64) parts << xfconfText(element.variant(), depth + 1);
        }
        argument.endArray();
        return parts.join(QLatin1Char(','));
    }
    if (plain.typeId() == QMetaType::Bool) return plain.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    return plain.toString();
}

bool desktopIs(const QString& name) {
    const auto desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(QLatin1Char(':'));
    return desktops.contains(name, Qt::CaseInsensitive);
}

// A settings file of the user's, read up to a bound (it is only ever a few kilobytes).
std::string settingsText(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return file.read(256 * 1024).toStdString();
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

QtAppearance::QtAppearance(bool readDesktop) : observers_(std::make_shared<Observers>()) {
    qApp->installEventFilter(this);
    panelFacts_.desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP").left(200).toStdString();
    if (!readDesktop) return;
    readGtk();
    readPortal();
    auto bus = QDBusConnection::sessionBus();
    if (desktopIs(QStringLiteral("XFCE")) && bus.isConnected()) {
        bus.connect(xfconfService, xfconfPath, xfconfService, QStringLiteral("PropertyChanged"), this,
                    SLOT(onXfconfChanged(QString, QString, QDBusVariant)));
        readXfconf();
        auto message = QDBusMessage::createMethodCall(xfconfService, xfconfPath, xfconfService, QStringLiteral("GetProperty"));
        message << xsettingsChannel << themeNameProperty;
        auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message, 2000), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
            call->deleteLater();
            QDBusPendingReply<QDBusVariant> reply = *call;
            if (!reply.isError()) onXfconfChanged(xsettingsChannel, themeNameProperty, reply.value());
        });
    }
    if (bus.isConnected()) {
        const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
        auto* watcher = new QDBusServiceWatcher(watcherName, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
                [this](const QString&, const QString&, const QString& owner) { readTrayHost(owner); });
        const auto owner = bus.interface()->serviceOwner(watcherName);
        if (owner.isValid()) readTrayHost(owner.value());
    }
    if (desktopIs(QStringLiteral("KDE"))) {
        if (bus.isConnected())
            bus.connect(QString(), QStringLiteral("/KGlobalSettings"), QStringLiteral("org.kde.KGlobalSettings"),
                        QStringLiteral("notifyChange"), this, SLOT(readKde()));
        readKde();
    }
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
    read(gnomeInterfaceNamespace, QStringLiteral("enable-animations"));
    read(appearanceNamespace, QStringLiteral("color-scheme"));
}

void QtAppearance::readXfconf() {
    auto bus = QDBusConnection::sessionBus();
    auto message = QDBusMessage::createMethodCall(xfconfService, xfconfPath, xfconfService, QStringLiteral("GetAllProperties"));
    message << panelChannel << QStringLiteral("/");
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message, 2000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        QDBusPendingReply<QVariantMap> reply = *call;
        if (reply.isError()) return;
        std::map<std::string, std::string> channel;
        const QVariantMap properties = reply.value();
        for (auto it = properties.begin(); it != properties.end() && channel.size() < 2000; ++it)
            channel.emplace(it.key().toStdString(), xfconfText(it.value()).toStdString());
        PanelFacts facts = panelFacts_;
        facts.xfceDarkMode.reset();
        facts.background.reset();
        readXfcePanel(channel, facts);
        setPanelFacts(facts);
    });
}

void QtAppearance::readGtk() {
    DesktopTheme theme = theme_;
    theme.gtkThemeName.clear();
    theme.gtkPreferDark.reset();
    for (const auto* version : {"gtk-4.0", "gtk-3.0"}) {
        const auto text = settingsText(configFolder() + QLatin1Char('/') + QLatin1String(version) + QStringLiteral("/settings.ini"));
        if (text.empty()) continue;
        readGtkSettings(text, theme);
        break;
    }
    setDesktopTheme(theme);
}

void QtAppearance::setDesktopTheme(const DesktopTheme& theme) {
    if (theme == theme_) return;
    theme_ = theme;
    notify();
}

void QtAppearance::onXfconfChanged(const QString& channel, const QString& property, const QDBusVariant& value) {
    if (channel == xsettingsChannel && property == themeNameProperty) {
        DesktopTheme theme = theme_;
        theme.gtkThemeName = xfconfText(value.variant()).left(200).toStdString();
        if (theme.gtkThemeName.empty()) readGtk();
        else setDesktopTheme(theme);
        return;
    }
    // A panel's settings change several properties at once: read them all once the burst is over.
    if (channel != panelChannel || xfconfPending_) return;
    xfconfPending_ = true;
    QTimer::singleShot(100, this, [this] {
        xfconfPending_ = false;
        readXfconf();
    });
}

void QtAppearance::readKde() {
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty()) config = QDir::homePath() + QStringLiteral("/.config");
    PanelFacts facts = panelFacts_;
    facts.plasmaStyleDark.reset();
    facts.background.reset();
    const auto kdeglobals = settingsText(config + QStringLiteral("/kdeglobals"));
    readKdePanel(kdeglobals, settingsText(config + QStringLiteral("/plasmarc")), facts);
    if (const auto off = readKdeAnimationsOff(kdeglobals); off != kdeAnimationsOff_) {
        kdeAnimationsOff_ = off;
        if (facts == panelFacts_) notify();
    }
    setPanelFacts(facts);
    DesktopTheme theme = theme_;
    theme.kdeWindow.reset();
    readKdeColours(kdeglobals, theme);
    setDesktopTheme(theme);
}

void QtAppearance::readTrayHost(const QString& owner) {
    PanelFacts facts = panelFacts_;
    if (facts.host == "waybar") facts.background.reset();
    facts.host.clear();
    const auto pid = owner.isEmpty() ? QDBusReply<uint>() : QDBusConnection::sessionBus().interface()->servicePid(owner);
    if (pid.isValid()) {
        const QString proc = QStringLiteral("/proc/%1/").arg(pid.value());
        facts.host = QString::fromStdString(settingsText(proc + QStringLiteral("comm"))).trimmed().left(64).toStdString();
        if (facts.host == "waybar") {
            // Its style sheet: the one given with -s/--style, else the first in the XDG folders.
            const auto arguments = QByteArray::fromStdString(settingsText(proc + QStringLiteral("cmdline"))).split('\0');
            QString style;
            for (qsizetype i = 0; i + 1 < arguments.size(); ++i)
                if (arguments[i] == "-s" || arguments[i] == "--style") style = QString::fromLocal8Bit(arguments[i + 1]);
            QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
            if (config.isEmpty()) config = QDir::homePath() + QStringLiteral("/.config");
            QStringList candidates{config + QStringLiteral("/waybar/style.css")};
            for (const auto& folder : qEnvironmentVariable("XDG_CONFIG_DIRS", QStringLiteral("/etc/xdg")).split(QLatin1Char(':')))
                candidates << folder + QStringLiteral("/waybar/style.css");
            if (!style.isEmpty()) candidates.prepend(style);
            for (const auto& path : candidates) {
                if (!QFile::exists(path)) continue;
                readWaybarStyle(settingsText(path), facts);
                break;
            }
        }
    }
    setPanelFacts(facts);
}

void QtAppearance::onSettingChanged(const QString& nameSpace, const QString& key, const QDBusVariant& value) {
    const QVariant plain = unwrap(value.variant());
    if (nameSpace == gnomeInterfaceNamespace && key == QStringLiteral("enable-animations")) {
        portalAnimations(plain.typeId() == QMetaType::Bool ? std::optional<bool>(plain.toBool()) : std::nullopt);
    }
    if (nameSpace == appearanceNamespace && key == QStringLiteral("color-scheme")) {
        DesktopTheme theme = theme_;
        bool ok = false;
        const uint scheme = plain.toUInt(&ok);
        theme.colorScheme = ok ? std::optional<std::uint32_t>(scheme) : std::nullopt;
        setDesktopTheme(theme);
    }
}

void QtAppearance::setPanelFacts(const PanelFacts& facts) {
    if (facts == panelFacts_) return;
    panelFacts_ = facts;
    notify();
}

void QtAppearance::portalAnimations(std::optional<bool> enabled) {
    if (enabled == animations_) return;
    animations_ = enabled;
    notify();
}

bool QtAppearance::menuBarIsDark() const { return panelShade(panelFacts_).dark; }

bool QtAppearance::reduceMotion() const { return motionReduced(animations_, kdeAnimationsOff_); }

QColor QtAppearance::panelTextColour() const {
    const Rgb ink = panelInk(menuBarIsDark());
    return QColor(ink.red, ink.green, ink.blue);
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
    if (watched == qApp && (event->type() == QEvent::ApplicationPaletteChange || event->type() == QEvent::ThemeChange)) {
        // Another icon theme may hold other harness icons.
        if (event->type() == QEvent::ThemeChange) QtHarnessIcon::forget();
        notify();
    }
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
