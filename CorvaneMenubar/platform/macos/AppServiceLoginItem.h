#pragma once

#include "seams/LoginItem.h"

namespace corvane::mac {

// SMAppService.mainAppService (macOS 13): the app itself as a login item.
class AppServiceLoginItem final : public LoginItem {
public:
    LoginItemStatus status() const override;
    std::optional<std::string> registerApp() override;
    std::optional<std::string> unregisterApp() override;
};

}  // namespace corvane::mac
