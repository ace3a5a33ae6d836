#pragma once

#include "seams/Defaults.h"

namespace corvane::mac {

// NSUserDefaults.standardUserDefaults: bytes as NSData, booleans as NSNumber.
class UserDefaultsStore final : public Defaults {
public:
    std::optional<std::string> data(std::string_view key) const override;
    void setData(std::string_view key, std::string_view bytes) override;
    bool boolean(std::string_view key) const override;
    void setBoolean(std::string_view key, bool value) override;
    void remove(std::string_view key) override;
    bool synchronize() override;
};

}  // namespace corvane::mac
