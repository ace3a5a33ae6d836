#pragma once

// Harness app icons on Linux: the icon named by an installed application's .desktop file, or an
// icon-theme icon, tried in the order the agent row's icon word lists; else a generic application
// icon. Looked up once per word (the lookups read the disk), and again when the icon theme changes
// (`forget`) or the answers are five minutes old, so a harness installed meanwhile shows its icon.
// An icon file the .desktop file names is read within bounds and decoded at once (`fromFile`).

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
    // The image file at `path` as an icon, decoded at the sizes rows draw; null when it is not a
    // regular file within `harnessIconFileLimit`, is a raster image larger than
    // `harnessIconSideLimit` on a side, an SVG `isRenderableSvgIcon` refuses, or does not decode.
    static QIcon fromFile(const QString& path);
    // The generic icon, the same on every theme: a grey window outline.
    static QIcon generic();
};

}  // namespace corvane
