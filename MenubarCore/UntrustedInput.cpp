#include "UntrustedInput.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

// The length of the valid UTF-8 sequence at `at` and its code point, or 0 when it is invalid
// (overlong forms, surrogates and values past U+10FFFF included).
std::size_t sequenceAt(std::string_view text, std::size_t at, std::uint32_t& codePoint) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    std::size_t length;
    std::uint32_t minimum;
    if (lead < 0x80) {
        codePoint = lead;
        return 1;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2, minimum = 0x80, codePoint = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, minimum = 0x800, codePoint = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, minimum = 0x10000, codePoint = lead & 0x07;
    } else {
        return 0;
    }
    if (at + length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) return 0;
        codePoint = (codePoint << 6) | (byte(at + i) & 0x3F);
    }
    if (codePoint < minimum || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) return 0;
    return length;
}

bool isControl(std::uint32_t codePoint) { return codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F); }

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (lower(a[i]) != lower(b[i])) return false;
    return true;
}

bool endsWithIgnoringCase(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && equalsIgnoringCase(text.substr(text.size() - suffix.size()), suffix);
}

bool holdsControlByte(std::string_view text) {
    for (char c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return true;
    return false;
}

// mkdir -p with mode 0700 for every folder it creates. Returns 0 or an errno; an existing entry
// is accepted here and judged by the caller.
int makeFolders(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    if (path.empty()) return ENOENT;
    if (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return 0;
    if (errno != ENOENT) return errno;
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos || slash == 0) return ENOENT;
    if (int error = makeFolders(path.substr(0, slash))) return error;
    if (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return 0;
    return errno;
}

}  // namespace

std::string terminalSafeText(std::string_view text) {
    std::string safe;
    safe.reserve(text.size());
    std::size_t at = 0;
    while (at < text.size()) {
        std::uint32_t codePoint = 0;
        const std::size_t length = sequenceAt(text, at, codePoint);
        if (length == 0 || isControl(codePoint)) {
            safe += replacement;
            at += length == 0 ? 1 : length;
        } else {
            safe.append(text.substr(at, length));
            at += length;
        }
    }
    return safe;
}

std::string escapeJsonControls(std::string_view json) {
    static constexpr char hex[] = "0123456789abcdef";
    std::string escaped;
    escaped.reserve(json.size());
    for (std::size_t at = 0; at < json.size(); ++at) {
        const auto byte = static_cast<unsigned char>(json[at]);
        const auto next = at + 1 < json.size() ? static_cast<unsigned char>(json[at + 1]) : 0;
        // DEL and the two-byte forms of U+0080..U+009F occur only inside strings of valid JSON.
        if (byte == 0x7F || (byte == 0xC2 && next >= 0x80 && next <= 0x9F)) {
            const unsigned codePoint = byte == 0x7F ? 0x7F : next;
            escaped += "\\u00";
            escaped += hex[codePoint >> 4];
            escaped += hex[codePoint & 0xF];
            if (byte == 0xC2) ++at;
        } else {
            escaped += json[at];
        }
    }
    return escaped;
}

std::string clipboardSafeText(std::string_view text) {
    std::string safe;
    safe.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const auto next = at + 1 < text.size() ? static_cast<unsigned char>(text[at + 1]) : 0;
        const bool kept = byte == '\t' || byte == '\n' || byte == '\r';
        if ((byte < 0x20 && !kept) || byte == 0x7F) {
            safe += replacement;
        } else if (byte == 0xC2 && next >= 0x80 && next <= 0x9F) {
            safe += replacement;
            ++at;
        } else {
            safe += text[at];
        }
    }
    return safe;
}

bool isOpenableUrl(std::string_view url) {
    static constexpr std::array<std::string_view, 6> schemes{"http", "https", "claude", "codex", "cursor", "chatgpt"};
    if (url.size() > urlLengthLimit || holdsControlByte(url) || url.find(' ') != std::string_view::npos) return false;
    const std::size_t colon = url.find(':');
    if (colon == std::string_view::npos || url.substr(colon + 1, 2) != "//") return false;
    const std::string_view scheme = url.substr(0, colon);
    for (std::string_view known : schemes)
        if (equalsIgnoringCase(scheme, known)) return true;
    return false;
}

bool isOpenablePath(std::string_view path) {
    static constexpr std::array<std::string_view, 5> launchers{".desktop", ".app", ".command", ".terminal", ".tool"};
    if (path.empty() || path.front() != '/' || path.size() > pathLengthLimit || holdsControlByte(path)) return false;
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    for (std::string_view suffix : launchers)
        if (endsWithIgnoringCase(path, suffix)) return false;
    return true;
}

bool isExecutableRegularFile(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && (info.st_mode & 0111) != 0;
}

bool isTtyName(std::string_view tty) {
    if (tty.empty() || tty.size() > 64) return false;
    std::size_t pieceStart = 0;
    for (std::size_t i = 0; i <= tty.size(); ++i) {
        if (i == tty.size() || tty[i] == '/') {
            if (tty.substr(pieceStart, i - pieceStart) == "..") return false;
            pieceStart = i + 1;
            continue;
        }
        const char c = tty[i];
        const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                             c == '_' || c == '-';
        if (!allowed) return false;
    }
    return true;
}

int openTrustedFolder(const std::string& path, bool create, bool ownerOnly) {
    if (path.empty() || path.front() != '/' || holdsNul(path)) {
        errno = EINVAL;
        return -1;
    }
    if (create) {
        if (int error = makeFolders(path)) {
            errno = error;
            return -1;
        }
    }
    const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return -1;
    struct stat info {};
    int error = 0;
    if (::fstat(fd, &info) != 0) {
        error = errno;
    } else if (!S_ISDIR(info.st_mode)) {
        error = ENOTDIR;
    } else if (info.st_uid != ::geteuid() || (info.st_mode & 022) != 0) {
        error = EPERM;
    } else if (ownerOnly && (info.st_mode & 077) != 0) {
        // A folder this call may make is ours and writable by nobody else: nothing can have been
        // planted in it, so it is only tightened. One it may not make is refused.
        if (!create) error = EPERM;
        else if (::fchmod(fd, 0700) != 0) error = errno;
    }
    if (error != 0) {
        ::close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

std::string privateRuntimeFolder() {
    const auto trusted = [](const std::string& path, bool create) {
        const int fd = openTrustedFolder(path, create, true);
        if (fd < 0) return false;
        ::close(fd);
        return true;
    };
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime && trusted(runtime, false)) return runtime;
    const char* temporary = std::getenv("TMPDIR");
    std::string folder = temporary && *temporary == '/' ? temporary : "/tmp";
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    folder += "/corvane-" + std::to_string(::getuid());
    return trusted(folder, true) ? folder : std::string();
}

}  // namespace corvane
