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

// Vowel signs, viramas and other marks of the Indic scripts (Devanagari to Sinhala): the signs
// of each block, leaving out its letters and digits.
bool indicMark(char32_t cp) {
    if (cp < 0x0900 || cp > 0x0DFF) return false;
    if (in(cp, 0x0900, 0x0903) || in(cp, 0x093A, 0x094F) || in(cp, 0x0951, 0x0957) || in(cp, 0x0962, 0x0963))
        return true;  // Devanagari
    if (cp >= 0x0D80) return in(cp, 0x0D81, 0x0D83) || in(cp, 0x0DCA, 0x0DDF) || in(cp, 0x0DF2, 0x0DF3);  // Sinhala
    // Bengali to Malayalam share one layout: signs at 01–03, nukta at 3C, vowel signs and virama
    // at 3E–4D, length marks at 55–57, vocalic vowel signs at 62–63 of each 128-point block.
    const char32_t at = (cp - 0x0900) % 0x80;
    return in(at, 0x00, 0x03) || at == 0x3C || in(at, 0x3E, 0x4D) || in(at, 0x55, 0x57) || in(at, 0x62, 0x63) ||
           (cp >= 0x0A00 && cp < 0x0A80 && in(at, 0x70, 0x71)) || cp == 0x0A75 || cp == 0x09D7 || cp == 0x0B82 ||
           cp == 0x0BD7 || cp == 0x0D3B;
}

// Hangul: leading consonants (L), vowels (V), trailing consonants (T) and precomposed syllables
// (LV, LVT) join by the usual rules: L before L, V, LV or LVT; LV or V before V or T; LVT or T
// before T.
enum class Jamo { none, l, v, t, lv, lvt };
Jamo jamoOf(char32_t cp) {
    if (in(cp, 0x1100, 0x115F) || in(cp, 0xA960, 0xA97C)) return Jamo::l;
    if (in(cp, 0x1160, 0x11A7) || in(cp, 0xD7B0, 0xD7C6)) return Jamo::v;
    if (in(cp, 0x11A8, 0x11FF) || in(cp, 0xD7CB, 0xD7FB)) return Jamo::t;
    if (in(cp, 0xAC00, 0xD7A3)) return (cp - 0xAC00) % 28 == 0 ? Jamo::lv : Jamo::lvt;
    return Jamo::none;
}
bool jamoJoins(Jamo before, Jamo after) {
    switch (before) {
        case Jamo::l: return after == Jamo::l || after == Jamo::v || after == Jamo::lv || after == Jamo::lvt;
        case Jamo::v:
        case Jamo::lv: return after == Jamo::v || after == Jamo::t;
        case Jamo::t:
        case Jamo::lvt: return after == Jamo::t;
        case Jamo::none: break;
    }
    return false;
}

// Code points that never start a character of their own.
bool extends(char32_t cp) {
    return in(cp, 0x0300, 0x036F)      // combining diacritical marks
           || in(cp, 0x0483, 0x0489)   // Cyrillic combining marks
           || in(cp, 0x0591, 0x05BD) || cp == 0x05BF || in(cp, 0x05C1, 0x05C2) || in(cp, 0x05C4, 0x05C5) ||
           cp == 0x05C7  // Hebrew points
           || in(cp, 0x0610, 0x061A) || in(cp, 0x064B, 0x065F) || cp == 0x0670 || in(cp, 0x06D6, 0x06DC) ||
           in(cp, 0x06DF, 0x06E4) || in(cp, 0x06E7, 0x06E8) || in(cp, 0x06EA, 0x06ED)  // Arabic marks
           || indicMark(cp)
           || cp == 0x0E31 || in(cp, 0x0E33, 0x0E3A) || in(cp, 0x0E47, 0x0E4E)  // Thai vowels and tones
           || cp == 0x0EB1 || in(cp, 0x0EB3, 0x0EBC) || in(cp, 0x0EC8, 0x0ECD)  // Lao
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

namespace {

// Where the character that starts at `at` ends.
std::size_t clusterEnd(std::string_view utf8, std::size_t at) {
    const Decoded first = decodeAt(utf8, at);
    at += first.length;
    if (!first.valid) return at;
    if (first.codePoint == '\r') return at < utf8.size() && utf8[at] == '\n' ? at + 1 : at;
    bool joinNext = false;
    bool pairedFlag = !isRegionalIndicator(first.codePoint);
    Jamo jamo = jamoOf(first.codePoint);
    while (at < utf8.size()) {
        // Plain ASCII never extends a character (a CR LF pair is taken above).
        if (!joinNext && static_cast<unsigned char>(utf8[at]) < 0x80) break;
        const Decoded next = decodeAt(utf8, at);
        if (!next.valid) break;
        const Jamo nextJamo = jamoOf(next.codePoint);
        if (joinNext) {
            joinNext = false;
        } else if (jamoJoins(jamo, nextJamo)) {
            jamo = nextJamo;
            at += next.length;
            continue;
        } else if (next.codePoint == zeroWidthJoiner) {
            joinNext = true;
        } else if (!pairedFlag && isRegionalIndicator(next.codePoint)) {
            pairedFlag = true;
        } else if (!extends(next.codePoint)) {
            break;
        }
        jamo = Jamo::none;
        at += next.length;
    }
    return at;
}

}  // namespace

std::vector<std::string_view> graphemeClusters(std::string_view utf8) {
    std::vector<std::string_view> out;
    for (std::size_t at = 0, end; at < utf8.size(); at = end) {
        end = clusterEnd(utf8, at);
        out.push_back(utf8.substr(at, end - at));
    }
    return out;
}

double FixedWidthTextMeasure::width(std::string_view utf8, FontRole) const {
    std::size_t count = 0;
    for (std::size_t at = 0; at < utf8.size(); at = clusterEnd(utf8, at)) ++count;
    return characterWidth_ * static_cast<double>(count);
}

}  // namespace corvane
