#include "TextMeasure.h"

#include <cstdint>

namespace corvane {
namespace {

struct Decoded {
    char32_t codePoint = 0;
    std::size_t length = 1;
    bool valid = false;
};

// One UTF-8 sequence at `at`; an invalid or truncated sequence decodes as one invalid byte.
Decoded decodeAt(std::string_view text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) return {lead, 1, true};
    std::size_t length = 0;
    char32_t cp = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2;
        cp = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3;
        cp = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4;
        cp = lead & 0x07;
    } else {
        return {};
    }
    if (at + length > text.size()) return {};
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0) != 0x80) return {};
        cp = (cp << 6) | (next & 0x3F);
    }
    static constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < smallest[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return {};
    return {cp, length, true};
}

bool in(char32_t cp, char32_t from, char32_t to) { return cp >= from && cp <= to; }

// Code points that never start a character of their own.
bool extends(char32_t cp) {
    return in(cp, 0x0300, 0x036F)      // combining diacritical marks
           || in(cp, 0x0483, 0x0489)   // Cyrillic combining marks
           || in(cp, 0x0591, 0x05BD)   // Hebrew points
           || in(cp, 0x0610, 0x061A) || in(cp, 0x064B, 0x065F)  // Arabic marks
           || in(cp, 0x0900, 0x0903) || in(cp, 0x093A, 0x094F)  // Devanagari signs
           || in(cp, 0x1AB0, 0x1AFF) || in(cp, 0x1DC0, 0x1DFF)  // more combining marks
           || in(cp, 0x200C, 0x200C)   // zero-width non-joiner
           || in(cp, 0x20D0, 0x20FF)   // combining marks for symbols (keycaps)
           || in(cp, 0xFE00, 0xFE0F)   // variation selectors
           || in(cp, 0xFE20, 0xFE2F)   // combining half marks
           || in(cp, 0x1F3FB, 0x1F3FF) // emoji skin-tone modifiers
           || in(cp, 0xE0020, 0xE007F) // tag characters (subdivision flags)
           || in(cp, 0xE0100, 0xE01EF);  // variation selectors supplement
}

constexpr char32_t zeroWidthJoiner = 0x200D;
bool isRegionalIndicator(char32_t cp) { return in(cp, 0x1F1E6, 0x1F1FF); }

}  // namespace

std::vector<std::string_view> graphemeClusters(std::string_view utf8) {
    std::vector<std::string_view> out;
    std::size_t at = 0;
    while (at < utf8.size()) {
        const std::size_t start = at;
        const Decoded first = decodeAt(utf8, at);
        at += first.length;
        if (first.valid) {
            bool joinNext = false;
            bool pairedFlag = !isRegionalIndicator(first.codePoint);
            while (at < utf8.size()) {
                const Decoded next = decodeAt(utf8, at);
                if (!next.valid) break;
                if (joinNext) {
                    joinNext = false;
                } else if (next.codePoint == zeroWidthJoiner) {
                    joinNext = true;
                } else if (!pairedFlag && isRegionalIndicator(next.codePoint)) {
                    pairedFlag = true;
                } else if (!extends(next.codePoint)) {
                    break;
                }
                at += next.length;
            }
        }
        out.push_back(utf8.substr(start, at - start));
    }
    return out;
}

double FixedWidthTextMeasure::width(std::string_view utf8, FontRole) const {
    return characterWidth_ * static_cast<double>(graphemeClusters(utf8).size());
}

}  // namespace corvane
