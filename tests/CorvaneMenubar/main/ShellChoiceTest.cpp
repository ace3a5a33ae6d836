#include "main/ShellChoice.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

namespace corvane {
namespace {

TEST(ShellChoice, PicksTheDesktopOnlyWhenOneWasBuiltAndCanShow) {
    using K = ShellKind;
    struct Row {
        bool headlessFlag, loginItemOnly;
        std::string_view desktop;
        bool isMacOS;
        std::map<std::string, std::string, std::less<>> env;
        K kind;
        std::string noticeHas;  // empty: no notice
    };
    const Row rows[] = {
        {true, false, "qt", false, {{"DISPLAY", ":0"}}, K::headless, ""},  // asked for: no notice
        {false, false, "qt", false, {{"DISPLAY", ":0"}}, K::desktop, ""},
        {false, false, "qt", false, {{"WAYLAND_DISPLAY", "wayland-0"}}, K::desktop, ""},
        {false, false, "qt", false, {{"DISPLAY", ""}}, K::headless, "no display"},  // empty counts as unset
        {false, false, "qt", false, {}, K::headless, "no display"},
        {false, false, "appkit", true, {}, K::desktop, ""},  // a Mac always has its menu bar
        {false, false, "", false, {{"DISPLAY", ":0"}}, K::headless, "no desktop shell"},
        {false, false, "", true, {}, K::headless, "no desktop shell"},
        {false, true, "qt", false, {}, K::desktop, ""},  // unregistering needs no display
        {true, true, "qt", false, {}, K::headless, ""},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(&r - rows);
        const auto choice = chooseShell({r.headlessFlag, r.loginItemOnly, r.desktop, r.isMacOS,
                                         [&](std::string_view name) -> std::optional<std::string> {
                                             auto found = r.env.find(name);
                                             if (found == r.env.end()) return std::nullopt;
                                             return found->second;
                                         }});
        EXPECT_EQ(choice.kind, r.kind);
        if (r.noticeHas.empty()) {
            EXPECT_EQ(choice.notice, "");
        } else {
            EXPECT_NE(choice.notice.find(r.noticeHas), std::string::npos) << choice.notice;
        }
    }
}

TEST(ShellChoice, DropsOnlyTheArgumentsLaunchServicesAdds) {
    const std::pair<std::string_view, bool> rows[] = {
        {"-psn_0_989382", true},  // a quarantined app's first launch from Finder
        {"-psn_0_1", true},
        {"-psn", false},  // not the system's form: left for the usage error
        {"--psn_0_1", false},
        {"--headless", false},
        {"", false},
    };
    for (const auto& [argument, dropped] : rows) EXPECT_EQ(isLaunchServicesArgument(argument), dropped) << argument;
}

}  // namespace
}  // namespace corvane
