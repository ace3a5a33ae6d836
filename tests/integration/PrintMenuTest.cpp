// `corvane-menubar --print-menu` run as a person or a script would: on the bundled sample, on
// garbage and on hostile answers, reading files and standard input.

#include "integration/ProcessHarness.h"

#include <gtest/gtest.h>

namespace {

using namespace harness;

const std::string sample = std::string(CORVANE_TEST_DATA_DIR) + "/sample-menu.json";

class PrintMenu : public ::testing::Test {
protected:
    corvane::testing::TempFolder dir;

    // Runs the app with `args`, `stdinBytes` on its standard input (read whole before any output;
    // a blocking pipe takes all of it in one write).
    ProcessResult run(const std::vector<std::string>& args, const std::string& stdinBytes = "") {
        Spawned child = spawnProcess(CORVANE_MENUBAR_EXE, args, {}, true);
        [[maybe_unused]] const auto written = ::write(child.inFd, stdinBytes.data(), stdinBytes.size());
        return finish(child, 60);
    }
};

TEST_F(PrintMenu, ShowsTheSampleAsText) {
    ProcessResult result = run({"--print-menu", "--payload", sample, "--now", "2025-03-01T10:05:00Z"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    for (const char* line : {"state: payload\n", "icon:  attention\n", "cliUpdate  [available] 1.4.2 → 1.5.0",
                             "agent      [claude · working] Fix flaky checkout tests · 1m ago — Working",
                             "\nmore:\naction     Settings…"})
        EXPECT_NE(result.out.find(line), std::string::npos) << line << "\n" << result.out;
    // The fallback rows of the update block are replaced, and the plain row that the next action
    // presents appears once.
    EXPECT_EQ(result.out.find("Update available: Corvane CLI"), std::string::npos);
    const auto first = result.out.find("Sync with GitHub failed");
    EXPECT_EQ(result.out.find("Sync with GitHub failed", first + 1), std::string::npos);
}

TEST_F(PrintMenu, PrintsOneJsonObject) {
    std::string answer = readText(sample);
    ProcessResult result = run({"--print-menu", "--payload", "-", "--json", "--now", "2025-03-01T10:05:00Z"}, answer);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    Json frame = Json::parse(result.out);
    EXPECT_EQ(frame["state"], "payload");
    EXPECT_EQ(frame["items"][4]["agent"]["harness"]["verb"]["appPid"], 48213);
}

// Nothing on stdout for what it refuses, and a message that says why on stderr.
TEST_F(PrintMenu, RefusesWhatItCannotReadAndExplainsBadUsage) {
    Json damaged = Json::parse(readText(sample));
    damaged["items"][3]["title"] = 42;
    std::string deep;
    for (int i = 0; i < 100'000; ++i) deep += R"({"type":"submenu","title":"S","items":[)";
    for (int i = 0; i < 100'000; ++i) deep += "]}";
    std::string deepText = Json::parse(readText(sample)).dump();
    deepText.replace(deepText.find("\"items\":[") + 9, 0, deep + ",");
    int files = 0;
    auto payload = [&](const std::string& bytes) {
        const std::string file = dir / ("answer-" + std::to_string(++files) + ".json");
        std::ofstream(file, std::ios::binary) << bytes;
        return std::vector<std::string>{"--print-menu", "--payload", file};
    };
    struct Row { const char* name; std::vector<std::string> args; int exitCode; const char* stderrHas; };
    const Row rows[] = {
        {"wrong type", payload(damaged.dump()), 1, "items[3].title: expected a string"},
        {"empty", payload(""), 1, "the answer is unreadable: not a JSON answer"},
        {"deep submenus", payload(deepText), 0, ""},
        {"no payload path", {"--print-menu", "--payload"}, 64, "usage: corvane-menubar"},
        {"bad --now", {"--print-menu", "--payload", sample, "--now", "soon"}, 64, "usage: corvane-menubar"},
        {"missing file", {"--print-menu", "--payload", (fs::path("/nonexistent") / "menu.json").string()}, 1, "cannot open"},
    };
    for (const auto& row : rows) {
        ProcessResult result = run(row.args);
        EXPECT_EQ(result.exitCode, row.exitCode) << row.name << ": " << result.err;
        EXPECT_NE(result.err.find(row.stderrHas), std::string::npos) << row.name << ": " << result.err;
        EXPECT_EQ(result.out.empty(), row.exitCode != 0) << row.name;
    }
}

}  // namespace
