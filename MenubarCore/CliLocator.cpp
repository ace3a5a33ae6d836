#include "CliLocator.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <unordered_set>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "BoundedFile.h"
#include "FileFacts.h"

namespace corvane::CliLocator {
namespace {

constexpr std::string_view systemDirectories[] = {"/usr/bin", "/bin", "/usr/sbin", "/sbin"};

std::optional<std::string> readWith(const Environment& environment, const std::string& path) {
    if (!environment.readFile) return std::nullopt;
    return environment.readFile(path);
}

bool isExecutable(const Environment& environment, const std::string& path) {
    return environment.isExecutableFile && environment.isExecutableFile(path);
}

std::vector<std::string> split(std::string_view text, std::string_view separators) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find_first_of(separators, start);
        if (end == std::string_view::npos) end = text.size();
        if (end > start) pieces.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

std::optional<nlohmann::json> parseObject(const std::optional<std::string>& bytes) {
    if (!bytes) return std::nullopt;
    nlohmann::json document = nlohmann::json::parse(*bytes, nullptr, false);
    if (!document.is_object()) return std::nullopt;
    return document;
}

// A base-10 integer with an optional sign, as a whole; nothing on any other text or overflow.
std::optional<std::int64_t> parseInteger(std::string_view text) {
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) return std::nullopt;
    // Accumulate negatively so that the most negative value fits.
    std::int64_t value = 0;
    constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        int digit = c - '0';
        if (value < (lowest + digit) / 10) return std::nullopt;
        value = value * 10 - digit;
    }
    if (!negative) {
        if (value == lowest) return std::nullopt;
        value = -value;
    }
    return value;
}

// A folder that may be searched for the CLI and given to children in their PATH: absolute, so
// that it does not depend on the folder the app was started from (a "." recorded from a login
// shell would run whatever `corvane` sits there), and free of ":", which would split it.
bool isSearchableDirectory(std::string_view directory) {
    return !directory.empty() && directory.front() == '/' && directory.find(':') == std::string_view::npos &&
           directory.find('\0') == std::string_view::npos;
}

// The path without its last component: "/a/b" → "/a", "/a" → "/", "a" → "".
std::string parentDirectory(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    auto slash = path.rfind('/');
    if (slash == std::string_view::npos) return {};
    if (slash == 0) return "/";
    path = path.substr(0, slash);
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    return std::string(path);
}

}  // namespace

std::vector<std::string> deduplicated(const std::vector<std::string>& texts) {
    std::vector<std::string> result;
    std::unordered_set<std::string_view> seen;
    result.reserve(texts.size());
    for (const auto& text : texts)
        if (seen.insert(text).second) result.push_back(text);
    return result;
}

std::string detectedClientsPath(std::string_view home) {
    return std::string(home) + "/.config/corvane/state/detected-clients.json";
}

std::vector<std::int64_t> versionSortKey(std::string_view name) {
    if (!name.empty() && name.front() == 'v') name.remove_prefix(1);
    std::vector<std::int64_t> key;
    for (const auto& piece : split(name, ".")) key.push_back(parseInteger(piece).value_or(0));
    return key;
}

std::vector<std::string> nvmBinDirectories(const Environment& environment) {
    const std::string root = environment.home + "/.nvm/versions/node";
    std::vector<std::string> names;
    if (environment.listDirectory) names = environment.listDirectory(root);

    std::vector<std::pair<std::vector<std::int64_t>, std::string>> keyed;
    keyed.reserve(names.size());
    for (auto& name : names) keyed.emplace_back(versionSortKey(name), std::move(name));
    std::stable_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });

    std::vector<std::string> directories;
    directories.reserve(keyed.size());
    for (auto it = keyed.rbegin(); it != keyed.rend(); ++it) directories.push_back(root + "/" + it->second + "/bin");
    return directories;
}

std::vector<std::string> candidateDirectories(const Environment& environment) {
    std::vector<std::string> directories;
    if (auto record = parseObject(readWith(environment, detectedClientsPath(environment.home)))) {
        auto path = record->find("path");
        if (path != record->end() && path->is_string())
            directories = split(path->get_ref<const std::string&>(), ":");
    }
    directories.emplace_back("/opt/homebrew/bin");
    directories.emplace_back("/usr/local/bin");
    directories.push_back(environment.home + "/.local/bin");
    for (auto& directory : nvmBinDirectories(environment)) directories.push_back(std::move(directory));

    std::erase_if(directories, [](const std::string& directory) { return !isSearchableDirectory(directory); });
    return deduplicated(directories);
}

bool isInsideVersionFolder(std::string_view name) {
    if (name.empty() || name.find(':') != std::string_view::npos) return false;
    if (name.front() == '/' || name.front() == '\\') return false;
    for (const auto& piece : split(name, "/\\"))
        if (piece == "..") return false;
    return true;
}

std::optional<std::string> recordedProgram(std::string_view appEnv, const Environment& environment) {
    auto record = parseObject(
        readWith(environment, environment.home + "/.config/corvane/install-" + std::string(appEnv) + ".json"));
    if (!record) return std::nullopt;
    auto location = record->find("location");
    auto command = record->find("command");
    if (location == record->end() || !location->is_string()) return std::nullopt;
    if (command == record->end() || !command->is_array()) return std::nullopt;
    for (const auto& element : *command)
        if (!element.is_string()) return std::nullopt;

    const auto& root = location->get_ref<const std::string&>();
    if (root.empty() || root.front() != '/' || command->size() != 1) return std::nullopt;
    const auto& program = command->front().get_ref<const std::string&>();
    if (!isInsideVersionFolder(program)) return std::nullopt;
    return root + "/current/" + program;
}

Located located(const std::string& program, const std::optional<std::string>& folder,
                const std::vector<std::string>& directories) {
    std::vector<std::string> entries;
    entries.reserve(directories.size() + 5);
    entries.push_back(folder ? *folder : parentDirectory(program));
    entries.insert(entries.end(), directories.begin(), directories.end());
    for (auto directory : systemDirectories) entries.emplace_back(directory);
    std::erase_if(entries, [](const std::string& entry) { return !isSearchableDirectory(entry); });

    std::string searchPath;
    for (const auto& entry : deduplicated(entries)) {
        if (!searchPath.empty()) searchPath += ':';
        searchPath += entry;
    }
    return Located{program, searchPath};
}

std::optional<Located> locate(std::string_view variant, const Environment& environment) {
    std::vector<std::string> directories;
    if (variant == "staging") directories.push_back(environment.home + "/.corvane-staging/bin");
    for (auto& directory : candidateDirectories(environment)) directories.push_back(std::move(directory));
    std::erase_if(directories, [](const std::string& directory) { return !isSearchableDirectory(directory); });
    directories = deduplicated(directories);

    // An explicit path is the user's instruction: when it is unusable nothing else is tried.
    if (environment.explicitPath) {
        const auto& path = *environment.explicitPath;
        if (path.empty() || path.front() != '/' || !isExecutable(environment, path)) return std::nullopt;
        return located(path, std::nullopt, directories);
    }
    if (auto program = recordedProgram(variant, environment); program && isExecutable(environment, *program))
        return located(*program, std::nullopt, directories);
    for (const auto& directory : directories) {
        std::string candidate = directory + "/corvane";
        if (isExecutable(environment, candidate)) return located(candidate, directory, directories);
    }
    return std::nullopt;
}

// The real environment ------------------------------------------------------------------------

namespace {

std::string homeDirectory() {
    std::string home;
    if (const char* value = std::getenv("HOME"); value != nullptr && *value != '\0') {
        home = value;
    } else {
        long suggested = sysconf(_SC_GETPW_R_SIZE_MAX);
        std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 16384);
        passwd entry{};
        passwd* found = nullptr;
        while (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE && buffer.size() < (1u << 20))
            buffer.resize(buffer.size() * 2);
        if (found != nullptr && found->pw_dir != nullptr) home = found->pw_dir;
    }
    while (!home.empty() && home.back() == '/') home.pop_back();
    return home;
}

std::vector<std::string> directoryEntries(const std::string& path) {
    std::vector<std::string> names;
    DIR* directory = ::opendir(path.c_str());
    if (directory == nullptr) return names;
    while (const dirent* entry = ::readdir(directory)) {
        if (names.size() >= locatorListingLimit) break;
        std::string_view name(entry->d_name);
        if (name != "." && name != "..") names.emplace_back(name);
    }
    ::closedir(directory);
    // The system's listing order is arbitrary; sorting makes equal versions come out the same
    // way on every run.
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

Environment realLocatorEnvironment() {
    Environment environment;
    environment.home = homeDirectory();
    environment.readFile = [](const std::string& path) { return readBoundedFile(path, locatorRecordLimit); };
    environment.isExecutableFile = isExecutableFile;
    environment.listDirectory = directoryEntries;
    if (const char* value = std::getenv("CORVANE_CLI_PATH")) environment.explicitPath = std::string(value);
    return environment;
}

}  // namespace corvane::CliLocator
