#include "LaunchAtLogin.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(LaunchAtLogin, FirstLaunchDecision) {
    using enum FirstLaunchLaunchAtLogin;
    struct Row { const char* path; bool attempted, enabled; FirstLaunchLaunchAtLogin expected; };
    const Row rows[] = {
        {"/Applications/Corvane.app", false, false, registerApp}, {"/Applications/Corvane.app/", false, false, registerApp},
        {"/Users/me/Applications/Corvane.app", false, false, registerApp}, {"/Applications/Corvane.app", true, false, skip},
        {"/Applications/Corvane.app", true, true, skip}, {"/Applications/Corvane.app", false, true, remember},
        {"/Users/me/Downloads/Corvane.app", false, true, remember}, {"/Users/me/Downloads/Corvane.app", false, false, skip},
        {"/Users/me/MyApplications/Corvane.app", false, false, skip}, {"/Applications/Sub/Corvane.app", false, false, skip},
        {"/Volumes/Corvane/Corvane.app", false, false, skip}, {"Corvane.app", false, false, skip}, {"", false, false, skip},
    };
    for (const auto& r : rows)
        EXPECT_EQ(firstLaunchLaunchAtLoginAction(r.path, r.attempted, r.enabled), r.expected)
            << r.path << " attempted=" << r.attempted << " enabled=" << r.enabled;
}

}  // namespace
}  // namespace corvane
