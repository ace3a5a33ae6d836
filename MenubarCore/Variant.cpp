#include "Variant.h"

#include <cstdint>
#include <cstring>
#include <utility>

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

constexpr bool isWordBreak(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

// Simple (one-to-one) case pairs of the scripts environment names are written in: Latin with its
// extensions, Greek, Cyrillic, Armenian and full-width Latin. An offset range maps each lower-case
// letter in [first, last] to the letter `toUpper` away; an alternating range holds pairs, each an
// upper-case letter followed by its lower-case one. `oneWay` pairs have no way back (ı, ς, ſ, µ
// upper-case to letters whose own lower case is another letter).
struct CaseRange {
    char32_t first, last;
    std::int32_t toUpper;
    bool alternating = false;
    bool oneWay = false;
};

constexpr CaseRange caseRanges[] = {
    {0x61, 0x7A, -32},           {0xB5, 0xB5, 0x39C - 0xB5, false, true},
    {0xE0, 0xF6, -32},           {0xF8, 0xFE, -32},
    {0xFF, 0xFF, 0x178 - 0xFF},  {0x100, 0x12F, 0, true},
    {0x131, 0x131, 'I' - 0x131, false, true},
    {0x132, 0x137, 0, true},     {0x139, 0x148, 0, true},
    {0x14A, 0x177, 0, true},     {0x179, 0x17E, 0, true},
    {0x17F, 0x17F, 'S' - 0x17F, false, true},
    {0x1CD, 0x1DC, 0, true},     {0x1DE, 0x1EF, 0, true},
    {0x1F8, 0x21F, 0, true},     {0x222, 0x233, 0, true},
    {0x246, 0x24F, 0, true},     {0x3AC, 0x3AC, 0x386 - 0x3AC},
    {0x3AD, 0x3AF, 0x388 - 0x3AD}, {0x3B1, 0x3C1, -32},
    {0x3C2, 0x3C2, 0x3A3 - 0x3C2, false, true},
    {0x3C3, 0x3CB, -32},         {0x3CC, 0x3CC, 0x38C - 0x3CC},
    {0x3CD, 0x3CE, 0x38E - 0x3CD}, {0x430, 0x44F, -32},
    {0x450, 0x45F, -80},         {0x460, 0x481, 0, true},
    {0x48A, 0x4BF, 0, true},     {0x4C1, 0x4CE, 0, true},
    {0x4CF, 0x4CF, 0x4C0 - 0x4CF}, {0x4D0, 0x52F, 0, true},
    {0x561, 0x586, -48},         {0x1E00, 0x1E95, 0, true},
    {0x1EA0, 0x1EFF, 0, true},   {0xFF41, 0xFF5A, -32},
};

char32_t upperCase(char32_t c) {
    for (const auto& range : caseRanges) {
        if (c < range.first || c > range.last) continue;
        if (!range.alternating) return static_cast<char32_t>(static_cast<std::int32_t>(c) + range.toUpper);
        return (c - range.first) % 2 == 1 ? c - 1 : c;
    }
    return c;
}

char32_t lowerCase(char32_t c) {
    for (const auto& range : caseRanges) {
        if (range.oneWay) continue;
        if (range.alternating) {
            if (c >= range.first && c <= range.last && (c - range.first) % 2 == 0) return c + 1;
        } else if (auto lower = static_cast<std::int32_t>(c) - range.toUpper;
                   lower >= static_cast<std::int32_t>(range.first) && lower <= static_cast<std::int32_t>(range.last)) {
            return static_cast<char32_t>(lower);
        }
    }
    return c;
}

// The well-formed UTF-8 character at the start of `text` and its length in bytes; nothing for a
// malformed one (a stray byte, an overlong form, a surrogate), which is then kept byte by byte.
std::optional<std::pair<char32_t, std::size_t>> decodeCharacter(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) return std::pair{char32_t{lead}, std::size_t{1}};
    std::size_t length = lead >= 0xF0 && lead <= 0xF4 ? 4 : lead >= 0xE0 && lead <= 0xEF ? 3 : lead >= 0xC2 && lead <= 0xDF ? 2 : 0;
    if (length == 0 || text.size() < length) return std::nullopt;
    char32_t c = lead & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0) != 0x80) return std::nullopt;
        c = (c << 6) | (next & 0x3F);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < smallest[length] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return std::nullopt;
    return std::pair{c, length};
}

void appendCharacter(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Appends the first character of `text` with its case mapped (a malformed byte as it is) and
// returns how many bytes it took.
std::size_t appendCased(std::string& out, std::string_view text, bool upper) {
    auto character = decodeCharacter(text);
    if (!character) {
        out += text.front();
        return 1;
    }
    appendCharacter(out, upper ? upperCase(character->first) : lowerCase(character->first));
    return character->second;
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
    for (std::size_t at = 0; at < appEnv.size();) {
        const char c = appEnv[at];
        at += appendCased(name, std::string_view(appEnv).substr(at), wordStart);
        wordStart = isWordBreak(c);
    }
    return name;
}

std::optional<std::string> Variant::badgeLetter() const {
    if (isProduction() || appEnv.empty()) return std::nullopt;
    std::string letter;
    appendCased(letter, appEnv, true);
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
