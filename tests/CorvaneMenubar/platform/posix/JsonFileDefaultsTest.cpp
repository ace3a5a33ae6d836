#include "platform/posix/JsonFileDefaults.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/TempFolder.h"

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
        defaults.setData("text", text);
        defaults.setData("binary", binary);
        defaults.setData("empty", "");
        defaults.setBoolean("flag", true);
        defaults.setData("gone", "x");
        defaults.remove("gone");
        defaults.setBoolean("replaced", true);
        defaults.setData("replaced", "now bytes");
        EXPECT_TRUE(defaults.synchronize());
    }
    JsonFileDefaults reopened(path);
    const std::pair<std::string, std::optional<std::string>> data[] = {
        {"text", text}, {"binary", binary},   {"empty", ""},
        {"gone", {}},   {"replaced", "now bytes"}, {"flag", {}},  // a boolean is not data
    };
    for (const auto& [key, value] : data) EXPECT_EQ(reopened.data(key), value) << key;
    EXPECT_TRUE(reopened.boolean("flag"));
    EXPECT_FALSE(reopened.boolean("replaced"));
    // Text stays readable for support; no temporary file is left behind.
    EXPECT_NE(readFile(path).find("installing"), std::string::npos);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / "nested/corvane"),
                            std::filesystem::directory_iterator{}), 1);
}

TEST(JsonFileDefaults, UnreadableFileIsSetAsideAndAFailedWriteIsReported) {
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
    JsonFileDefaults unwritable(folder / "d.json.corrupt/below/d.json");  // a file where a folder should be
    unwritable.setBoolean("k", true);
    EXPECT_TRUE(unwritable.boolean("k"));  // kept in memory all the same
    EXPECT_FALSE(unwritable.synchronize());
}

TEST(JsonFileDefaults, DefaultPathFollowsXdgConfigHome) {
    const std::string inXdg = "/x/config/corvane/menubar-production.json";
    const std::string inHome = "/home/u/.config/corvane/menubar-production.json";
    const std::tuple<const char*, const char*, std::optional<std::string>> rows[] = {
        {"/x/config", "/home/u", inXdg}, {"/x/config/", "/home/u", inXdg},  {"", "/home/u", inHome},
        {nullptr, "/home/u", inHome},    {"relative", "/home/u", inHome},   {nullptr, nullptr, std::nullopt},
        {nullptr, "", std::nullopt},
    };
    for (const auto& [xdg, home, expected] : rows) {
        SCOPED_TRACE(std::string(xdg ? xdg : "(unset)") + " " + (home ? home : "(unset)"));
        EXPECT_EQ(JsonFileDefaults::defaultPath("production", xdg, home), expected);
    }
}

}  // namespace
}  // namespace corvane
