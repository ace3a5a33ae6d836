#pragma once

// Harness app icons on Linux: the icon named by an installed application's .desktop file, or an
// icon-theme icon, tried in the order the agent row's icon word lists; else a generic application
// icon. Looked up once per word (the lookups read the disk), and again when the icon theme changes
// (`forget`) or the answers are five minutes old, so a harness installed meanwhile shows its icon.

#include <QIcon>
#include <string>

namespace corvane {

struct QtHarnessIcon {
    static QIcon forWord(const std::string& iconWord);
    // Drops every remembered icon.
    static void forget();
    // The icon of `desktopId` + ".desktop" in the applications folders, or a theme icon named
    // `desktopId`; null when neither exists.
    static QIcon lookup(const std::string& desktopId);
    // The generic icon: the theme's application icon, else a dashed rounded square.
    static QIcon generic();
};

}  // namespace corvane
