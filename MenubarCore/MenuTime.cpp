#include "MenuTime.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "Patterns.h"

namespace corvane {
namespace {

using patterns::isDigit;

// Days since 1970-01-01 of a proleptic Gregorian date (Howard Hinnant's days_from_civil).
constexpr std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

struct Civil {
    std::int64_t year;
    unsigned month;
    unsigned day;
};

constexpr Civil civilFromDays(std::int64_t z) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned d = doy - (153 * mp + 2) / 5 + 1;
    const unsigned m = mp < 10 ? mp + 3 : mp - 9;
    return Civil{static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2), m, d};
}

static_assert(daysFromCivil(1970, 1, 1) == 0);
static_assert(daysFromCivil(2000, 3, 1) == 11017);
static_assert(civilFromDays(11017).year == 2000 && civilFromDays(11017).month == 3);

constexpr bool isLeap(std::int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

constexpr unsigned daysInMonth(std::int64_t y, unsigned m) {
    constexpr unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && isLeap(y) ? 29 : days[m - 1];
}

// Reads exactly `count` digits at `pos`; advances `pos`.
bool digits(std::string_view text, std::size_t& pos, std::size_t count, unsigned& value) {
    if (pos + count > text.size()) return false;
    value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        char c = text[pos + i];
        if (!isDigit(c)) return false;
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    pos += count;
    return true;
}

bool literal(std::string_view text, std::size_t& pos, char c) {
    if (pos >= text.size() || text[pos] != c) return false;
    ++pos;
    return true;
}

// "YYYY-MM-DDTHH:MM:SS" followed by "Z" or "+HH:MM"/"-HH:MM", nothing else; seconds since 1970.
std::optional<std::int64_t> internetDateTime(std::string_view text) {
    std::size_t pos = 0;
    unsigned year, month, day, hour, minute, second;
    if (!digits(text, pos, 4, year) || !literal(text, pos, '-') || !digits(text, pos, 2, month) ||
        !literal(text, pos, '-') || !digits(text, pos, 2, day) || !literal(text, pos, 'T') ||
        !digits(text, pos, 2, hour) || !literal(text, pos, ':') || !digits(text, pos, 2, minute) ||
        !literal(text, pos, ':') || !digits(text, pos, 2, second))
        return std::nullopt;
    if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month)) return std::nullopt;
    if (hour > 23 || minute > 59 || second > 59) return std::nullopt;

    std::int64_t offsetSeconds = 0;
    if (literal(text, pos, 'Z')) {
        // UTC
    } else if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) {
        const bool ahead = text[pos] == '+';
        ++pos;
        unsigned offsetHours, offsetMinutes;
        if (!digits(text, pos, 2, offsetHours) || !literal(text, pos, ':') || !digits(text, pos, 2, offsetMinutes))
            return std::nullopt;
        if (offsetHours > 23 || offsetMinutes > 59) return std::nullopt;
        offsetSeconds = (ahead ? 1 : -1) * static_cast<std::int64_t>(offsetHours * 3600 + offsetMinutes * 60);
    } else {
        return std::nullopt;
    }
    if (pos != text.size()) return std::nullopt;

    const std::int64_t days = daysFromCivil(year, month, day);
    return days * 86400 + hour * 3600 + minute * 60 + second - offsetSeconds;
}

std::string wholeNumber(double value) {
    char buffer[400];
    std::snprintf(buffer, sizeof buffer, "%.0f", value);
    return buffer;
}

std::string counted(double count, const char* unit, bool plural) {
    std::string text = wholeNumber(count);
    text += ' ';
    text += unit;
    if (plural) text += 's';
    return text;
}

}  // namespace

std::optional<Instant> parseMenuTime(std::string_view text) {
    // The fraction is cut out first (wherever "\.\d+" first occurs); the rest must be a plain
    // internet date-time. The fraction's first three digits are its whole milliseconds.
    std::string rest(text);
    std::int64_t fractionMs = 0;
    for (std::size_t i = 0; i + 1 < rest.size(); ++i) {
        if (rest[i] != '.' || !isDigit(rest[i + 1])) continue;
        std::size_t end = i + 1;
        while (end < rest.size() && isDigit(rest[end])) ++end;
        for (std::size_t k = 0; k < 3; ++k) {
            const std::size_t at = i + 1 + k;
            fractionMs = fractionMs * 10 + (at < end ? rest[at] - '0' : 0);
        }
        rest.erase(i, end - i);
        break;
    }
    auto seconds = internetDateTime(rest);
    if (!seconds) return std::nullopt;
    return Instant(std::chrono::microseconds(*seconds * 1'000'000 + fractionMs * 1'000));
}

std::string menuAge(double seconds) {
    const double ms = seconds * 1000.0;
    if (!std::isfinite(ms) || ms < 0) return "at an unknown time";
    if (ms < 60'000) return "just now";
    const double minutes = std::floor(ms / 60'000);
    if (minutes < 60) return wholeNumber(minutes) + "m ago";
    if (minutes > 1439) return wholeNumber(std::floor(minutes / 1440)) + "d ago";
    return wholeNumber(std::floor(minutes / 60)) + "h ago";
}

std::string wordedAge(std::string_view text, std::string_view separator, std::string_view age) {
    std::string result(text);
    if (!separator.empty()) {
        if (auto at = result.rfind(separator); at != std::string::npos) result.erase(at);
    }
    result += separator;
    result += age;
    return result;
}

std::string durationText(double seconds) {
    // A non-finite duration has no sensible words; it reads as no time at all.
    const double s = std::isfinite(seconds) ? std::round(seconds) : 0.0;
    // A rounded value in (-0.5, 0] is negative zero, which must not print as "-0".
    if (s <= 59) return counted(s > 0 ? s : 0.0, "second", s != 1);
    if (s <= 3599) return counted(std::floor(s / 60), "minute", s >= 120);
    if (s < 86'400) return counted(std::floor(s / 3600), "hour", s >= 7200);
    return counted(std::floor(s / 86'400), "day", s >= 172'800);
}

std::optional<std::int64_t> milliseconds(double value) {
    if (!std::isfinite(value) || value < 0 || value > 86'400'000.0) return std::nullopt;
    return static_cast<std::int64_t>(std::round(value));
}

std::string iso8601(Instant at) {
    const std::int64_t micros = at.time_since_epoch().count();
    std::int64_t seconds = micros / 1'000'000;
    if (micros % 1'000'000 < 0) --seconds;  // whole seconds rounded down, also before 1970
    std::int64_t days = seconds / 86400;
    std::int64_t secondOfDay = seconds % 86400;
    if (secondOfDay < 0) {
        secondOfDay += 86400;
        --days;
    }
    const Civil date = civilFromDays(days);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04lld-%02u-%02uT%02lld:%02lld:%02lldZ", static_cast<long long>(date.year),
                  date.month, date.day, static_cast<long long>(secondOfDay / 3600),
                  static_cast<long long>(secondOfDay / 60 % 60), static_cast<long long>(secondOfDay % 60));
    return buffer;
}

}  // namespace corvane
