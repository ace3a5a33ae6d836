#include "platform/qt/SingleInstance.h"

#include <QFile>
#include <QTest>

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

}  // namespace
}  // namespace corvane
