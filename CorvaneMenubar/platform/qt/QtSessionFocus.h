#pragma once

#include <cstdint>
#include <string>

namespace corvane {

// Raises the window of an agent session on X11: the top-level window (`_NET_CLIENT_LIST`) whose
// `_NET_WM_PID` is `appPid`, or an ancestor of a process attached to the terminal `tty` (the
// terminal emulator hosting it), activated through the window manager (`_NET_ACTIVE_WINDOW`).
// False when the session is not on X11, nothing matches, or the window manager is not EWMH
// compliant; the caller then falls back. GUI thread only.
bool raiseSessionWindow(const std::string& tty, std::int32_t appPid);

}  // namespace corvane
