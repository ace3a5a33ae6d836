#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Defaults.h"

namespace corvane {

// An in-memory store. `synchronizeResult` is what `synchronize` answers.
class FakeDefaults : public Defaults {
public:
    std::map<std::string, std::variant<std::string, bool>, std::less<>> values;
    bool synchronizeResult = true;
    int synchronizeCalls = 0;

    std::optional<std::string> data(std::string_view key) const override {
        auto it = values.find(key);
        if (it == values.end()) return std::nullopt;
        if (auto bytes = std::get_if<std::string>(&it->second)) return *bytes;
        return std::nullopt;
    }
    void setData(std::string_view key, std::string_view bytes) override {
        values.insert_or_assign(std::string(key), std::string(bytes));
    }
    bool boolean(std::string_view key) const override {
        auto it = values.find(key);
        if (it == values.end()) return false;
        auto value = std::get_if<bool>(&it->second);
        return value && *value;
    }
    void setBoolean(std::string_view key, bool value) override { values.insert_or_assign(std::string(key), value); }
    void remove(std::string_view key) override {
        auto it = values.find(key);
        if (it != values.end()) values.erase(it);
    }
    bool synchronize() override {
        ++synchronizeCalls;
        return synchronizeResult;
    }
};

}  // namespace corvane
