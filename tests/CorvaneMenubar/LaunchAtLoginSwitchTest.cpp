#include "LaunchAtLoginSwitch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fakes/FakeDefaults.h"
#include "fakes/FakeLoginItem.h"

namespace corvane {
namespace {

const std::string attemptKey(firstLaunchAttemptKey);

TEST(LaunchAtLoginSwitch, FirstLaunchSetsTheFlagOnlyWhenTheDecisionWasCarriedOut) {
    struct Row {
        const char* name;
        const char* path;
        LoginItemStatus status;
        bool registerFails;
        bool flagBefore;
        int expectedRegisterCalls;
        bool expectedFlag;
    };
    const Row rows[] = {
        {"installed app registers", "/Applications/Corvane.app", LoginItemStatus::notRegistered, false, false, 1, true},
        {"failed registration retries next launch", "/Applications/Corvane.app", LoginItemStatus::notRegistered, true,
         false, 1, false},
        {"already enabled is remembered", "/Applications/Corvane.app", LoginItemStatus::enabled, false, false, 0, true},
        {"build folder skips without remembering", "/home/me/build/corvane-menubar", LoginItemStatus::notRegistered,
         false, false, 0, false},
        {"attempted before does nothing", "/Applications/Corvane.app", LoginItemStatus::notRegistered, false, true, 0,
         true},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        FakeLoginItem item;
        item.current = r.status;
        if (r.registerFails) item.registerError = "denied";
        FakeDefaults defaults;
        if (r.flagBefore) defaults.setBoolean(attemptKey, true);
        std::vector<std::string> log;
        LaunchAtLoginSwitch sw(item, [&](std::string_view line) { log.emplace_back(line); });
        sw.offerOnFirstLaunch(defaults, r.path);
        EXPECT_EQ(item.registerCalls, r.expectedRegisterCalls);
        EXPECT_EQ(defaults.boolean(attemptKey), r.expectedFlag);
        EXPECT_EQ(log.size(), r.registerFails ? 1u : 0u);
    }
}

TEST(LaunchAtLoginSwitch, ToggleAndUnregisterFollowTheServiceStatus) {
    struct Row {
        const char* name;
        LoginItemStatus status;
        bool serviceFails;
        bool toggleResult;
        int registerCalls, unregisterCalls;
        std::vector<std::string> log;
    };
    const std::vector<Row> rows = {
        {"enabled switches off", LoginItemStatus::enabled, false, true, 0, 1, {}},
        {"failed switch off is logged", LoginItemStatus::enabled, true, false, 0, 1,
         {"Launch at Login toggle failed: busy"}},
        {"not registered switches on", LoginItemStatus::notRegistered, false, true, 1, 0, {}},
        {"awaiting approval registers again", LoginItemStatus::requiresApproval, false, true, 1, 0, {}},
        {"failed switch on is logged", LoginItemStatus::notFound, true, false, 1, 0,
         {"Launch at Login registration failed: busy"}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        FakeLoginItem item;
        item.current = r.status;
        if (r.serviceFails) item.registerError = item.unregisterError = "busy";
        std::vector<std::string> log;
        LaunchAtLoginSwitch sw(item, [&](std::string_view line) { log.emplace_back(line); });
        EXPECT_EQ(sw.toggle(), r.toggleResult);
        EXPECT_EQ(item.registerCalls, r.registerCalls);
        EXPECT_EQ(item.unregisterCalls, r.unregisterCalls);
        EXPECT_EQ(log, r.log);
    }

    // Unregistering asks the service only when there is something to undo.
    for (auto status : {LoginItemStatus::notRegistered, LoginItemStatus::notFound, LoginItemStatus::enabled,
                        LoginItemStatus::requiresApproval}) {
        FakeLoginItem item;
        item.current = status;
        LaunchAtLoginSwitch sw(item, nullptr);
        EXPECT_TRUE(sw.unregisterApp());
        const bool registered = status == LoginItemStatus::enabled || status == LoginItemStatus::requiresApproval;
        EXPECT_EQ(item.unregisterCalls, registered ? 1 : 0);
    }
}

TEST(LaunchAtLoginSwitch, UninstallFlagForgetsTheAttemptAndReportsTheExitStatus) {
    for (bool fails : {false, true}) {
        FakeLoginItem item;
        item.current = LoginItemStatus::enabled;
        if (fails) item.unregisterError = "nope";
        FakeDefaults defaults;
        defaults.setBoolean(attemptKey, true);
        LaunchAtLoginSwitch sw(item, nullptr);
        EXPECT_EQ(sw.unregisterForUninstall(defaults), fails ? 1 : 0);
        EXPECT_FALSE(defaults.values.contains(attemptKey));
        EXPECT_EQ(defaults.synchronizeCalls, 1);
    }
}

}  // namespace
}  // namespace corvane
