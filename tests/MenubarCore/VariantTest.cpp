#include "Variant.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(VariantTest, DetectTakesTheFirstUsableSource) {
    struct Row {
        const char* name;
        std::optional<InfoDictionary> info;
        ProcessEnvironment environment;
        std::string expected;
    };
    const InfoDictionary beta{{"CorvaneEnvironment", "beta"}};
    const std::vector<Row> rows{
        {"nothing", std::nullopt, {}, "production"},
        {"variable wins", beta, {{"CORVANE_MENUBAR_ENV", "staging"}}, "staging"},
        {"empty variable falls through", beta, {{"CORVANE_MENUBAR_ENV", ""}}, "beta"},
        {"empty dictionary text", InfoDictionary{{"CorvaneEnvironment", ""}}, {}, "production"},
        {"number counts as absent", InfoDictionary{{"CorvaneEnvironment", 7}}, {}, "production"},
        {"list counts as absent", InfoDictionary{{"CorvaneEnvironment", nlohmann::json::array({"x"})}}, {}, "production"},
        {"unrelated variables ignored", beta, {{"CORVANE_ENV", "dev"}}, "beta"},
        {"value kept as is", std::nullopt, {{"CORVANE_MENUBAR_ENV", " Dev "}}, " Dev "},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Variant::detect(row.info, row.environment).appEnv, row.expected) << row.name;
}

TEST(VariantTest, NamesArgumentsAndBadgeFollowTheEnvironment) {
    struct Row {
        std::string appEnv;
        std::vector<std::string> arguments;
        std::string displayName;
        std::optional<std::string> badge;
    };
    const std::vector<Row> rows{
        {"production", {"menu"}, "Corvane", std::nullopt},
        {"staging", {"menu", "--env", "staging"}, "Corvane Staging", "S"},
        {"STAGING eu", {"menu", "--env", "STAGING eu"}, "Corvane Staging Eu", "S"},
        {"local-dev", {"menu", "--env", "local-dev"}, "Corvane Local-dev", "L"},
        {"9lives", {"menu", "--env", "9lives"}, "Corvane 9lives", "9"},
        {"\xC3\xA9t\xC3\xA9", {"menu", "--env", "\xC3\xA9t\xC3\xA9"}, "Corvane \xC3\xA9t\xC3\xA9", "\xC3\xA9"},
        {"", {"menu", "--env", ""}, "Corvane ", std::nullopt},
        // Only the exact name is production.
        {"Production", {"menu", "--env", "Production"}, "Corvane Production", "P"},
    };
    for (const auto& row : rows) {
        Variant variant{row.appEnv};
        EXPECT_EQ(variant.menuArguments(), row.arguments) << row.appEnv;
        EXPECT_EQ(variant.displayName(), row.displayName) << row.appEnv;
        EXPECT_EQ(variant.badgeLetter(), row.badge) << row.appEnv;
    }
    // "production" from either source is the default itself.
    EXPECT_EQ(Variant::detect(InfoDictionary{{"CorvaneEnvironment", "production"}}, {}), Variant{});
    EXPECT_EQ(Variant::detect(std::nullopt, {{"CORVANE_MENUBAR_ENV", "production"}}), Variant{});
}

TEST(VariantTest, AppVersionNeedsNonEmptyText) {
    EXPECT_EQ(appVersion(std::nullopt), "0.0.0-dev");
    EXPECT_EQ(appVersion(InfoDictionary{{"CFBundleShortVersionString", ""}}), "0.0.0-dev");
    EXPECT_EQ(appVersion(InfoDictionary{{"CFBundleShortVersionString", 2}}), "0.0.0-dev");
    EXPECT_EQ(appVersion(InfoDictionary{{"CFBundleShortVersionString", "1.4.2"}}), "1.4.2");
    // The build carries the project's version.
    EXPECT_NE(appVersion(buildInfoDictionary()), "0.0.0-dev");
}

TEST(VariantTest, ProcessEnvironmentIsRead) {
    ASSERT_EQ(setenv("CORVANE_VARIANT_TEST_PROBE", "a=b", 1), 0);
    auto environment = currentProcessEnvironment();
    unsetenv("CORVANE_VARIANT_TEST_PROBE");
    ASSERT_TRUE(environment.count("CORVANE_VARIANT_TEST_PROBE"));
    EXPECT_EQ(environment.at("CORVANE_VARIANT_TEST_PROBE"), "a=b");
}

}  // namespace
}  // namespace corvane
