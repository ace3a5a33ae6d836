#pragma once

#include "seams/Appearance.h"

namespace corvane {

// An appearance that never changes (the headless shell has no menu bar).
class FixedAppearance : public Appearance {
public:
    explicit FixedAppearance(bool dark = false, bool reduceMotion = false) : dark_(dark), reduceMotion_(reduceMotion) {}

    bool menuBarIsDark() const override { return dark_; }
    bool reduceMotion() const override { return reduceMotion_; }
    std::unique_ptr<AppearanceObservation> observe(Job) override { return std::make_unique<AppearanceObservation>(); }

private:
    bool dark_;
    bool reduceMotion_;
};

}  // namespace corvane
