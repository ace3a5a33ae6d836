#include "platform/qt/QtHarnessIcon.h"

#include <QImage>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "support/TempFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;

// An icon file named by an application's .desktop file is whatever its author made it. Each row
// plants one as `Icon=`; the lookup comes back at once, with the icon when it is a sound one and
// with nothing (so the generic icon) otherwise.
TEST(QtHarnessIconTest, AnIconFileIsReadWithinBoundsOrNotAtAll) {
    testing::TempFolder folder;
    const fs::path data = folder / "data", icon = folder / "icon";
    fs::create_directories(data / "applications");
    const auto write = [&](const std::string& svgBody) {
        std::ofstream(icon) << R"(<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink")"
                            << R"( width="16" height="16">)" << svgBody << "</svg>";
    };
    const auto png = [&](int side) {
        QImage image(side, side, QImage::Format_ARGB32);
        image.fill(Qt::red);
        image.save(QString::fromStdString(icon.string()), "PNG");
    };
    std::string uses = R"(<rect id="r" width="1" height="1"/>)", deep;
    for (int i = 0; i < 17; ++i) uses += R"(<use xlink:href="#r"/>)";
    for (int i = 0; i < 40; ++i) deep = "<g>" + deep + "</g>";
    const struct {
        const char* name;
        std::function<void()> plant;
        bool loads;
    } rows[] = {
        {"a small PNG", [&] { png(32); }, true},
        {"an SVG", [&] { write(R"(<rect width="8" height="8" fill="red"/>)"); }, true},
        {"an SVG with a document type", [&] {
             std::ofstream(icon) << R"(<!DOCTYPE svg PUBLIC "-//W3C//DTD SVG 1.1//EN" "svg11.dtd">)"
                                 << R"(<svg xmlns="http://www.w3.org/2000/svg" width="16" height="16"><rect width="8" height="8"/></svg>)";
         }, true},
        {"a PNG of 1,500 px a side", [&] { png(1500); }, false},
        {"an SVG with 17 uses", [&] { write(uses); }, false},
        {"an SVG with entities", [&] { std::ofstream(icon) << "<!DOCTYPE svg [<!ENTITY a \"aa\">]><svg>&a;</svg>"; }, false},
        {"an SVG nested 40 deep", [&] { write(deep); }, false},
        {"an SVG over the size cap", [&] { write("<!--" + std::string(600 * 1024, 'x') + "-->"); }, false},
        {"a FIFO", [&] { mkfifo(icon.c_str(), 0600); }, false},
        {"a link to /dev/zero", [&] { fs::create_symlink("/dev/zero", icon); }, false},
        {"no file", [] {}, false},
        {"bytes that are no image", [&] { std::ofstream(icon) << std::string(4096, '\x7f'); }, false},
    };
    setenv("XDG_DATA_HOME", data.c_str(), 1);
    setenv("XDG_DATA_DIRS", (folder / "none").c_str(), 1);
    int id = 0;
    for (const auto& row : rows) {
        fs::remove(icon);
        row.plant();
        const std::string desktopId = "corvane-test-app-" + std::to_string(++id);
        std::ofstream(data / "applications" / (desktopId + ".desktop")) << "[Desktop Entry]\nIcon=" << icon.string();
        const QIcon found = QtHarnessIcon::lookup(desktopId);
        EXPECT_EQ(!found.isNull() && !found.pixmap(16).isNull(), row.loads) << row.name;
    }
    mkfifo((data / "applications/corvane-test-fifo.desktop").c_str(), 0600);  // the .desktop file itself
    EXPECT_TRUE(QtHarnessIcon::lookup("corvane-test-fifo").isNull());
    unsetenv("XDG_DATA_HOME");
    unsetenv("XDG_DATA_DIRS");
}

}  // namespace
}  // namespace corvane
