#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "app/ActionRunner.h"
#include "app/MacDecisions.h"
#include "support/MenuRows.h"
#include "TerminalScript.h"

namespace corvane {
namespace {

// The patch number shows only when there is one; activating ignores other apps before macOS 14.
TEST(MacDecisions, VersionTextAndActivation) {
    const std::vector<std::tuple<OsVersion, std::string, bool>> rows = {
        {{13, 6, 4}, "macOS 13.6.4", true}, {{14, 0, 0}, "macOS 14.0", false}};
    for (const auto& [version, text, ignoring] : rows) {
        EXPECT_EQ(macOSVersionText(version), text);
        EXPECT_EQ(activationOptions(version).ignoringOtherApps, ignoring) << text;
    }
}

TEST(MacDecisions, FocusingASession) {
    const std::string terminal(terminalAppBundleIdentifier);
    struct Row {
        std::optional<std::string> bundle;
        bool terminated;
        FocusStep step;
    };
    const std::vector<Row> rows = {
        {std::nullopt, false, FocusStep::notRunning},
        {"com.anthropic.claudefordesktop", false, FocusStep::activateApp},
        {terminal, false, FocusStep::selectTerminalTab},
        {terminal, true, FocusStep::activateApp},
        {"com.apple.TerminalX", false, FocusStep::activateApp},
    };
    for (const auto& row : rows) EXPECT_EQ(focusStep(row.bundle, row.terminated), row.step) << row.bundle.value_or("-");

    // The tab script: its error is an Apple Events failure; otherwise found or "TAB_NOT_FOUND".
    EXPECT_EQ(terminalTabOutcome(-1743, true),
              (SessionFocus{false, ClientDiagnostic::appleEvent(-1743, DiagnosticOperation::terminalFocus)}));
    EXPECT_EQ(terminalTabOutcome(std::nullopt, true), (SessionFocus{true, terminalTabDiagnostic(true)}));
    EXPECT_EQ(terminalTabOutcome(std::nullopt, false), (SessionFocus{false, terminalTabDiagnostic(false)}));
}

TEST(MacDecisions, MenuInput) {
    using T = AgentTarget;
    const std::vector<std::tuple<double, double, std::optional<T>>> clicks = {
        {0, 320, std::nullopt}, {3.9, 320, std::nullopt}, {4, 320, T::harness},   {299.9, 320, T::harness},
        {300, 320, T::corvane}, {320, 320, T::corvane},   {321, 320, std::nullopt}, {10, 20, T::corvane}};
    for (const auto& [x, width, target] : clicks) EXPECT_EQ(agentTargetAt(x, width), target) << x << " of " << width;
    // Which part Return and Option-Return choose is the shared key rule (PlainSurfaceTest).
}

// The bundle's Info.plist template must hold exactly the decided entries: a key added to one and
// not the other, or a changed value, fails here rather than on a Mac.
TEST(MacDecisions, InfoPlistTemplateHoldsTheDecidedEntries) {
    std::ifstream file(std::string(CORVANE_TEST_DATA_DIR) + "/../../CorvaneMenubar/platform/macos/Info.plist.in");
    ASSERT_TRUE(file) << "Info.plist.in not found";
    std::stringstream text;
    text << file.rdbuf();
    std::string plist = text.str();
    for (const auto& [placeholder, value] : {std::pair{"@PROJECT_VERSION@", "0.1.0"}, {"@CORVANE_ENVIRONMENT@", "staging"}})
        for (auto at = plist.find(placeholder); at != std::string::npos; at = plist.find(placeholder))
            plist.replace(at, std::string_view(placeholder).size(), value);

    std::vector<InfoPlistEntry> found;
    const std::regex entry(R"(<key>([^<]*)</key>\s*(?:<string>([^<]*)</string>|<(true|false)/>))");
    for (auto it = std::sregex_iterator(plist.begin(), plist.end(), entry); it != std::sregex_iterator(); ++it) {
        const auto& match = *it;
        std::optional<bool> flag;
        if (match[3].matched) flag = match[3] == "true";
        found.push_back({match[1], match[2].matched ? match[2].str() : "", flag});
    }
    EXPECT_EQ(found, macInfoPlistEntries("0.1.0", "staging"));
}

}  // namespace
}  // namespace corvane
