#pragma once

// The menu's time language: reading wire times and wording ages and durations, so that every
// row ages alike.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Instant.h"

namespace corvane {

// ISO 8601 internet date-time ("Z" or an offset), fractional seconds of any length cut to whole
// milliseconds. Anything else gives nothing.
std::optional<Instant> parseMenuTime(std::string_view text);

// The age of something that happened `seconds` ago: "just now", "5m ago", "3h ago", "2d ago";
// "at an unknown time" for a future or non-finite age.
std::string menuAge(double seconds);

// `text` with its trailing "<separator><age>" replaced (or appended when it has none).
std::string wordedAge(std::string_view text, std::string_view separator, std::string_view age);

// "1 second", "2 minutes", "1 hour", "3 days" (rounded to the nearest second, halves away from zero).
std::string durationText(double seconds);

// Whole milliseconds, or nothing for negative, non-finite or more-than-a-day values.
std::optional<std::int64_t> milliseconds(double value);

// "2025-01-31T09:15:00Z": an instant in UTC to the second, as reports and request files write it.
std::string iso8601(Instant at);

}  // namespace corvane
