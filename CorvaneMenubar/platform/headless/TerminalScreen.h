#pragma once

// The headless shell for a person at a terminal: the frame drawn as a menu is read, redrawn in
// place, with the effects as sentences underneath. Plain ANSI escapes, nothing else.
//
//   Corvane — icon: running — menu closed
//
//        0  Corvane — 3 sessions                     (custom rows: their one-line text)
//           ────────────────────
//        2  Fix the login bug — Claude · Running
//        5  More ▸
//      5/0    Launch at Login ✓                       (a submenu's rows, indented)
//      5/1    About Corvane
//
//   Copied to the clipboard: npm install -g …         (the last few effects)
//   open · close · pick PATH [harness|corvane|dismiss] · highlight PATH · quit
//
// Disabled rows are dimmed, the highlighted row is in reverse video. The left column is the
// path to type after "pick". Each drawing fills the terminal from its top line.

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "LineSink.h"

namespace corvane {

// The lines of one frame (the JSON-lines frame object: "icon", "badge", "tooltip", "menuOpen",
// "items"). With `ansi` false no escape is written (dim and reverse video are left out). A text
// of several lines is joined with " — "; with `columns` > 0 every line is cut to fit that many
// characters, so that nothing wraps and the redraw stays in place.
std::vector<std::string> readableFrameLines(const nlohmann::json& frame, bool ansi, std::size_t columns = 0);

// One sentence for an event line of the JSON-lines protocol ("Copied to the clipboard: …",
// "Would open https://…"); empty for events a person need not see.
std::string readableEventLine(const nlohmann::json& event);

class TerminalScreen {
public:
    // Effects kept under the menu.
    static constexpr std::size_t eventLines = 6;

    struct Size {
        std::size_t rows = 0;     // 0: unknown
        std::size_t columns = 0;  // 0: unknown
    };
    // `size` tells the terminal's size at each drawing; a menu too tall for it is cut short, a
    // line too wide is cut at its end.
    // `notice` (may be empty) stays on the top line: why the app runs headless.
    TerminalScreen(LineSink& sink, std::function<Size()> size, std::string notice = {})
        : sink_(sink), size_(std::move(size)), notice_(std::move(notice)) {}

    void showFrame(const nlohmann::json& frame);
    void showEvent(const nlohmann::json& event);
    // A line of the app's own (the system log) among the effects.
    void showNote(std::string line);
    // Leaves the cursor under the last drawing, for the shell prompt that follows.
    void finish();

private:
    void draw();

    LineSink& sink_;
    std::function<Size()> size_;
    nlohmann::json frame_;
    std::deque<std::string> events_;
    std::string notice_;
};

}  // namespace corvane
