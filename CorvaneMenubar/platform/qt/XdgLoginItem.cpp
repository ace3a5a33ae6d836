#include "XdgLoginItem.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace corvane {
namespace {

// A Name or Exec value: the desktop entry format escapes backslashes and line breaks; Exec
// also needs the path quoted when it holds characters the launcher would split or expand.
std::string escapeValue(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\\') out += "\\\\";
        else if (c == '\n') out += "\\n";
        else if (c == '\r') out += "\\r";
        else if (c == '\t') out += "\\t";
        else out += c;
    }
    return out;
}

std::string execValue(const std::string& executable) {
    bool plain = !executable.empty();
    for (char c : executable)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || std::strchr("/-_.+", c))) plain = false;
    if (plain) return executable;
    std::string quoted = "\"";
    for (char c : executable) {
        if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
        quoted += c;
    }
    quoted += '"';
    return escapeValue(quoted);
}

bool startsWith(const std::string& text, const std::string& prefix) {
    return !prefix.empty() && text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

std::string xdgConfigFolder() {
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config && config[0] == '/') return config;
    const char* home = std::getenv("HOME");
    if (home && home[0] == '/') return std::string(home) + "/.config";
    return {};
}

std::string desktopAppId(const std::string& appEnv) {
    std::string id = "com.usecorvane.Menubar";
    if (appEnv.empty() || appEnv == "production") return id;
    std::string suffix;
    for (char c : appEnv)
        suffix += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return id + "." + suffix.substr(0, 40);
}

std::string firstLaunchBundlePath(const std::string& executable, const std::string& home) {
    const std::filesystem::path path(executable);
    const std::string folder = path.parent_path().string();
    for (const std::string& prefix : {std::string("/usr/bin"), std::string("/usr/local/bin"), std::string("/opt/"),
                                      std::string("/usr/lib/"), std::string("/usr/libexec/"),
                                      home.empty() ? std::string() : home + "/.local/bin"}) {
        if (folder == prefix || startsWith(folder + "/", prefix + (prefix.back() == '/' ? "" : "/")))
            return "/Applications/" + path.filename().string();
    }
    return executable;
}

XdgLoginItem::XdgLoginItem(std::string configFolder, std::string appId, std::string executable,
                           std::string displayName)
    : folder_(configFolder.empty() ? std::string() : configFolder + "/autostart"),
      entryPath_(folder_.empty() ? std::string() : folder_ + "/" + appId + ".desktop"),
      executable_(std::move(executable)),
      displayName_(std::move(displayName)) {}

std::string XdgLoginItem::entryText() const {
    std::ostringstream text;
    text << "[Desktop Entry]\n"
         << "Type=Application\n"
         << "Name=" << escapeValue(displayName_) << "\n"
         << "Comment=Your coding-agent sessions in the panel\n"
         << "Exec=" << execValue(executable_) << "\n"
         << "Icon=corvane-menubar\n"
         << "Terminal=false\n"
         << "X-GNOME-Autostart-enabled=true\n"
         // Tray hosts come up with the panel: starting a little later, or after it, lets the
         // icon register at once instead of waiting for a watcher.
         << "X-GNOME-Autostart-Delay=3\n"
         << "X-KDE-autostart-after=panel\n"
         << "X-LXQt-Need-Tray=true\n";
    return text.str();
}

LoginItemStatus XdgLoginItem::status() const {
    if (entryPath_.empty()) return LoginItemStatus::notFound;
    std::ifstream entry(entryPath_);
    if (!entry) return LoginItemStatus::notRegistered;
    // Bounded: an autostart entry is a few hundred bytes; a huge file is read no further.
    std::string line;
    std::size_t read = 0;
    bool inMainGroup = false;
    while (read < 65536 && std::getline(entry, line)) {
        read += line.size() + 1;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty() && line.front() == '[') inMainGroup = line == "[Desktop Entry]";
        else if (inMainGroup && (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false"))
            return LoginItemStatus::notRegistered;
    }
    return LoginItemStatus::enabled;
}

std::optional<std::string> XdgLoginItem::registerApp() {
    if (entryPath_.empty()) return std::string("no configuration folder ($XDG_CONFIG_HOME and $HOME are unset)");
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    if (error) return "cannot create " + folder_ + ": " + error.message();
    const std::string temporary = entryPath_ + ".tmp-" + std::to_string(::getpid());
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << entryText();
        out.flush();
        if (!out) {
            std::filesystem::remove(temporary, error);
            return "cannot write " + entryPath_;
        }
    }
    std::filesystem::rename(temporary, entryPath_, error);
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        return "cannot write " + entryPath_ + ": " + error.message();
    }
    return std::nullopt;
}

std::optional<std::string> XdgLoginItem::unregisterApp() {
    if (entryPath_.empty()) return std::nullopt;
    std::error_code error;
    std::filesystem::remove(entryPath_, error);
    if (error && error != std::errc::no_such_file_or_directory)
        return "cannot remove " + entryPath_ + ": " + error.message();
    return std::nullopt;
}

}  // namespace corvane
