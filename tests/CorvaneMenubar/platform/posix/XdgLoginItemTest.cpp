#include "platform/posix/XdgLoginItem.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

#include "support/TempFolder.h"

namespace corvane {
namespace {

std::string readAll(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(XdgLoginItemTest, EntryFollowsRegistrationAndHiddenMeansOff) {
    testing::TempFolder home;
    XdgLoginItem item(home.path(), "com.usecorvane.Menubar", "/opt/Corvane Tools/corvane-menubar", "Corvane");
    EXPECT_EQ(item.status(), LoginItemStatus::notRegistered);
    EXPECT_EQ(item.unregisterApp(), std::nullopt) << "nothing to undo";

    ASSERT_EQ(item.registerApp(), std::nullopt);
    EXPECT_EQ(item.entryPath(), home.path() + "/autostart/com.usecorvane.Menubar.desktop");
    EXPECT_EQ(item.status(), LoginItemStatus::enabled);
    const std::string text = readAll(item.entryPath());
    for (const char* line : {"[Desktop Entry]\n", "Type=Application\n", "Exec=\"/opt/Corvane Tools/corvane-menubar\"\n",
                             "X-GNOME-Autostart-Delay=", "X-KDE-autostart-after=panel\n", "X-LXQt-Need-Tray=true\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line;
    // Session managers skip an entry they cannot parse: the quoted Exec must pass the validator.
    if (::access("/usr/bin/desktop-file-validate", X_OK) == 0) {
        EXPECT_EQ(std::system(("/usr/bin/desktop-file-validate '" + item.entryPath() + "'").c_str()), 0) << text;
    }

    struct Case {
        const char* entry;
        LoginItemStatus status;
    };
    for (const Case& c : {Case{"[Desktop Entry]\nHidden=true\n", LoginItemStatus::notRegistered},
                          Case{"[Desktop Entry]\r\nX-GNOME-Autostart-enabled=false\r\n", LoginItemStatus::notRegistered},
                          Case{"[Desktop Entry]\nExec=x\n[Other]\nHidden=true\n", LoginItemStatus::enabled}}) {
        std::ofstream(item.entryPath(), std::ios::trunc) << c.entry;
        EXPECT_EQ(item.status(), c.status) << c.entry;
    }

    EXPECT_EQ(item.unregisterApp(), std::nullopt);
    EXPECT_EQ(item.status(), LoginItemStatus::notRegistered);
    EXPECT_EQ(XdgLoginItem("", "id", "/x", "X").status(), LoginItemStatus::notFound);
}

// An install path the launcher would expand (a field code and a space; a plain "%" is the
// end-to-end fault table's), an entry that is a FIFO: the entry starts exactly that program,
// nothing else is written, nothing blocks.
TEST(XdgLoginItemTest, HostilePathsAndPlantedFilesAreHarmless) {
    {
        testing::TempFolder home;
        XdgLoginItem item(home.path(), "id", "/opt/a%u b/x", "Corvane");
        ASSERT_EQ(item.registerApp(), std::nullopt);
        const std::string text = readAll(item.entryPath());
        EXPECT_NE(text.find("Exec=\"/opt/a%%u b/x\"\n"), std::string::npos) << text;
        if (::access("/usr/bin/desktop-file-validate", X_OK) == 0) {
            EXPECT_EQ(std::system(("/usr/bin/desktop-file-validate '" + item.entryPath() + "' >/dev/null").c_str()), 0) << text;
        }
    }

    // Links planted at the temporary names are the end-to-end fault table's.
    testing::TempFolder home;
    XdgLoginItem item(home.path(), "id", "/usr/bin/corvane-menubar", "Corvane");
    std::filesystem::create_directories(home / "autostart");
    ASSERT_EQ(::mkfifo(item.entryPath().c_str(), 0600), 0);
    EXPECT_EQ(item.status(), LoginItemStatus::notRegistered);
}

TEST(XdgLoginItemTest, FirstLaunchCountsInstalledPrefixesOnly) {
    struct Case {
        const char* executable;
        bool installed;
    };
    for (const Case& c : {Case{"/usr/bin/corvane-menubar", true}, Case{"/usr/local/bin/corvane-menubar", true},
                          Case{"/opt/corvane/bin/corvane-menubar", true}, Case{"/home/u/.local/bin/corvane-menubar", true},
                          Case{"/home/u/src/corvane/build/dev/CorvaneMenubar/corvane-menubar", false},
                          Case{"/usr/binx/corvane-menubar", false}, Case{"/optional/corvane-menubar", false}}) {
        const std::string seen = firstLaunchBundlePath(c.executable, "/home/u");
        EXPECT_EQ(seen.rfind("/Applications/", 0) == 0, c.installed) << c.executable << " -> " << seen;
    }
    EXPECT_EQ(desktopAppId("production"), "com.usecorvane.Menubar");
    EXPECT_EQ(desktopAppId("staging"), "com.usecorvane.Menubar.staging");
    EXPECT_EQ(desktopAppId("a b/c"), "com.usecorvane.Menubar.a_b_c");
}

}  // namespace
}  // namespace corvane
