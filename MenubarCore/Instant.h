#pragma once

#include <chrono>
#include <cstdint>

namespace corvane {

// A point in wall-clock time. The core never reads a clock: every decision takes `now` from its
// caller. Microseconds keep the milliseconds of wire times exact and the fraction the log writes.
using Instant = std::chrono::sys_time<std::chrono::microseconds>;

// Seconds from `from` to `to` (negative when `to` is earlier).
inline double secondsBetween(Instant from, Instant to) {
    return std::chrono::duration<double>(to - from).count();
}

inline Instant instantFromSeconds(double secondsSince1970) {
    return Instant(std::chrono::microseconds(static_cast<std::int64_t>(secondsSince1970 * 1'000'000.0)));
}

inline Instant plusSeconds(Instant at, double seconds) {
    return at + std::chrono::microseconds(static_cast<std::int64_t>(seconds * 1'000'000.0));
}

// Milliseconds since 1970 as the log writes them (fraction kept).
inline double millisecondsSince1970(Instant at) {
    return static_cast<double>(at.time_since_epoch().count()) / 1000.0;
}

}  // namespace corvane
