#include "Variant.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(VariantTest, DetectTakesTheFirstUsableSource) {
    struct Row { const char* name; std::optional<InfoDictionary> info; ProcessEnvironment environment; std::string expected; };
    const InfoDictionary beta{{"CorvaneEnvironment", "beta"}};
    const std::vector<Row> rows{
        {"nothing", std::nullopt, {}, "production"},
        {"variable wins", beta, {{"CORVANE_MENUBAR_ENV", "staging"}}, "staging"},
        {"empty variable falls through", beta, {{"CORVANE_MENUBAR_ENV", ""}}, "beta"},
        {"empty dictionary text", InfoDictionary{{"CorvaneEnvironment", ""}}, {}, "production"},
        {"list counts as absent", InfoDictionary{{"CorvaneEnvironment", nlohmann::json::array({"x"})}}, {}, "production"},
        {"value kept as is", std::nullopt, {{"CORVANE_MENUBAR_ENV", " Dev "}}, " Dev "},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Variant::detect(row.info, row.environment).appEnv, row.expected) << row.name;
    // "production" from either source is the default itself.
    EXPECT_EQ(Variant::detect(InfoDictionary{{"CorvaneEnvironment", "production"}}, {}), Variant{});
    EXPECT_EQ(Variant::detect(std::nullopt, {{"CORVANE_MENUBAR_ENV", "production"}}), Variant{});
}

TEST(VariantTest, NamesArgumentsAndBadgeFollowTheEnvironment) {
    // Every name but exactly "production" is passed on with --env.
    const std::vector<std::tuple<std::string, std::string, std::optional<std::string>>> rows{
        {"staging", "Corvane Staging", "S"}, {"STAGING eu", "Corvane Staging Eu", "S"},
        {"local-dev", "Corvane Local-dev", "L"}, {"9lives", "Corvane 9lives", "9"},
        {"", "Corvane ", std::nullopt}, {"Production", "Corvane Production", "P"},
        // Letters outside ASCII take their case pairs; malformed bytes pass through.
        {"émeraude ÉTÉ", "Corvane Émeraude Été", "É"}, {"ÿ", "Corvane Ÿ", "Ÿ"},
        {"ωμέγα", "Corvane Ωμέγα", "Ω"}, {"ОБЛАКО", "Corvane Облако", "О"},
        {"łódź", "Corvane Łódź", "Ł"}, {"ǎ", "Corvane Ǎ", "Ǎ"}, {"ђ", "Corvane Ђ", "Ђ"},
        {"ա", "Corvane Ա", "Ա"}, {"ς", "Corvane Σ", "Σ"}, {"東京", "Corvane 東京", "東"},
        {"\xC3", "Corvane \xC3", "\xC3"}, {"\xC0\xAFx", "Corvane \xC0\xAFx", "\xC0"},
    };
    for (const auto& [appEnv, displayName, badge] : rows) {
        Variant variant{appEnv};
        EXPECT_EQ(variant.menuArguments(), (std::vector<std::string>{"menu", "--env", appEnv})) << appEnv;
        EXPECT_EQ(variant.displayName(), displayName) << appEnv;
        EXPECT_EQ(variant.badgeLetter(), badge) << appEnv;
    }
    EXPECT_EQ(Variant{}.menuArguments(), std::vector<std::string>{"menu"});
    EXPECT_EQ(Variant{}.displayName(), "Corvane");
    EXPECT_EQ(Variant{}.badgeLetter(), std::nullopt);
}

TEST(VariantTest, AppVersionNeedsNonEmptyText) {
    EXPECT_EQ(appVersion(std::nullopt), "0.0.0-dev");
    EXPECT_EQ(appVersion(InfoDictionary{{"CFBundleShortVersionString", ""}}), "0.0.0-dev");
    EXPECT_EQ(appVersion(InfoDictionary{{"CFBundleShortVersionString", 2}}), "0.0.0-dev");
    EXPECT_EQ(appVersion(InfoDictionary{{"CFBundleShortVersionString", "1.4.2"}}), "1.4.2");
    EXPECT_NE(appVersion(buildInfoDictionary()), "0.0.0-dev");  // the build carries the project's version
}

}  // namespace
}  // namespace corvane
