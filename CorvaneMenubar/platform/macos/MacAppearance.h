#pragma once

#include <functional>

#import <AppKit/AppKit.h>

#include "seams/Appearance.h"

namespace corvane::mac {

// The menu bar's look, read from the status button (the menu bar can be dark while the app's
// own appearance is light), and the Reduce Motion accessibility setting.
class MacAppearance final : public Appearance {
public:
    // `button` gives the status item's button, or nil before it exists.
    explicit MacAppearance(std::function<NSStatusBarButton*()> button) : button_(std::move(button)) {}

    bool menuBarIsDark() const override;
    bool reduceMotion() const override;
    // Observes the button's effectiveAppearance (key-value observation) and the workspace's
    // accessibility display options.
    std::unique_ptr<AppearanceObservation> observe(Job onChange) override;

private:
    std::function<NSStatusBarButton*()> button_;
};

}  // namespace corvane::mac
