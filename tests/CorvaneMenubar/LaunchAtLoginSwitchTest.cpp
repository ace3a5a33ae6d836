#include "LaunchAtLoginSwitch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fakes/FakeDefaults.h"
#include "fakes/FakeLoginItem.h"

namespace corvane {
namespace {

const std::string attemptKey(firstLaunchAttemptKey);
using S = LoginItemStatus;

TEST(LaunchAtLoginSwitch, FirstLaunchSetsTheFlagOnlyWhenTheDecisionWasCarriedOut) {
    const std::string app = "/Applications/Corvane.app";
    struct Row { std::string path; S status; bool registerFails, flagBefore; int registerCalls; bool flagAfter; };
    const Row rows[] = {
        // A failed registration retries next launch; a build folder is skipped and forgotten.
        {app, S::notRegistered, false, false, 1, true}, {app, S::notRegistered, true, false, 1, false},
        {"/home/me/build/corvane-menubar", S::notRegistered, false, false, 0, false}, {app, S::notRegistered, false, true, 0, true},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(&r - rows);
        FakeLoginItem item;
        item.current = r.status;
        if (r.registerFails) item.registerError = "denied";
        FakeDefaults defaults;
        if (r.flagBefore) defaults.setBoolean(attemptKey, true);
        std::vector<std::string> log;
        LaunchAtLoginSwitch sw(item, [&](std::string_view line) { log.emplace_back(line); });
        sw.offerOnFirstLaunch(defaults, r.path);
        EXPECT_EQ(item.registerCalls, r.registerCalls);
        EXPECT_EQ(defaults.boolean(attemptKey), r.flagAfter);
        EXPECT_EQ(log.size(), r.registerFails ? 1u : 0u);
    }
}

TEST(LaunchAtLoginSwitch, ToggleAndUnregisterFollowTheServiceStatus) {
    struct Row { S status; bool serviceFails, toggleResult; int registerCalls, unregisterCalls; std::vector<std::string> log; };
    const Row rows[] = {
        {S::enabled, false, true, 0, 1, {}},
        {S::enabled, true, false, 0, 1, {"Launch at Login toggle failed: busy"}},
        {S::requiresApproval, false, true, 1, 0, {}},  // awaiting approval registers again
        {S::notFound, true, false, 1, 0, {"Launch at Login registration failed: busy"}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(&r - rows);
        FakeLoginItem item;
        item.current = r.status;
        if (r.serviceFails) item.registerError = item.unregisterError = "busy";
        std::vector<std::string> log;
        LaunchAtLoginSwitch sw(item, [&](std::string_view line) { log.emplace_back(line); });
        EXPECT_EQ(sw.toggle(), r.toggleResult);
        EXPECT_EQ(std::pair(item.registerCalls, item.unregisterCalls), std::pair(r.registerCalls, r.unregisterCalls));
        EXPECT_EQ(log, r.log);
    }

    // Unregistering asks the service only when there is something to undo.
    for (auto status : {S::notRegistered, S::notFound, S::enabled, S::requiresApproval}) {
        FakeLoginItem item;
        item.current = status;
        EXPECT_TRUE(LaunchAtLoginSwitch(item, nullptr).unregisterApp());
        EXPECT_EQ(item.unregisterCalls, status == S::enabled || status == S::requiresApproval ? 1 : 0);
    }
}

TEST(LaunchAtLoginSwitch, UninstallFlagForgetsTheAttemptAndReportsTheExitStatus) {
    for (bool fails : {false, true}) {
        FakeLoginItem item;
        item.current = S::enabled;
        if (fails) item.unregisterError = "nope";
        FakeDefaults defaults;
        defaults.setBoolean(attemptKey, true);
        EXPECT_EQ(LaunchAtLoginSwitch(item, nullptr).unregisterForUninstall(defaults), fails ? 1 : 0);
        EXPECT_FALSE(defaults.values.contains(attemptKey));
        EXPECT_EQ(defaults.synchronizeCalls, 1);
    }
}

}  // namespace
}  // namespace corvane
