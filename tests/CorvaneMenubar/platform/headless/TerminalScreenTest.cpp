#include "platform/headless/TerminalScreen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace corvane {
namespace {

using Json = nlohmann::json;
using Lines = std::vector<std::string>;

TEST(TerminalScreen, FramesReadAsAMenuWithTheirPickPaths) {
    struct Row {
        const char* frame;
        bool ansi;
        Lines expected;
        std::size_t columns = 0;
    };
    const Row rows[] = {
        {R"({"icon":"unknown","badge":null,"tooltip":"Corvane","menuOpen":false,"items":[]})", false,
         {"Corvane — icon: unknown — menu closed", ""}},
        // Custom rows by their text, separators without a path (they still count), a submenu
        // indented under its row with the full path; badge, targets, check mark and submenu marks.
        {R"({"icon":"attention","badge":"S","tooltip":"Corvane Staging","menuOpen":true,"items":[
            {"title":"","enabled":true,"kind":"header","text":"Corvane — 2 sessions"},
            {"separator":true},
            {"title":"Fix it","enabled":true,"kind":"agent","text":"Fix it — Claude · Running","badge":"paused",
             "targets":[{"part":"harness","title":"Open in Claude"},{"part":"corvane","title":"Open in Corvane"}]},
            {"title":"More","enabled":true,"submenu":[
              {"title":"Launch at Login","enabled":true,"checked":true},
              {"title":"Quit Corvane","enabled":true}]}]})",
         false,
         {"Corvane Staging — icon: attention (badge S) — menu open", "", "     0  Corvane — 2 sessions",
          "        ────────────────────", "     2  Fix it — Claude · Running [paused]  [harness: Open in Claude · corvane: Open in Corvane]", "     3  More ▸",
          "   3/0    Launch at Login ✓", "   3/1    Quit Corvane"}},
        // With escapes: disabled rows dimmed, the highlighted row in reverse video.
        {R"({"icon":"running","tooltip":"Corvane","menuOpen":true,"items":[
            {"title":"Checking…","enabled":false},
            {"title":"Open","enabled":true,"highlighted":true},
            {"title":"Plain","enabled":true}]})",
         true,
         {"Corvane — icon: running — menu open", "", "     0  \x1b[2mChecking…\x1b[0m", "     1  \x1b[7mOpen\x1b[0m",
          "     2  Plain"}},
        // A narrow terminal: lines cut to the width (characters, not bytes), several lines joined.
        {R"({"icon":"paused","tooltip":"Corvane","menuOpen":false,"items":[
            {"title":"Update?\nIncludes faster sync.","enabled":true},
            {"title":"été","enabled":true}]})",
         false, {"Corvane — icon: paused …", "", "     0  Update? — Inclu…", "     1  été"}, 24},
        // A CLI's control characters never reach the terminal: the clipboard (OSC 52), the window
        // title (OSC 2), a screen clear, the C1 CSI, DEL, a tab and a C1 badge all show as U+FFFD.
        {R"({"icon":"running","tooltip":"C\u001b]2;pwned\u0007","menuOpen":false,"items":[
            {"title":"\u001b]52;c;ZWNobyBoaQ==\u0007x","enabled":true},
            {"title":"\u001b[2J\u009b2J\u007f\tz","enabled":false,"badge":"\u0085"}]})",
         true,
         {"C\uFFFD]2;pwned\uFFFD — icon: running — menu closed", "", "     0  \uFFFD]52;c;ZWNobyBoaQ==\uFFFDx",
          "     1  \x1b[2m\uFFFD[2J\uFFFD2J\uFFFD\uFFFDz [\uFFFD]\x1b[0m"}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(&r - rows);
        EXPECT_EQ(readableFrameLines(Json::parse(r.frame), r.ansi, r.columns), r.expected);
    }
}

TEST(TerminalScreen, EffectsReadAsOneSentenceEach) {
    const std::pair<const char*, std::string> rows[] = {
        {R"({"event":"copy","text":"npm i -g x"})", "Copied to the clipboard: npm i -g x"},
        {R"({"event":"openUrl","url":"https://corvane.dev"})", "Would open https://corvane.dev"},
        {R"({"event":"openTerminal","command":"corvane login"})", "Would run in a new terminal: corvane login"},
        {R"({"event":"focus","tty":"/dev/ttys003","appPid":42})",
         "Would bring forward the session on /dev/ttys003 (app process 42)"},
        {R"({"event":"alert","message":"No terminal","informative":"Copied."})", "Alert: No terminal Copied."},
        {R"({"event":"error","message":"no row at 9"})", "Not done: no row at 9"},
        {R"({"event":"activate"})", ""},
        {R"({"event":"copy"})", "Copied to the clipboard: "},  // a missing field is no crash
    };
    for (const auto& [event, expected] : rows) EXPECT_EQ(readableEventLine(Json::parse(event)), expected) << event;
}

// A redraw goes home, overwrites each line and clears below; a menu taller than the terminal is
// cut with a note instead of scrolling the top away.
TEST(TerminalScreen, RedrawsInPlaceAndFitsTheTerminal) {
    char* buffer = nullptr;
    std::size_t size = 0;
    std::FILE* stream = ::open_memstream(&buffer, &size);
    LineSink sink(stream);
    std::size_t rows = 0;
    TerminalScreen screen(sink, [&] { return TerminalScreen::Size{rows, 0}; });
    Json frame = Json::parse(R"({"icon":"running","tooltip":"Corvane","menuOpen":false,"items":[]})");
    for (int i = 0; i < 30; ++i) frame["items"].push_back({{"title", "row " + std::to_string(i)}, {"enabled", true}});
    screen.showFrame(frame);
    rows = 12;
    screen.showEvent(Json::parse(R"({"event":"copy","text":"x"})"));
    std::fclose(stream);
    const std::string out(buffer, size);
    std::free(buffer);

    const auto second = out.find("\x1b[H", 1);
    ASSERT_EQ(out.rfind("\x1b[H", 0), 0u);
    ASSERT_NE(second, std::string::npos);
    EXPECT_NE(out.substr(0, second).find("row 29\x1b[K\n"), std::string::npos);  // no height known: all rows
    const std::string last = out.substr(second);
    EXPECT_EQ(std::count(last.begin(), last.end(), '\n'), 11);  // one row left for the cursor
    EXPECT_NE(last.find("… 25 more rows"), std::string::npos);
    EXPECT_NE(last.find("Copied to the clipboard: x\x1b[K\n"), std::string::npos);
    EXPECT_EQ(last.substr(last.size() - 3), "\x1b[J");
}

}  // namespace
}  // namespace corvane
