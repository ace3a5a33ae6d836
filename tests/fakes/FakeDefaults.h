#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "seams/Defaults.h"

namespace corvane {

// An in-memory store that counts its synchronizations, which always succeed.
class FakeDefaults : public Defaults {
public:
    std::map<std::string, std::variant<std::string, bool>, std::less<>> values;
    int synchronizeCalls = 0;

    std::optional<std::string> data(std::string_view key) const override {
        auto it = values.find(key);
        if (auto bytes = it == values.end() ? nullptr : std::get_if<std::string>(&it->second)) return *bytes;
        return std::nullopt;
    }
    void setData(std::string_view key, std::string_view bytes) override {
        values.insert_or_assign(std::string(key), std::string(bytes));
    }
    bool boolean(std::string_view key) const override {
        auto it = values.find(key);
        return it != values.end() && std::get_if<bool>(&it->second) && std::get<bool>(it->second);
    }
    void setBoolean(std::string_view key, bool value) override { values.insert_or_assign(std::string(key), value); }
    void remove(std::string_view key) override { values.erase(std::string(key)); }
    bool synchronize() override { return ++synchronizeCalls > 0; }
};

}  // namespace corvane
