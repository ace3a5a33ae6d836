#include "app/LaunchAtLoginSwitch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fakes/FakeDefaults.h"
#include "fakes/FakeLoginItem.h"

namespace corvane {
namespace {

const std::string attemptKey(firstLaunchAttemptKey);
using S = LoginItemStatus;

// A switch on a fake service in `status`, keeping the lines it logs.
struct Rig {
    FakeLoginItem item;
    std::vector<std::string> log;
    LaunchAtLoginSwitch sw{item, [this](std::string_view line) { log.emplace_back(line); }};
    explicit Rig(S status) { item.current = status; }
};

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
        Rig rig(r.status);
        if (r.registerFails) rig.item.registerError = "denied";
        FakeDefaults defaults;
        if (r.flagBefore) defaults.setBoolean(attemptKey, true);
        rig.sw.offerOnFirstLaunch(defaults, r.path);
        EXPECT_EQ(rig.item.registerCalls, r.registerCalls);
        EXPECT_EQ(defaults.boolean(attemptKey), r.flagAfter);
        EXPECT_EQ(rig.log.size(), r.registerFails ? 1u : 0u);
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
        Rig rig(r.status);
        if (r.serviceFails) rig.item.registerError = rig.item.unregisterError = "busy";
        EXPECT_EQ(rig.sw.toggle(), r.toggleResult);
        EXPECT_EQ(std::pair(rig.item.registerCalls, rig.item.unregisterCalls), std::pair(r.registerCalls, r.unregisterCalls));
        EXPECT_EQ(rig.log, r.log);
    }

    // Unregistering asks the service only when there is something to undo.
    for (auto status : {S::notRegistered, S::notFound, S::enabled, S::requiresApproval}) {
        Rig rig(status);
        EXPECT_TRUE(rig.sw.unregisterApp());
        EXPECT_EQ(rig.item.unregisterCalls, status == S::enabled || status == S::requiresApproval ? 1 : 0);
    }
}

TEST(LaunchAtLoginSwitch, UninstallFlagForgetsTheAttemptAndReportsTheExitStatus) {
    for (bool fails : {false, true}) {
        Rig rig(S::enabled);
        if (fails) rig.item.unregisterError = "nope";
        FakeDefaults defaults;
        defaults.setBoolean(attemptKey, true);
        EXPECT_EQ(rig.sw.unregisterForUninstall(defaults), fails ? 1 : 0);
        EXPECT_FALSE(defaults.values.contains(attemptKey));
        EXPECT_EQ(defaults.synchronizeCalls, 1);
    }
}

}  // namespace
}  // namespace corvane
