#pragma once

#include "seams/LoginItem.h"

namespace corvane {

// The headless shell on a Mac, where starting at login belongs to the app bundle's service: the
// item is never found, registering fails, and unregistering (nothing to undo) succeeds.
class HeadlessLoginItem : public LoginItem {
public:
    LoginItemStatus status() const override { return LoginItemStatus::notFound; }
    std::optional<std::string> registerApp() override {
        return std::string("no login item service in the headless shell");
    }
    std::optional<std::string> unregisterApp() override { return std::nullopt; }
};

}  // namespace corvane
