#pragma once

#include <memory>

#include "seams/Appearance.h"

namespace corvane {

// An appearance whose values the test sets before the app starts; no test here changes it while
// the app runs, so an observation never calls back.
class FakeAppearance : public Appearance {
public:
    bool dark = false;
    bool motionReduced = false;

    bool menuBarIsDark() const override { return dark; }
    bool reduceMotion() const override { return motionReduced; }
    std::unique_ptr<AppearanceObservation> observe(Job) override { return std::make_unique<AppearanceObservation>(); }
};

}  // namespace corvane
