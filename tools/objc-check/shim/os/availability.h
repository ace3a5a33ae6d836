// The SDK's availability macros (<os/availability.h>), for the macOS platform only. The check
// compiles for a macOS target at the app's deployment target (check.sh), so clang treats these as
// on a Mac: an API introduced after the target needs `if (@available(macOS N, *))`
// (-Wunguarded-availability-new), and one deprecated at or before it warns
// (-Wdeprecated-declarations); with -Werror both fail.
//   API_AVAILABLE(macos(14.0))
//   API_DEPRECATED("message", macos(10.0, 10.14))   API_TO_BE_DEPRECATED for "later"
//   API_UNAVAILABLE(macos)
#ifndef OBJC_CHECK_OS_AVAILABILITY_H
#define OBJC_CHECK_OS_AVAILABILITY_H
#define API_TO_BE_DEPRECATED 100000
#define OBJC_CHECK_INTRODUCED_macos(version) macos, introduced = version
#define OBJC_CHECK_DEPRECATED_macos(introducedIn, deprecatedIn) macos, introduced = introducedIn, deprecated = deprecatedIn
#define OBJC_CHECK_UNAVAILABLE_macos macos, unavailable
#define API_AVAILABLE(platform) __attribute__((availability(OBJC_CHECK_INTRODUCED_##platform)))
#define API_DEPRECATED(text, platform) __attribute__((availability(OBJC_CHECK_DEPRECATED_##platform, message = text)))
#define API_UNAVAILABLE(platform) __attribute__((availability(OBJC_CHECK_UNAVAILABLE_##platform)))
#endif
