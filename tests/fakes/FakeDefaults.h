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
    void remove(std::string_view key) override {
        if (auto it = values.find(key); it != values.end()) values.erase(it);
    }
    bool synchronize() override {
        ++synchronizeCalls;
        return synchronizeResult;
    }
};

}  // namespace corvane
