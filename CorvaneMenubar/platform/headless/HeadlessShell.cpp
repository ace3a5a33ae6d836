#include "HeadlessShell.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <sstream>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <thread>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "UntrustedInput.h"

#include "platform/posix/HostPlatform.h"
#include "FixedAppearance.h"
#include "HeadlessLoginItem.h"
#include "HeadlessMainLoop.h"
#include "platform/posix/JsonFileDefaults.h"
#include "LineSink.h"
#include "menu/MemoryMenu.h"
#include "MemoryStatusItem.h"
#include "menu/MenuTreeJson.h"
#include "menu/PlainSurface.h"
#include "PrintingEffects.h"
#include "platform/posix/SystemDirectoryWatcher.h"
#include "TerminalScreen.h"
#include "platform/posix/ThreadBackgroundWork.h"
#include "platform/posix/XdgLoginItem.h"

namespace corvane {
namespace {

using Json = nlohmann::json;

std::string defaultsPath(const std::string& appEnv) {
    auto path = JsonFileDefaults::defaultPath(appEnv, std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME"));
    if (path) return *path;
    return (std::filesystem::temp_directory_path() / ("corvane-menubar-" + appEnv + ".json")).string();
}

std::vector<std::string> words(std::string_view line) {
    std::vector<std::string> result;
    std::istringstream stream{std::string(line)};
    for (std::string word; stream >> word;) result.push_back(word);
    return result;
}

// The item at "3" or "7/2" in `menu`, or null.
std::shared_ptr<NativeMenuItem> itemAtPath(const std::shared_ptr<NativeMenu>& menu, const std::string& path) {
    auto current = menu;
    std::shared_ptr<NativeMenuItem> item;
    std::size_t start = 0;
    while (current) {
        auto slash = path.find('/', start);
        auto piece = path.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (piece.empty() || piece.size() > 6 || piece.find_first_not_of("0123456789") != std::string::npos)
            return nullptr;
        auto index = static_cast<std::size_t>(std::stoul(piece));
        if (index >= current->count()) return nullptr;
        item = current->itemAt(index);
        if (slash == std::string::npos) return item;
        current = item->submenu();
        start = slash + 1;
    }
    return nullptr;
}

Json event(std::string_view name) { return Json{{"event", name}}; }

Json errorEvent(const std::string& message) {
    Json line = event("error");
    line["message"] = message;
    return line;
}

// A terminal may be showing the lines (--json in a terminal): no C1 control reaches it raw.
std::string compact(const Json& json) {
    return escapeJsonControls(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

// Reads stdin on a thread of its own and hands every command line, and the end of input, to the
// main loop. It waits with select(), which (unlike poll() on macOS) also works on a terminal.
class InputReader {
public:
    using LineHandler = std::function<void(std::string)>;

    InputReader(MainLoop& loop, LineHandler onLine, Job onEnd)
        : loop_(loop), onLine_(std::move(onLine)), onEnd_(std::move(onEnd)) {
        if (openPipe(stopPipe_, false) && stopPipe_[0] < FD_SETSIZE) thread_ = std::thread([this] { serve(); });
    }
    ~InputReader() {
        if (stopPipe_[1] >= 0) {
            const char byte = 'q';
            [[maybe_unused]] auto ignored = ::write(stopPipe_[1], &byte, 1);
        }
        if (thread_.joinable()) thread_.join();
        for (int fd : stopPipe_)
            if (fd >= 0) ::close(fd);
    }
    InputReader(const InputReader&) = delete;
    InputReader& operator=(const InputReader&) = delete;

private:
    void serve() {
        std::string pending;
        char buffer[4096];
        for (;;) {
            fd_set ready;
            FD_ZERO(&ready);
            FD_SET(STDIN_FILENO, &ready);
            FD_SET(stopPipe_[0], &ready);
            if (::select(stopPipe_[0] + 1, &ready, nullptr, nullptr, nullptr) < 0) {
                if (errno == EINTR) continue;
                return;
            }
            if (FD_ISSET(stopPipe_[0], &ready)) return;
            if (!FD_ISSET(STDIN_FILENO, &ready)) continue;
            const auto count = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
            if (count <= 0) {
                if (!pending.empty()) post(std::move(pending));
                loop_.post(onEnd_);
                return;
            }
            pending.append(buffer, static_cast<std::size_t>(count));
            for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
                post(pending.substr(0, end));
                pending.erase(0, end + 1);
            }
        }
    }
    void post(std::string line) {
        loop_.post([handler = onLine_, line = std::move(line)] { handler(line); });
    }

    MainLoop& loop_;
    LineHandler onLine_;
    Job onEnd_;
    int stopPipe_[2] = {-1, -1};
    std::thread thread_;
};

class HeadlessShell final : public Shell {
public:
    HeadlessShell(const ShellOptions& options, std::string notice)
        : watcher_(makeSystemDirectoryWatcher(loop_)), effects_([this](std::string_view line) { emitLine(line); }) {
        if (!options.json && ::isatty(STDOUT_FILENO)) screen_.emplace(sink_, terminalSize, std::move(notice));
    }

    bool prepare(const Variant& variant) override {
        variant_ = variant;
        defaults_.emplace(defaultsPath(variant.appEnv));
        // The desktop's autostart entry on Linux, the one the Qt shell switches: a copy installed
        // under a system or user prefix registers at its first start in either shell.
        if (hostIsMacOS())
            loginItem_ = std::make_unique<HeadlessLoginItem>();
        else
            loginItem_ = std::make_unique<XdgLoginItem>(xdgConfigFolder(), desktopAppId(variant.appEnv), executablePath(),
                                                        variant.displayName());
        return true;
    }
    LoginItem& loginItem() override { return *loginItem_; }
    Defaults& defaults() override { return *defaults_; }
    AppSeams seams() override {
        return AppSeams{loop_, work_, *watcher_, statusItem_, factory_, measure_, effects_, *loginItem_, *defaults_,
                        appearance_};
    }
    std::string bundlePath() const override {
        const char* home = std::getenv("HOME");
        return hostIsMacOS() ? executablePath() : firstLaunchBundlePath(executablePath(), home ? home : "");
    }
    void showAbout() override { emit(event("about")); }
    void systemLog(std::string_view line) override {
        if (screen_) return screen_->showNote(std::string(line));
        std::cerr << line << std::endl;
    }
    int exec(AppDelegate& app, std::function<void()> terminate) override;
    void quit() override { loop_.quit(); }

private:
    static TerminalScreen::Size terminalSize() {
        winsize size{};
        if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {};
        return {size.ws_row, size.ws_col};
    }
    // An event line: as it is in the JSON-lines protocol, as a sentence on the terminal screen.
    void emit(const Json& line) {
        if (screen_) return screen_->showEvent(line);
        sink_.write(compact(line));
    }
    void emitLine(std::string_view line) {
        if (screen_) return screen_->showEvent(Json::parse(line, nullptr, false));
        sink_.write(line);
    }
    void printFrame(const AppDelegate& app);
    void command(AppDelegate& app, const std::string& line, const std::function<void()>& terminate);

    Variant variant_;
    // Declared so that the loop outlives the background work (whose jobs post into it).
    HeadlessMainLoop loop_;
    ThreadBackgroundWork work_;
    std::unique_ptr<DirectoryWatcher> watcher_;
    MemoryStatusItem statusItem_;
    MemoryMenuFactory factory_;
    FixedWidthTextMeasure measure_;
    LineSink sink_;
    PrintingEffects effects_;
    std::unique_ptr<LoginItem> loginItem_;
    std::optional<JsonFileDefaults> defaults_;
    FixedAppearance appearance_;
    std::optional<TerminalScreen> screen_;  // set when a person reads stdout
    std::string lastFrame_;
    std::int64_t frameCount_ = 0;
};

void HeadlessShell::printFrame(const AppDelegate& app) {
    if (statusItem_.removed() || !statusItem_.menu()) return;
    Json frame;
    frame["icon"] = std::string(iconWord(app.renderedIconState().value_or(IconState::unknown)));
    auto badge = variant_.badgeLetter();
    frame["badge"] = badge ? Json(*badge) : Json(nullptr);
    frame["tooltip"] = statusItem_.toolTip();
    frame["menuOpen"] = app.menuIsOpen();
    frame["items"] = menuTreeJson(*statusItem_.menu());
    auto text = compact(frame);
    if (text == lastFrame_) return;
    lastFrame_ = text;
    if (screen_) return screen_->showFrame(frame);
    frame["frame"] = ++frameCount_;
    sink_.write(compact(frame));
}

void HeadlessShell::command(AppDelegate& app, const std::string& line, const std::function<void()>& terminate) {
    if (statusItem_.removed()) return;
    auto parts = words(line);
    if (parts.empty()) return;
    const auto& name = parts[0];
    if (name == "open" && parts.size() == 1) {
        if (!app.menuIsOpen()) statusItem_.reportMenuWillOpen();
    } else if (name == "close" && parts.size() == 1) {
        if (app.menuIsOpen()) statusItem_.reportMenuDidClose();
    } else if (name == "quit" && parts.size() == 1) {
        return terminate();
    } else if (name == "pick" && (parts.size() == 2 || parts.size() == 3)) {
        auto item = itemAtPath(statusItem_.menu(), parts[1]);
        auto part = parts.size() == 3 ? rowPartFromWord(parts[2]) : std::optional<RowPart>(RowPart::main);
        if (!item) return emit(errorEvent("no row at " + parts[1]));
        if (!part) return emit(errorEvent("unknown row part " + parts[2]));
        if (!item->fire(Activation{*part, false})) {
            return emit(errorEvent("row " + parts[1] + " cannot be chosen"));
        }
        Json picked = event("picked");
        picked["path"] = parts[1];
        emit(picked);
    } else if (name == "highlight" && parts.size() == 2) {
        if (parts[1] == "-") {
            statusItem_.reportHighlight(nullptr);
        } else if (auto item = itemAtPath(statusItem_.menu(), parts[1])) {
            statusItem_.reportHighlight(item.get());
        } else {
            return emit(errorEvent("no row at " + parts[1]));
        }
    } else {
        return emit(errorEvent("unknown command: " + line));
    }
    loop_.post([this, &app] { printFrame(app); });
}

int HeadlessShell::exec(AppDelegate& app, std::function<void()> terminate) {
    app.onRendered = [this, &app] { printFrame(app); };
    factory_.setCloseMenu([this, &app] {
        if (app.menuIsOpen()) statusItem_.reportMenuDidClose();
    });
    {
        InputReader reader(
            loop_, [this, &app, &terminate](const std::string& line) { command(app, line, terminate); }, terminate);
        loop_.run();
        terminate();
    }
    if (screen_) {
        screen_->finish();
    } else {
        sink_.write(compact(event("exit")));
    }
    return 0;
}

}  // namespace

std::unique_ptr<Shell> makeHeadlessShell(const ShellOptions& options, std::string notice) {
    return std::make_unique<HeadlessShell>(options, std::move(notice));
}

}  // namespace corvane
