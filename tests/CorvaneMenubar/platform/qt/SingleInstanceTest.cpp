#include "platform/qt/SingleInstance.h"

#include <QFile>
#include <QTest>

#include <filesystem>
#include <optional>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/TempFolder.h"

namespace corvane {
namespace {

TEST(SingleInstanceTest, LaterStartsAskTheFirstToOpenItsMenuAndStaleLocksAreTakenOver) {
    testing::TempFolder folder;
    const QString path = QString::fromStdString(folder.path());

    // A crashed instance left its lock (a pid that no longer runs) and its socket.
    {
        QFile lock(path + QStringLiteral("/app.lock"));
        ASSERT_TRUE(lock.open(QIODevice::WriteOnly));
        lock.write("999999999\ncorvane-menubar\n" + QSysInfo::machineHostName().toUtf8() + "\n");
        QFile socket(path + QStringLiteral("/app.socket"));
        ASSERT_TRUE(socket.open(QIODevice::WriteOnly));
    }

    int opened = 0;
    SingleInstance first(path, QStringLiteral("app"));
    ASSERT_EQ(first.claim([&] { ++opened; }), SingleInstance::Role::primary);

    for (int start = 1; start <= 2; ++start) {
        SingleInstance later(path, QStringLiteral("app"));
        EXPECT_EQ(later.claim([] { FAIL() << "a later start never serves"; }), SingleInstance::Role::secondary);
        EXPECT_TRUE(QTest::qWaitFor([&] { return opened == start; }, 3000)) << opened << " openings asked for";
    }

    // Another environment has its own lock.
    SingleInstance other(path, QStringLiteral("app.staging"));
    EXPECT_EQ(other.claim([] {}), SingleInstance::Role::primary);
}

// Another local user can create folders in the shared temporary folder and set the environment
// of nobody but themselves: the lock folder is used only when it is this user's own and closed
// to others, and without one every start serves rather than obey a stranger's socket.
TEST(SingleInstanceTest, TheLockFolderIsPrivateOrNotUsed) {
    testing::TempFolder root;
    const std::string ours = root / "ours", theirs = root / "theirs", open = root / "open", link = root / "link";
    const std::string tmp = root / "tmp", squatted = tmp + "/corvane-" + std::to_string(::getuid());
    for (const auto& folder : {ours, theirs, open}) std::filesystem::create_directory(folder);
    std::filesystem::permissions(ours, std::filesystem::perms::owner_all);
    std::filesystem::permissions(open, std::filesystem::perms::owner_all | std::filesystem::perms::group_read);
    ASSERT_EQ(::chown(theirs.c_str(), 65534, 65534), 0);
    std::filesystem::permissions(theirs, std::filesystem::perms::owner_all);
    std::filesystem::create_directory_symlink(ours, link);
    // A squatted or open "corvane-<uid>" is the end-to-end fault table's (the app starts on its own).
    struct Case { const char* name; std::optional<std::string> runtime; std::string folder; };
    const Case cases[] = {
        {"runtime folder", ours, ours},
        {"runtime folder others may read", open, squatted},
        {"runtime folder of another user", theirs, squatted},
        {"runtime folder is a link", link, squatted},
        {"no runtime folder", std::nullopt, squatted},
    };
    const QByteArray savedRuntime = qgetenv("XDG_RUNTIME_DIR"), savedTmp = qgetenv("TMPDIR");
    for (const auto& c : cases) {
        std::filesystem::remove_all(tmp);
        std::filesystem::create_directory(tmp);
        if (c.runtime) qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString(*c.runtime));
        else qunsetenv("XDG_RUNTIME_DIR");
        qputenv("TMPDIR", QByteArray::fromStdString(tmp));
        EXPECT_EQ(SingleInstance::defaultFolder().toStdString(), c.folder) << c.name;
    }
    qputenv("XDG_RUNTIME_DIR", savedRuntime);
    if (savedTmp.isEmpty()) qunsetenv("TMPDIR");
    else qputenv("TMPDIR", savedTmp);
    SingleInstance unguarded(QString(), QStringLiteral("app"));
    EXPECT_EQ(unguarded.claim([] {}), SingleInstance::Role::primary);
}

}  // namespace
}  // namespace corvane
