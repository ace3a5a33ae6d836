#include "Variant.h"

#include <algorithm>
#include <cstring>

extern char** environ;

#ifndef CORVANE_BUILD_ENVIRONMENT
#define CORVANE_BUILD_ENVIRONMENT ""
#endif
#ifndef CORVANE_APP_VERSION
#define CORVANE_APP_VERSION ""
#endif

namespace corvane {
namespace {

std::optional<std::string> nonEmptyText(const std::optional<InfoDictionary>& dictionary, std::string_view key) {
    if (!dictionary) return std::nullopt;
    auto it = dictionary->find(key);
    if (it == dictionary->end() || !it->second.is_string()) return std::nullopt;
    const auto& text = it->second.get_ref<const std::string&>();
    if (text.empty()) return std::nullopt;
    return text;
}

constexpr char asciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
constexpr char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr bool isWordBreak(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

// Bytes of the UTF-8 character that starts with `lead` (1 for anything that is not a valid lead).
std::size_t utf8Length(unsigned char lead) {
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    return 1;
}

}  // namespace

Variant Variant::detect(const std::optional<InfoDictionary>& infoDictionary,
                        const ProcessEnvironment& processEnvironment) {
    if (auto it = processEnvironment.find(environmentVariable);
        it != processEnvironment.end() && !it->second.empty())
        return Variant{it->second};
    if (auto fromInfo = nonEmptyText(infoDictionary, environmentInfoKey)) return Variant{*fromInfo};
    return Variant{};
}

std::vector<std::string> Variant::menuArguments() const {
    if (isProduction()) return {"menu"};
    return {"menu", "--env", appEnv};
}

std::string Variant::displayName() const {
    if (isProduction()) return "Corvane";
    std::string name = "Corvane ";
    bool wordStart = true;
    for (char c : appEnv) {
        name += wordStart ? asciiUpper(c) : asciiLower(c);
        wordStart = isWordBreak(c);
    }
    return name;
}

std::optional<std::string> Variant::badgeLetter() const {
    if (isProduction() || appEnv.empty()) return std::nullopt;
    std::size_t length = std::min(utf8Length(static_cast<unsigned char>(appEnv.front())), appEnv.size());
    std::string letter = appEnv.substr(0, length);
    letter.front() = asciiUpper(letter.front());
    return letter;
}

InfoDictionary buildInfoDictionary() {
    InfoDictionary dictionary;
    if (std::strlen(CORVANE_BUILD_ENVIRONMENT) > 0)
        dictionary.emplace(environmentInfoKey, CORVANE_BUILD_ENVIRONMENT);
    if (std::strlen(CORVANE_APP_VERSION) > 0) dictionary.emplace(appVersionInfoKey, CORVANE_APP_VERSION);
    return dictionary;
}

std::string appVersion(const std::optional<InfoDictionary>& infoDictionary) {
    return nonEmptyText(infoDictionary, appVersionInfoKey).value_or("0.0.0-dev");
}

ProcessEnvironment currentProcessEnvironment() {
    ProcessEnvironment environment;
    if (environ == nullptr) return environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string_view text(*entry);
        auto equals = text.find('=');
        if (equals == std::string_view::npos) continue;
        environment.emplace(std::string(text.substr(0, equals)), std::string(text.substr(equals + 1)));
    }
    return environment;
}

Variant detectVariant() {
    return Variant::detect(buildInfoDictionary(), currentProcessEnvironment());
}

}  // namespace corvane
