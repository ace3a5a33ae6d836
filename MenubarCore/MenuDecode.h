#pragma once

// Decoding the CLI's `corvane menu` answer. Lenient per row, strict at the top: a row, verb,
// badge, click report, time or optional block that fails its rule is dropped and its neighbours
// stay; a damaged top level fails the whole answer with `invalid`.

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json_fwd.hpp>

#include "MenuModel.h"

namespace corvane {

// The contract version this app speaks.
inline constexpr std::int64_t menuContract = 1;

namespace decode {
struct ContractMismatch {
    std::int64_t found = 0;
    bool operator==(const ContractMismatch&) const = default;
};
struct Invalid {
    std::string message;  // names the key path, e.g. "items[3].title: expected a string"
    bool operator==(const Invalid&) const = default;
};
}  // namespace decode

using MenuDecodeResult = std::variant<MenuPayload, decode::ContractMismatch, decode::Invalid>;

// Pure: the only inputs are the answer's bytes and `now`, used to word ages.
MenuDecodeResult decodeMenuPayload(std::string_view bytes, Instant now);

}  // namespace corvane
