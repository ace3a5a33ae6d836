#pragma once

// The few facts about the operating system that portable code must ask for. Each system has its
// own implementation file (HostPlatformLinux.cpp, HostPlatformApple.cpp), chosen by CMake.

#include <string>

#include "menu/PlatformWords.h"

namespace corvane {

// The running executable's absolute path with symbolic links resolved; empty when unknown.
// Linux: /proc/self/exe; macOS: _NSGetExecutablePath, then realpath.
std::string executablePath();

// True on macOS (the log lives under ~/Library/Logs; the menu bar is always there).
bool hostIsMacOS();

// The words of this system's desktop ("on this Mac" or "on this computer", "Option-Return" or
// "Alt+Return").
inline const PlatformWords& hostWords() { return platformWords(hostIsMacOS()); }

// A pipe whose both ends are close-on-exec (and non-blocking when asked), so that no child
// process inherits it. False when it could not be made; `fds` is then left at -1.
bool openPipe(int fds[2], bool nonBlocking);

}  // namespace corvane
