#include "headless/JsonFileDefaults.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "TempFolder.h"

namespace corvane {
namespace {

using testing::TempFolder;

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(JsonFileDefaults, ValuesSurviveAReopen) {
    TempFolder folder;
    const std::string path = folder / "nested/corvane/menubar-staging.json";  // folders are created
    const std::string binary("\x00\xff\xfe bytes \xc3", 11);
    const std::string text = "{\"phase\":\"installing\",\"note\":\"é…\"}";
    {
        JsonFileDefaults defaults(path);
        defaults.setData("cliUpdatePresentation.staging", text);
        defaults.setData("binary", binary);
        defaults.setData("empty", "");
        defaults.setBoolean("registeredLaunchAtLoginOnFirstLaunch", true);
        defaults.setBoolean("off", false);
        defaults.setData("gone", "x");
        defaults.remove("gone");
        defaults.setBoolean("replaced", true);
        defaults.setData("replaced", "now bytes");
        EXPECT_TRUE(defaults.synchronize());
    }
    JsonFileDefaults reopened(path);
    using Data = std::optional<std::string>;
    const std::vector<std::pair<std::string, Data>> data = {
        {"cliUpdatePresentation.staging", text}, {"binary", binary}, {"empty", ""}, {"gone", std::nullopt},
        {"replaced", "now bytes"}, {"registeredLaunchAtLoginOnFirstLaunch", std::nullopt},  // a boolean is not data
    };
    for (const auto& [key, value] : data) EXPECT_EQ(reopened.data(key), value) << key;
    EXPECT_TRUE(reopened.boolean("registeredLaunchAtLoginOnFirstLaunch"));
    EXPECT_FALSE(reopened.boolean("off") || reopened.boolean("replaced"));
    // Text stays readable for support; no temporary file is left behind.
    EXPECT_NE(readFile(path).find("installing"), std::string::npos);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / "nested/corvane"),
                            std::filesystem::directory_iterator{}), 1);
}

TEST(JsonFileDefaults, UnreadableFileIsSetAsideAndTheStoreStartsEmpty) {
    TempFolder folder;
    const std::string path = folder / "d.json";
    for (const char* content : {"{not json", "[1,2]", "\"text\""}) {
        SCOPED_TRACE(content);
        std::ofstream(path) << content;
        JsonFileDefaults defaults(path);
        EXPECT_EQ(defaults.data("anything"), std::nullopt);
        EXPECT_EQ(readFile(path + ".corrupt"), content);
        defaults.setBoolean("k", true);
        EXPECT_TRUE(JsonFileDefaults(path).boolean("k"));
        std::filesystem::remove(path);
    }
}

TEST(JsonFileDefaults, FailedWriteIsReportedBySynchronize) {
    TempFolder folder;
    std::ofstream(folder / "file") << "x";
    JsonFileDefaults defaults(folder / "file/below/d.json");  // a file where a folder should be
    defaults.setBoolean("k", true);
    EXPECT_TRUE(defaults.boolean("k"));  // kept in memory all the same
    EXPECT_FALSE(defaults.synchronize());
}

TEST(JsonFileDefaults, DefaultPathFollowsXdgConfigHome) {
    struct Row {
        const char* xdg;
        const char* home;
        std::optional<std::string> expected;
    };
    const std::string inXdg = "/x/config/corvane/menubar-production.json";
    const std::string inHome = "/home/u/.config/corvane/menubar-production.json";
    const Row rows[] = {
        {"/x/config", "/home/u", inXdg}, {"/x/config/", "/home/u", inXdg},  {"", "/home/u", inHome},
        {nullptr, "/home/u", inHome},    {"relative", "/home/u", inHome},   {nullptr, nullptr, std::nullopt},
        {nullptr, "", std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.xdg ? row.xdg : "(unset)") + " " + (row.home ? row.home : "(unset)"));
        EXPECT_EQ(JsonFileDefaults::defaultPath("production", row.xdg, row.home), row.expected);
    }
}

}  // namespace
}  // namespace corvane
