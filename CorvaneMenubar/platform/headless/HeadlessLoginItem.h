#pragma once

#include "seams/LoginItem.h"

namespace corvane {

// A machine without a desktop session has no login-item service: the item is never found,
// registering fails, and unregistering (nothing to undo) succeeds.
class HeadlessLoginItem : public LoginItem {
public:
    LoginItemStatus status() const override { return LoginItemStatus::notFound; }
    std::optional<std::string> registerApp() override {
        return std::string("no login item service in the headless shell");
    }
    std::optional<std::string> unregisterApp() override { return std::nullopt; }
};

}  // namespace corvane
