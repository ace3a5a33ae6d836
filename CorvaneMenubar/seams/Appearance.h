#pragma once

#include <memory>

#include "MainLoop.h"

namespace corvane {

// An observation of appearance changes; destroying it stops the callbacks.
class AppearanceObservation {
public:
    virtual ~AppearanceObservation() = default;
};

// How the desktop looks where the status icon is drawn. AppKit: the status button's
// `effectiveAppearance` (matched against the dark and light system appearances, observed with
// key-value observation) and `NSWorkspace.accessibilityDisplayShouldReduceMotion`. Qt: the
// panel's own colour where the desktop publishes it (`panelShade`: xfconf, KDE's colour scheme,
// waybar's style sheet; dark elsewhere), the desktop's reduce-motion setting where one exists.
// Main thread only.
class Appearance {
public:
    virtual ~Appearance() = default;

    // True when the menu bar (panel) behind the status icon is dark.
    virtual bool menuBarIsDark() const = 0;

    // True when the user asked the system to reduce motion (no pulsing icons).
    virtual bool reduceMotion() const = 0;

    // Calls `onChange` on the main thread after either value may have changed, until the
    // observation is destroyed. The callback reads the new values through the getters.
    virtual std::unique_ptr<AppearanceObservation> observe(Job onChange) = 0;
};

}  // namespace corvane
