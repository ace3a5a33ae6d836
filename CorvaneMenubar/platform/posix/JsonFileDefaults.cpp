#include "JsonFileDefaults.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

namespace corvane {

namespace {

constexpr char base64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string base64Encode(std::string_view bytes) {
    std::string out;
    std::uint32_t acc = 0;
    int bits = 0;
    for (unsigned char c : bytes) {
        acc = (acc << 8) | c;
        bits += 8;
        while (bits >= 6) {
            bits -= 6;
            out.push_back(base64Alphabet[(acc >> bits) & 0x3F]);
        }
    }
    if (bits > 0) out.push_back(base64Alphabet[(acc << (6 - bits)) & 0x3F]);
    while (out.size() % 4 != 0) out.push_back('=');
    return out;
}

std::optional<std::string> base64Decode(std::string_view text) {
    std::string out;
    std::uint32_t acc = 0;
    int bits = 0;
    for (char c : text) {
        if (c == '=') break;
        int value = -1;
        if (c >= 'A' && c <= 'Z') value = c - 'A';
        else if (c >= 'a' && c <= 'z') value = c - 'a' + 26;
        else if (c >= '0' && c <= '9') value = c - '0' + 52;
        else if (c == '+') value = 62;
        else if (c == '/') value = 63;
        if (value < 0) return std::nullopt;
        acc = (acc << 6) | static_cast<std::uint32_t>(value);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<char>((acc >> bits) & 0xFF));
        }
    }
    return out;
}

bool isValidUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        std::size_t extra = 0;
        std::uint32_t code = 0;
        if (c < 0x80) { ++i; continue; }
        if ((c & 0xE0) == 0xC0) { extra = 1; code = c & 0x1F; }
        else if ((c & 0xF0) == 0xE0) { extra = 2; code = c & 0x0F; }
        else if ((c & 0xF8) == 0xF0) { extra = 3; code = c & 0x07; }
        else return false;
        if (i + extra >= text.size()) return false;
        for (std::size_t k = 1; k <= extra; ++k) {
            const auto cc = static_cast<unsigned char>(text[i + k]);
            if ((cc & 0xC0) != 0x80) return false;
            code = (code << 6) | (cc & 0x3F);
        }
        static constexpr std::uint32_t minimum[] = {0, 0x80, 0x800, 0x10000};
        if (code < minimum[extra] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
        i += extra + 1;
    }
    return true;
}

// Creates every missing folder of `dir` (mode 0700).
void makeFolders(const std::string& dir) {
    for (std::size_t slash = dir.find('/', 1); ; slash = dir.find('/', slash + 1)) {
        const std::string prefix = slash == std::string::npos ? dir : dir.substr(0, slash);
        if (!prefix.empty()) ::mkdir(prefix.c_str(), 0700);
        if (slash == std::string::npos) return;
    }
}

bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = ::write(fd, text.data(), text.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

}  // namespace

JsonFileDefaults::JsonFileDefaults(std::string filePath) : path_(std::move(filePath)) { load(); }

std::optional<std::string> JsonFileDefaults::defaultPath(std::string_view environment, const char* xdgConfigHome,
                                                         const char* home) {
    std::string base;
    if (xdgConfigHome && xdgConfigHome[0] == '/') base = xdgConfigHome;
    else if (home && home[0] == '/') base = std::string(home) + "/.config";
    else return std::nullopt;
    while (base.size() > 1 && base.back() == '/') base.pop_back();
    return base + "/corvane/menubar-" + std::string(environment) + ".json";
}

void JsonFileDefaults::load() {
    std::ifstream in(path_, std::ios::binary);
    if (!in) return;
    std::stringstream buffer;
    buffer << in.rdbuf();
    const auto parsed = nlohmann::json::parse(buffer.str(), nullptr, false);
    if (!parsed.is_object()) {
        std::rename(path_.c_str(), (path_ + ".corrupt").c_str());
        return;
    }
    for (const auto& [key, value] : parsed.items()) {
        if (value.is_boolean()) {
            values_.emplace(key, value.get<bool>());
        } else if (value.is_object() && value.size() == 1) {
            if (auto text = value.find("text"); text != value.end() && text->is_string())
                values_.emplace(key, text->get<std::string>());
            else if (auto b64 = value.find("base64"); b64 != value.end() && b64->is_string())
                if (auto bytes = base64Decode(b64->get<std::string>())) values_.emplace(key, *bytes);
        }
        // Anything else was not written by this store; it is dropped on the next write.
    }
}

void JsonFileDefaults::save() {
    nlohmann::json document = nlohmann::json::object();
    for (const auto& [key, value] : values_) {
        if (const bool* flag = std::get_if<bool>(&value)) {
            document[key] = *flag;
        } else {
            const auto& bytes = std::get<std::string>(value);
            if (isValidUtf8(bytes)) document[key] = {{"text", bytes}};
            else document[key] = {{"base64", base64Encode(bytes)}};
        }
    }
    // Keys are arbitrary bytes from callers; never let an invalid one throw.
    const std::string text = document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";

    const auto slash = path_.rfind('/');
    if (slash != std::string::npos && slash > 0) makeFolders(path_.substr(0, slash));
    const std::string temporary = path_ + ".tmp-" + std::to_string(::getpid());
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        dirty_ = true;
        return;
    }
    bool ok = writeAll(fd, text) && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    if (ok) ok = ::rename(temporary.c_str(), path_.c_str()) == 0;
    if (!ok) ::unlink(temporary.c_str());
    dirty_ = !ok;
}

std::optional<std::string> JsonFileDefaults::data(std::string_view key) const {
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    if (auto bytes = std::get_if<std::string>(&it->second)) return *bytes;
    return std::nullopt;
}

void JsonFileDefaults::setData(std::string_view key, std::string_view bytes) {
    values_.insert_or_assign(std::string(key), std::string(bytes));
    save();
}

bool JsonFileDefaults::boolean(std::string_view key) const {
    auto it = values_.find(key);
    if (it == values_.end()) return false;
    auto flag = std::get_if<bool>(&it->second);
    return flag && *flag;
}

void JsonFileDefaults::setBoolean(std::string_view key, bool value) {
    values_.insert_or_assign(std::string(key), value);
    save();
}

void JsonFileDefaults::remove(std::string_view key) {
    auto it = values_.find(key);
    if (it == values_.end()) return;
    values_.erase(it);
    save();
}

bool JsonFileDefaults::synchronize() {
    if (dirty_) save();
    return !dirty_;
}

}  // namespace corvane
