#include "TrayChoice.h"

namespace corvane {

TrayStep trayStep(const TrayFacts& facts) {
    const bool wayland = facts.display == TrayFacts::Display::wayland;
    if (facts.statusNotifierHost || facts.display == TrayFacts::Display::other) return {true, 0};
    // Without a bus no watcher can come: on X11 XEmbed is all there is, on Wayland nothing is.
    if (!facts.sessionBus) return {!wayland, 0};
    if (!wayland && facts.xembedTraySeconds && *facts.xembedTraySeconds >= xembedTrayGraceSeconds) return {true, 0};
    return {false, facts.waitedSeconds < quickLookSeconds ? 0.25 : 1.0};
}

ClipboardRoute clipboardRoute(const ClipboardFacts& facts) {
    if (!facts.waylandSession || (facts.nativeWayland && facts.appHasFocus)) return ClipboardRoute::toolkit;
    if (facts.copyToolInstalled) return ClipboardRoute::copyTool;
    // Through XWayland the X clipboard is still something X apps can paste from.
    return facts.nativeWayland ? ClipboardRoute::cannot : ClipboardRoute::toolkit;
}

}  // namespace corvane
