#include "CliLocator.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "support/TempFolder.h"

namespace corvane::CliLocator {
namespace {

// A file system in memory: file contents, executable paths and folder listings.
struct FakeFiles {
    std::map<std::string, std::string> files;
    std::set<std::string> executables;
    std::map<std::string, std::vector<std::string>> folders;
    std::optional<std::string> explicitPath;

    Environment environment(std::string home = "/home/u") const {
        return Environment{
            std::move(home),
            [this](const std::string& path) -> std::optional<std::string> {
                auto it = files.find(path);
                if (it == files.end()) return std::nullopt;
                return it->second;
            },
            [this](const std::string& path) { return executables.count(path) > 0; },
            [this](const std::string& path) {
                auto it = folders.find(path);
                return it == folders.end() ? std::vector<std::string>{} : it->second;
            },
            explicitPath,
        };
    }
};

const std::string systemTail = "/usr/bin:/bin:/usr/sbin:/sbin";
const std::string fixedFolders = "/opt/homebrew/bin:/usr/local/bin:/home/u/.local/bin";
const std::string detectedPath = "/home/u/.config/corvane/state/detected-clients.json";
const std::string nvmRoot = "/home/u/.nvm/versions/node";

TEST(CliLocatorTest, VersionSortKeys) {
    const std::vector<std::pair<std::string, std::vector<std::int64_t>>> rows{
        {"v20.11.1", {20, 11, 1}}, {"v18.x", {18, 0}}, {"", {}}, {"20..3.", {20, 3}}, {"vv1", {0}},
        {"v+4.-2", {4, -2}}, {"1.99999999999999999999", {1, 0}},
    };
    for (const auto& [name, key] : rows) EXPECT_EQ(versionSortKey(name), key) << name;
}

TEST(CliLocatorTest, NvmFoldersComeNewestFirst) {
    using Names = std::vector<std::string>;
    // A prefix sorts first; equal keys keep their listing order ascending, so come out reversed.
    const std::vector<std::pair<Names, Names>> rows{
        {{"v18.20.4", "v20.11.1", "v20.9.0"}, {"v20.11.1", "v20.9.0", "v18.20.4"}},
        {{"v20", "v20.0", "v9.1"}, {"v20.0", "v20", "v9.1"}},
        {{"lts", "current", "v1"}, {"v1", "current", "lts"}},
    };
    for (const auto& [listing, newestFirst] : rows) {
        FakeFiles fake;
        fake.folders[nvmRoot] = listing;
        Names expected;
        for (const auto& name : newestFirst) expected.push_back(nvmRoot + "/" + name + "/bin");
        EXPECT_EQ(nvmBinDirectories(fake.environment()), expected) << ::testing::PrintToString(listing);
    }
}

TEST(CliLocatorTest, CandidateFoldersStartWithTheRecordedPath) {
    struct Row { const char* name; std::optional<std::string> detectedClients; std::vector<std::string> expected; };
    const std::vector<std::string> fixed{"/opt/homebrew/bin", "/usr/local/bin", "/home/u/.local/bin",
                                         nvmRoot + "/v20.1.0/bin"};
    auto with = [&](std::vector<std::string> head) {
        head.insert(head.end(), fixed.begin(), fixed.end());
        return head;
    };
    const std::vector<Row> rows{
        {"no file", std::nullopt, fixed},
        {"pieces in order, empty ones dropped", R"({"path":"/a::/b:"})", with({"/a", "/b"})},
        {"repeat of a fixed folder keeps its first place", R"({"path":"/usr/local/bin:/c"})",
         {"/usr/local/bin", "/c", "/opt/homebrew/bin", "/home/u/.local/bin", nvmRoot + "/v20.1.0/bin"}},
        {"path not text", R"({"path":["/a"]})", fixed},
        // A login shell's PATH may hold "." or other relative folders: never searched.
        {"relative pieces dropped", R"({"path":".:bin:/a:~/b:./c"})", with({"/a"})},
        {"not json", "path=/a", fixed},
    };
    for (const auto& row : rows) {
        FakeFiles fake;
        fake.folders[nvmRoot] = {"v20.1.0"};
        if (row.detectedClients) fake.files[detectedPath] = *row.detectedClients;
        EXPECT_EQ(candidateDirectories(fake.environment()), row.expected) << row.name;
    }
}

TEST(CliLocatorTest, VersionFolderPathsMustStayInside) {
    const std::vector<std::pair<std::string, bool>> rows{
        {"bin/corvane", true}, {"..a/b", true}, {"", false}, {"/bin/corvane", false}, {"\\bin", false},
        {"a:b", false}, {"bin/../../x", false}, {"bin\\..\\x", false}, {"bin//..", false},
    };
    for (const auto& [name, inside] : rows) EXPECT_EQ(isInsideVersionFolder(name), inside) << name;
}

TEST(CliLocatorTest, InstallRecordsAreReadStrictly) {
    struct Row { const char* name; std::optional<std::string> record; std::optional<std::string> program; };
    const std::vector<Row> rows{
        {"valid", R"({"location":"/opt/cv","command":["bin/corvane"]})", "/opt/cv/current/bin/corvane"},
        {"missing file", std::nullopt, std::nullopt},
        {"relative location", R"({"location":"opt/cv","command":["corvane"]})", std::nullopt},
        {"two commands", R"({"location":"/opt/cv","command":["node","corvane"]})", std::nullopt},
        {"dot-dot", R"({"location":"/opt/cv","command":["../corvane"]})", std::nullopt},
        {"command a string", R"({"location":"/opt/cv","command":"corvane"})", std::nullopt},
        {"location missing", R"({"command":["corvane"]})", std::nullopt},
        {"broken json", R"({"location":"/opt/cv",)", std::nullopt},
    };
    for (const auto& row : rows) {
        FakeFiles fake;
        if (row.record) fake.files["/home/u/.config/corvane/install-staging.json"] = *row.record;
        EXPECT_EQ(recordedProgram("staging", fake.environment()), row.program) << row.name;
        EXPECT_EQ(recordedProgram("production", fake.environment()), std::nullopt) << row.name;
    }
}

TEST(CliLocatorTest, LocateFollowsTheSearchOrder) {
    const std::string record = R"({"location":"/opt/cv","command":["bin/corvane"]})";
    const std::string recordFile = "/home/u/.config/corvane/install-production.json";
    struct Row { const char* name; std::string variant; std::optional<std::string> explicitPath;
                 std::set<std::string> executables; bool withRecord; std::optional<Located> expected;
                 std::string home = "/home/u"; };
    const auto found = [](const std::string& folder, const std::string& searchHead) -> std::optional<Located> {
        return Located{folder + "/corvane", searchHead + ":" + systemTail};
    };
    const std::string brew = "/opt/homebrew/bin", staging = "/home/u/.corvane-staging/bin", cv = "/opt/cv/current/bin";
    const std::vector<Row> rows{
        {"nothing installed", "production", std::nullopt, {}, false, std::nullopt},
        {"first folder with a CLI", "production", std::nullopt, {"/usr/local/bin/corvane", "/home/u/.local/bin/corvane"},
         false, found("/usr/local/bin", "/usr/local/bin:/opt/homebrew/bin:/home/u/.local/bin")},
        {"explicit path wins", "production", "/x/corvane", {"/x/corvane", "/usr/local/bin/corvane"}, true,
         found("/x", "/x:" + fixedFolders)},
        {"relative explicit path", "production", "x/corvane", {"x/corvane", brew + "/corvane"}, true, std::nullopt},
        {"explicit path not executable", "production", "/x/corvane", {brew + "/corvane"}, true, std::nullopt},
        {"explicit path is not trimmed", "production", " /x/corvane", {"/x/corvane"}, false, std::nullopt},
        {"install record before folders", "production", std::nullopt, {cv + "/corvane", brew + "/corvane"}, true,
         found(cv, cv + ":" + fixedFolders)},
        {"record not executable is ignored", "production", std::nullopt, {brew + "/corvane"}, true, found(brew, fixedFolders)},
        {"staging folder first for staging", "staging", std::nullopt, {staging + "/corvane", brew + "/corvane"}, false,
         found(staging, staging + ":" + fixedFolders)},
        {"staging folder unknown to others", "beta", std::nullopt, {staging + "/corvane", brew + "/corvane"}, false,
         found(brew, fixedFolders)},
        // A home that is not absolute (HOME=".") gives no folders under it, so a planted ./.local/bin
        // is never run.
        {"relative home", "staging", std::nullopt, {"./.corvane-staging/bin/corvane", "./.local/bin/corvane"}, false,
         std::nullopt, "."},
    };
    for (const auto& row : rows) {
        FakeFiles fake;
        fake.executables = row.executables;
        fake.explicitPath = row.explicitPath;
        if (row.withRecord) fake.files[recordFile] = record;
        EXPECT_EQ(locate(row.variant, fake.environment(row.home)), row.expected) << row.name;
    }
}

TEST(CliLocatorTest, SearchPathJoinsFolderDirectoriesAndSystemFolders) {
    struct Row { std::string program, searchPath; std::optional<std::string> folder; std::vector<std::string> directories; };
    const std::vector<Row> rows{
        {"/a/b/corvane", "/z:/c:" + systemTail, "/z", {"/c"}},
        {"/corvane", "/:" + systemTail, std::nullopt, {}},
        {"/usr/bin/corvane", "/usr/bin:/bin:/d:/usr/sbin:/sbin", std::nullopt, {"/bin", "/d", "/usr/bin"}},
        // Children never get a relative folder, nor one whose ":" would split into two.
        {"/a/corvane", "/a:/e:" + systemTail, std::nullopt, {".", "bin", "/v1:../bin", "", "/e"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(located(row.program, row.folder, row.directories), (Located{row.program, row.searchPath}))
            << row.program;
}

// The real environment against a temporary home folder.
TEST(CliLocatorTest, RealEnvironmentFindsExecutableFiles) {
    namespace fs = std::filesystem;
    testing::TempFolder temp;
    const fs::path home = temp.path();
    for (const char* folder : {".nvm/versions/node/v20.1.0/bin", ".nvm/versions/node/v9.0.0", "plain", "dir/corvane",
                               ".config/corvane/state"})
        fs::create_directories(home / folder);
    auto write = [](const fs::path& path, const std::string& text, fs::perms perms) {
        std::ofstream(path) << text;
        fs::permissions(path, perms);
    };
    write(home / "plain/corvane", "#!/bin/sh\n", fs::perms::owner_read | fs::perms::owner_write);
    write(home / ".nvm/versions/node/v20.1.0/bin/corvane", "#!/bin/sh\n", fs::perms::owner_all);
    fs::create_symlink(home / ".nvm/versions/node/v20.1.0/bin/corvane", home / "link");
    write(home / ".config/corvane/state/detected-clients.json",
          R"({"path":")" + (home / "dir").string() + ":" + (home / "plain").string() + R"("})", fs::perms::owner_all);

    // Records are read within the locator's limit (FIFOs and folders are the bounded reader's own rows).
    std::ofstream(home / "huge") << "{";
    fs::resize_file(home / "huge", locatorRecordLimit + 1);

    auto environment = realLocatorEnvironment();
    environment.home = home.string();
    EXPECT_EQ(environment.readFile((home / "huge").string()), std::nullopt);
    // A link to a CLI counts; the locate below passes over the plain file, the folder and the missing files.
    EXPECT_TRUE(environment.isExecutableFile((home / "link").string()));
    EXPECT_EQ(environment.listDirectory((home / ".nvm/versions/node").string()),
              (std::vector<std::string>{"v20.1.0", "v9.0.0"}));
    EXPECT_TRUE(environment.listDirectory((home / "absent").string()).empty());
    environment.explicitPath.reset();
    auto found = locate("production", environment);
    ASSERT_TRUE(found.has_value());
    const std::string nvmBin = (home / ".nvm/versions/node/v20.1.0/bin").string();
    EXPECT_EQ(found->cliPath, nvmBin + "/corvane");
    // The detected folders lead the search path even though neither held a usable CLI.
    const std::string head = nvmBin + ":" + (home / "dir").string() + ":" + (home / "plain").string() + ":";
    EXPECT_EQ(found->searchPath.rfind(head, 0), 0u) << found->searchPath;
    // Missing functions count as nothing found, the explicit path included.
    EXPECT_EQ(locate("production", Environment{"/home/u", {}, {}, {}, "/x/corvane"}), std::nullopt);
}

}  // namespace
}  // namespace corvane::CliLocator
