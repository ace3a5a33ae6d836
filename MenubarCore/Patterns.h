#pragma once

#include <cstddef>
#include <string_view>

// Small anchored matchers for the identifier patterns of the contract. std::regex in libstdc++
// recurses per character and is slow; these are a single pass each.
namespace corvane::patterns {

constexpr bool isLower(char c) { return c >= 'a' && c <= 'z'; }
constexpr bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isAlnum(char c) { return isLower(c) || isUpper(c) || isDigit(c); }

// True when `text` is one `first` character followed by `minRest`..`maxRest` `rest` characters.
template <class First, class Rest>
constexpr bool anchored(std::string_view text, First first, Rest rest, std::size_t minRest, std::size_t maxRest) {
    if (text.empty() || !first(text.front())) return false;
    const std::size_t restCount = text.size() - 1;
    if (restCount < minRest || restCount > maxRest) return false;
    for (std::size_t i = 1; i < text.size(); ++i)
        if (!rest(text[i])) return false;
    return true;
}

// True when `text` is `min`..`max` characters of `cls`.
template <class Class>
constexpr bool repeated(std::string_view text, Class cls, std::size_t min, std::size_t max) {
    return !text.empty() && anchored(text, cls, cls, min - 1, max - 1);
}

// ^[A-Za-z0-9.+_-]{1,80}$ — versions from outside (CLI and app versions in logs and reports).
constexpr bool isVersionText(std::string_view text) {
    return repeated(text, [](char c) { return isAlnum(c) || c == '.' || c == '+' || c == '_' || c == '-'; }, 1, 80);
}
// ^[A-Za-z0-9_-]{1,32}$ — diagnostic codes and the desktop diagnostic's domain.
constexpr bool isDiagnosticWord(std::string_view text) {
    return repeated(text, [](char c) { return isAlnum(c) || c == '_' || c == '-'; }, 1, 32);
}
// ^[a-z][a-z-]{0,39}$ — API routes.
constexpr bool isRoute(std::string_view text) {
    return anchored(text, isLower, [](char c) { return isLower(c) || c == '-'; }, 0, 39);
}
// ^[a-z][A-Za-z]{0,31}$ — refresh stage names.
constexpr bool isStageName(std::string_view text) {
    return anchored(text, isLower, [](char c) { return isLower(c) || isUpper(c); }, 0, 31);
}
// ^[A-Za-z0-9-]{1,64}$ — API request ids.
constexpr bool isRequestId(std::string_view text) {
    return repeated(text, [](char c) { return isAlnum(c) || c == '-'; }, 1, 64);
}

}  // namespace corvane::patterns
