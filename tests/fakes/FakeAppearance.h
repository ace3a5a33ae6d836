#pragma once

#include <algorithm>
#include <memory>
#include <vector>

#include "Appearance.h"

namespace corvane {

// An appearance the test changes with `set`, which notifies live observations.
class FakeAppearance : public Appearance {
public:
    bool dark = false;
    bool motionReduced = false;

    bool menuBarIsDark() const override { return dark; }
    bool reduceMotion() const override { return motionReduced; }

    std::unique_ptr<AppearanceObservation> observe(Job onChange) override {
        auto entry = std::make_shared<Job>(std::move(onChange));
        observers_.push_back(entry);
        return std::make_unique<Observation>(entry);
    }

    // Changes the values and calls every live observer.
    void set(bool isDark, bool reduce) {
        dark = isDark;
        motionReduced = reduce;
        auto observers = observers_;
        for (const auto& weak : observers)
            if (auto job = weak.lock(); job && *job) (*job)();
    }

    std::size_t observerCount() const {
        return static_cast<std::size_t>(std::count_if(observers_.begin(), observers_.end(), [](const auto& w) { return !w.expired(); }));
    }

private:
    // Holds the observer alive; dropping it ends the observation.
    struct Observation : AppearanceObservation {
        explicit Observation(std::shared_ptr<Job> job) : job(std::move(job)) {}
        std::shared_ptr<Job> job;
    };
    std::vector<std::weak_ptr<Job>> observers_;
};

}  // namespace corvane
