#include "XdgLoginItem.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

#include "BoundedFile.h"
#include "Uuid.h"

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
        // The launcher expands field codes (%f, %u, %k...) even inside quotes: "%%" is a "%".
        if (c == '%') quoted += '%';
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
    // Bounded and never blocking: an autostart entry is a few hundred bytes; anything but a
    // regular file (a FIFO, a folder) or a huge one counts as no entry.
    const auto text = readBoundedFile(entryPath_, 65536);
    if (!text) return LoginItemStatus::notRegistered;
    std::istringstream entry(*text);
    std::string line;
    bool inMainGroup = false;
    while (std::getline(entry, line)) {
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
    // A new file of a name nobody can guess, made here and nowhere else: never a link or a file
    // someone planted at the temporary name.
    const std::string temporary = entryPath_ + ".tmp-" + makeUuid();
    {
        const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, 0644);
        if (fd < 0) return "cannot write " + entryPath_ + ": " + std::strerror(errno);
        const std::string text = entryText();
        std::string_view bytes = text;
        bool written = true;
        while (written && !bytes.empty()) {
            const auto count = ::write(fd, bytes.data(), bytes.size());
            if (count < 0 && errno == EINTR) continue;
            written = count > 0;
            if (written) bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        written = ::close(fd) == 0 && written;
        if (!written) {
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
