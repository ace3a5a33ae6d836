#include "MenuTime.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace corvane {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

// -1 stands for no instant, which no row expects.
std::int64_t micros(const std::optional<Instant>& at) { return at ? at->time_since_epoch().count() : -1; }

TEST(MenuTime, ParsesInternetDateTimes) {
    struct Row { const char* text; std::int64_t microsSince1970; };
    const Row rows[] = {
        {"1970-01-01T00:00:00Z", 0}, {"2025-03-01T10:00:00Z", 1'740'823'200'000'000},
        {"2025-03-01T10:00:00.123456Z", 1'740'823'200'123'000},  // cut to whole milliseconds
        {"2025-03-01T10:00:00.9999999999999999999999Z", 1'740'823'200'999'000},
        {"2025-03-01T10:00:00.05Z", 1'740'823'200'050'000}, {"2025-03-01T11:30:00+01:30", 1'740'823'200'000'000},
        {"2025-03-01T05:00:00.250-05:00", 1'740'823'200'250'000}, {"2000-02-29T23:59:59Z", 951'868'799'000'000},
        {"1969-12-31T23:59:59Z", -1'000'000},
    };
    for (const auto& row : rows) EXPECT_EQ(micros(parseMenuTime(row.text)), row.microsSince1970) << row.text;
}

TEST(MenuTime, RejectsAnythingElse) {
    for (const char* text : {"", "yesterday", "2025-03-01T10:00Z", "2025-03-01T10:00:00", "2025-3-01T10:00:00Z",
                             "2025-02-29T10:00:00Z", "1900-02-29T10:00:00Z", "2025-04-31T10:00:00Z",
                             "2025-03-01T24:00:00Z", "2025-03-01T10:00:60Z", "2025-03-01T10:00:00+24:00",
                             "2025-03-01T10:00:00Zjunk", "2025-03-01T10:00:00.Z", "2025-03-01T10:00:00.1.2Z",
                             "２０２５-03-01T10:00:00Z"})
        EXPECT_FALSE(parseMenuTime(text)) << text;
}

TEST(MenuTime, WordsAges) {
    const std::pair<double, const char*> rows[] = {
        {-0.0, "just now"},      {59.999, "just now"},     {60, "1m ago"},        {3599, "59m ago"},
        {3600, "1h ago"},        {86399, "23h ago"},       {86400, "1d ago"},     {-0.001, "at an unknown time"},
        {nan, "at an unknown time"}, {inf, "at an unknown time"},
        {1e306, "at an unknown time"},  // its milliseconds overflow to infinity
        {1e12, "11574074d ago"},
    };
    for (const auto& [seconds, words] : rows) EXPECT_EQ(menuAge(seconds), words) << seconds;
}

// The decoder's agent and connection rows show the replacement; only the last separator counts.
TEST(MenuTime, ReplacesOnlyTheTrailingAge) { EXPECT_EQ(wordedAge("A · B · 1h ago", " · ", "2h ago"), "A · B · 2h ago"); }

TEST(MenuTime, WordsDurations) {
    const std::pair<double, const char*> rows[] = {
        {0, "0 seconds"},       {-5, "0 seconds"},      {-0.3, "0 seconds"},    {-0.0, "0 seconds"},
        {1, "1 second"},        {0.5, "1 second"},      {1.49, "1 second"},     {1.5, "2 seconds"},
        {59.5, "1 minute"},     {119, "1 minute"},      {120, "2 minutes"},     {3599, "59 minutes"},
        {3600, "1 hour"},       {7199, "1 hour"},       {7200, "2 hours"},      {86399, "23 hours"},
        {86400, "1 day"},       {172799, "1 day"},      {172800, "2 days"},     {nan, "0 seconds"},
    };
    for (const auto& [seconds, words] : rows) EXPECT_EQ(durationText(seconds), words) << seconds;
}

TEST(MenuTime, ChecksMilliseconds) {
    const std::pair<double, std::optional<std::int64_t>> rows[] = {
        {-0.0, 0},      {0.5, 1},         {1.4999, 1},        {86'400'000, 86'400'000},
        {86'400'000.5, {}}, {-0.001, {}}, {nan, {}},          {inf, {}},
    };
    for (const auto& [value, expected] : rows) EXPECT_EQ(milliseconds(value), expected) << value;
}

TEST(MenuTime, WritesUtcToTheSecond) {
    const std::pair<const char*, const char*> rows[] = {
        {"2025-01-31T09:15:00.999Z", "2025-01-31T09:15:00Z"}, {"2025-01-31T10:15:00+01:00", "2025-01-31T09:15:00Z"},
        {"1969-12-31T23:59:59.500Z", "1969-12-31T23:59:59Z"}, {"9999-12-31T23:59:59Z", "9999-12-31T23:59:59Z"},
        {"0000-01-01T00:00:00Z", "0000-01-01T00:00:00Z"},
    };
    for (const auto& [text, written] : rows) EXPECT_EQ(iso8601(*parseMenuTime(text)), written) << text;
}

}  // namespace
}  // namespace corvane
