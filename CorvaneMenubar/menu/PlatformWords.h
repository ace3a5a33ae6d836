#pragma once

// The words of the app's own texts that differ between desktops: how a tool tip names the
// machine and the key that picks a row's other target. A Mac says "on this Mac" and
// "Option-Return"; Linux desktops say "on this computer" and "Alt+Return". Portable code takes a
// table as an argument, so both are tested anywhere; a shell passes its own (`hostWords()` in
// HostPlatform.h, or the table of the toolkit it is written for).

#include <string_view>

namespace corvane {

struct PlatformWords {
    std::string_view thisMachine;      // "this Mac" | "this computer"
    std::string_view alternateReturn;  // Return with the option key: "Option-Return" | "Alt+Return"
    std::string_view optionKey;        // "Option" | "Alt"
    bool operator==(const PlatformWords&) const = default;
};

inline constexpr PlatformWords macWords{"this Mac", "Option-Return", "Option"};
inline constexpr PlatformWords linuxWords{"this computer", "Alt+Return", "Alt"};

constexpr const PlatformWords& platformWords(bool macOS) { return macOS ? macWords : linuxWords; }

}  // namespace corvane
