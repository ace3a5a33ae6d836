#include "TerminalScreen.h"

#include <cstdio>

#include "UntrustedInput.h"

namespace corvane {
namespace {

using Json = nlohmann::json;

constexpr const char* dim = "\x1b[2m";
constexpr const char* reverse = "\x1b[7m";
constexpr const char* plain = "\x1b[0m";
constexpr const char* commandsLine = "open · close · pick PATH [harness|corvane|dismiss] · highlight PATH · quit";

std::string text(const Json& object, const char* key) {
    auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool flag(const Json& object, const char* key) {
    auto found = object.find(key);
    return found != object.end() && found->is_boolean() && found->get<bool>();
}

// One line of at most `columns` characters (code points; 0: no limit), "…" where it was cut.
// Every text on screen passes here: its line ends are joined, and any other control character
// (which a CLI could use to set the clipboard, retitle the window or clear the screen) is shown
// as U+FFFD instead of reaching the terminal.
std::string fitted(std::string line, std::size_t columns) {
    for (auto at = line.find('\n'); at != std::string::npos; at = line.find('\n', at)) line.replace(at, 1, " — ");
    line = terminalSafeText(line);
    if (columns == 0) return line;
    std::size_t count = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if ((static_cast<unsigned char>(line[i]) & 0xC0) == 0x80) continue;
        if (++count == columns) {
            // `i` starts the last character that fits: cut there unless it is the last one.
            std::size_t end = i + 1;
            while (end < line.size() && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80) ++end;
            if (end < line.size()) line = line.substr(0, i) + "…";
            return line;
        }
    }
    return line;
}

// Columns left after a prefix of `used` characters (at least one); 0 when there is no limit.
std::size_t room(std::size_t used, std::size_t columns) {
    if (columns == 0) return 0;
    return columns > used + 1 ? columns - used : 1;
}

void addRows(const Json& rows, const std::string& parentPath, int depth, bool ansi, std::size_t columns,
             std::vector<std::string>& out) {
    if (!rows.is_array()) return;
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const Json& row = rows[index];
        const std::string path = parentPath.empty() ? std::to_string(index) : parentPath + "/" + std::to_string(index);
        const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
        std::string pathColumn = flag(row, "separator") ? std::string() : path;
        if (pathColumn.size() < 6) pathColumn.insert(0, 6 - pathColumn.size(), ' ');
        if (flag(row, "separator")) {
            out.push_back(pathColumn + "  " + indent + (ansi ? dim : "") + fitted("────────────────────", room(pathColumn.size() + 2 + indent.size(), columns)) + (ansi ? plain : ""));
            continue;
        }
        std::string label = text(row, "text");
        if (label.empty()) label = text(row, "title");
        if (auto badge = text(row, "badge"); !badge.empty()) label += " [" + badge + "]";
        if (flag(row, "checked")) label += " ✓";
        if (const auto targets = row.find("targets"); targets != row.end() && targets->is_array()) {
            std::string offered;
            for (const auto& target : *targets)
                offered += (offered.empty() ? "" : " · ") + text(target, "part") + ": " + text(target, "title");
            label += "  [" + offered + "]";
        }
        if (row.contains("submenu")) label += " ▸";
        const bool enabled = flag(row, "enabled");
        std::string line = pathColumn + "  " + indent;
        label = fitted(label, room(line.size(), columns));
        if (ansi && flag(row, "highlighted")) {
            line += std::string(reverse) + label + plain;
        } else if (ansi && !enabled) {
            line += std::string(dim) + label + plain;
        } else {
            line += label;
        }
        out.push_back(line);
        if (row.contains("submenu")) addRows(row["submenu"], path, depth + 1, ansi, columns, out);
    }
}

}  // namespace

std::vector<std::string> readableFrameLines(const Json& frame, bool ansi, std::size_t columns) {
    std::string top = text(frame, "tooltip") + " — icon: " + text(frame, "icon");
    if (auto badge = text(frame, "badge"); !badge.empty()) top += " (badge " + badge + ")";
    top += flag(frame, "menuOpen") ? " — menu open" : " — menu closed";
    std::vector<std::string> lines{fitted(top, columns), ""};
    if (frame.contains("items")) addRows(frame["items"], "", 0, ansi, columns, lines);
    return lines;
}

std::string readableEventLine(const Json& event) {
    const std::string name = text(event, "event");
    if (name == "openUrl") return "Would open " + text(event, "url");
    if (name == "openFile") return "Would open the file " + text(event, "path");
    if (name == "copy") return "Copied to the clipboard: " + text(event, "text");
    if (name == "openTerminal") return "Would run in a new terminal: " + text(event, "command");
    if (name == "focus") {
        auto pid = event.find("appPid");
        return "Would bring forward the session on " + text(event, "tty") + " (app process " +
               (pid != event.end() ? pid->dump() : std::string("?")) + ")";
    }
    if (name == "alert") {
        auto informative = text(event, "informative");
        return "Alert: " + text(event, "message") + (informative.empty() ? "" : " " + informative);
    }
    if (name == "about") return "Would show the About panel";
    if (name == "picked") return "Chose row " + text(event, "path");
    if (name == "error") return "Not done: " + text(event, "message");
    return {};  // "activate" (the alert that follows says it all), "exit"
}

void TerminalScreen::showFrame(const Json& frame) {
    frame_ = frame;
    draw();
}

void TerminalScreen::showEvent(const Json& event) { showNote(readableEventLine(event)); }

void TerminalScreen::showNote(std::string line) {
    if (line.empty()) return;
    events_.push_back(std::move(line));
    while (events_.size() > eventLines) events_.pop_front();
    draw();
}

void TerminalScreen::finish() { sink_.write(""); }

void TerminalScreen::draw() {
    // Frame, a blank line, the events, the commands: cut the frame when the terminal is shorter.
    const Size size = size_ ? size_() : Size{};
    // One column spare: a line that fills the last column leaves some terminals' cursor hanging.
    const std::size_t columns = size.columns > 1 ? size.columns - 1 : 0;
    const std::size_t rows = size.rows;
    std::vector<std::string> lines;
    if (!notice_.empty()) lines.push_back(std::string(dim) + fitted(notice_, columns) + plain);
    if (frame_.is_object()) {
        auto frameLines = readableFrameLines(frame_, true, columns);
        lines.insert(lines.end(), frameLines.begin(), frameLines.end());
    }
    const std::size_t below = 1 + events_.size() + 1 + 1;  // the last row holds the cursor
    if (rows > below + 2 && lines.size() + below > rows) {
        const std::size_t keep = rows - below - 1;
        const std::size_t cut = lines.size() - keep;
        lines.resize(keep);
        lines.push_back(std::string(dim) + "… " + std::to_string(cut) + " more rows (a taller terminal shows them)" +
                        plain);
    }
    lines.push_back("");
    for (const auto& event : events_) lines.push_back(fitted(event, columns));
    lines.push_back(std::string(dim) + fitted(commandsLine, columns) + plain);
    // Home, each line over the old one (clearing its rest), then clear whatever was below: the
    // typed commands' echo and anything else written since the last drawing go away with it.
    std::string screen = "\x1b[H";
    for (const auto& line : lines) screen += line + "\x1b[K\n";
    screen += "\x1b[J";
    sink_.writeRaw(screen);
}

}  // namespace corvane
