#pragma once

// When a Linux tray app creates its tray icon. The toolkit picks the protocol once, when the first
// icon is made: StatusNotifierItem when a StatusNotifierWatcher with a registered host is on the
// session bus, XEmbed otherwise, and it never switches afterwards. An app started at login before
// its panel must therefore wait for the watcher rather than settle for XEmbed (which loses the
// panel's own menu on Xfce and KDE, and cannot work at all on Wayland).

#include <optional>

namespace corvane {

struct TrayFacts {
    // Where the app draws: XEmbed needs X11 and is impossible on Wayland; elsewhere (offscreen)
    // there is no tray protocol to choose.
    enum class Display { x11, wayland, other };
    Display display = Display::x11;
    bool sessionBus = false;          // a session bus is reachable
    bool statusNotifierHost = false;  // a watcher owns its name and reports a registered host
    // How long an X11 tray manager has been seen owning its selection; absent while there is none.
    std::optional<double> xembedTraySeconds;
    double waitedSeconds = 0;  // since the app first looked
    bool operator==(const TrayFacts&) const = default;
};

struct TrayStep {
    bool create = false;          // make the icon now (the protocol follows from the facts)
    double lookAgainSeconds = 0;  // otherwise, when to gather the facts again (0: never)
    bool operator==(const TrayStep&) const = default;
};

// How long an X11 tray manager must be there, with no watcher, before the app settles for XEmbed:
// a panel that offers both (xfce4-panel, Plasma) registers its watcher within the same moment.
inline constexpr double xembedTrayGraceSeconds = 1.5;
// Quick looks while a panel is likely still starting, slower ones after.
inline constexpr double quickLookSeconds = 10;

TrayStep trayStep(const TrayFacts& facts);

// How a copy reaches the clipboard on a Linux desktop. On Wayland a client may set the clipboard
// only while one of its surfaces has the keyboard focus; a row chosen in the panel's menu reaches
// the app over D-Bus with no focused surface, so the toolkit's clipboard silently keeps the old
// contents. An app drawn through XWayland sets only the X clipboard, which wlroots compositors do
// not hand on to Wayland apps. wl-copy (wl-clipboard) sets the Wayland clipboard through the
// compositor's data-control protocol where there is one (sway, KDE) and through a brief surface of
// its own elsewhere.
enum class ClipboardRoute { toolkit, copyTool, cannot };
struct ClipboardFacts {
    bool waylandSession = false;  // the session is Wayland (the app may still draw through XWayland)
    bool nativeWayland = false;   // the app draws on Wayland itself
    bool appHasFocus = false;     // one of the app's windows has the keyboard focus
    bool copyToolInstalled = false;
};
ClipboardRoute clipboardRoute(const ClipboardFacts& facts);

}  // namespace corvane
