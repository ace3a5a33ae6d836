#pragma once

#include <optional>
#include <string>

#include "seams/LoginItem.h"

namespace corvane {

// A login-item service whose answers the test sets. A successful register makes the status
// `enabled`; a successful unregister makes it `notRegistered`.
class FakeLoginItem : public LoginItem {
public:
    LoginItemStatus current = LoginItemStatus::notRegistered;
    std::optional<std::string> registerError;    // set: registering fails with this description
    std::optional<std::string> unregisterError;  // set: unregistering fails with this description
    int registerCalls = 0;
    int unregisterCalls = 0;

    LoginItemStatus status() const override { return current; }
    std::optional<std::string> registerApp() override {
        ++registerCalls;
        if (!registerError) current = LoginItemStatus::enabled;
        return registerError;
    }
    std::optional<std::string> unregisterApp() override {
        ++unregisterCalls;
        if (!unregisterError) current = LoginItemStatus::notRegistered;
        return unregisterError;
    }
};

}  // namespace corvane
