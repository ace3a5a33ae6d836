#pragma once

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
        std::size_t count = 0;
        for (const auto& weak : observers_) count += weak.expired() ? 0 : 1;
        return count;
    }

private:
    class Observation : public AppearanceObservation {
    public:
        explicit Observation(std::shared_ptr<Job> job) : job_(std::move(job)) {}

    private:
        std::shared_ptr<Job> job_;
    };
    std::vector<std::weak_ptr<Job>> observers_;
};

}  // namespace corvane
