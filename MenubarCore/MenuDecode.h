#pragma once

// Decoding the CLI's `corvane menu` answer. Lenient per row, strict at the top: a row, verb,
// badge, click report, time or optional block that fails its rule is dropped and its neighbours
// stay; a damaged top level fails the whole answer with `invalid`.

#include <cstddef>
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
    std::string message;  // names the key path, e.g. "items[3].title: expected a string, found a number"
    bool operator==(const Invalid&) const = default;
};
}  // namespace decode

using MenuDecodeResult = std::variant<MenuPayload, decode::ContractMismatch, decode::Invalid>;

// Rows nested deeper than this many levels (submenus in submenus, and the item objects of
// "presentation", "dismiss" and an agent's "harness", which count as one level each) are not
// read at all and are left out like any other row the app cannot show. Top-level rows are level 1.
// Real menus nest two or three levels; the limit keeps hostile answers from exhausting the stack.
inline constexpr int maxMenuDepth = 32;

// Rows one answer may show, counted over its main and "more" rows and every submenu. Item objects
// past the limit are not read; each list that lost some ends in a muted status row saying how
// many ("1,234 more rows not shown"). Real menus hold a few dozen rows; the limit keeps the cost of
// building a menu from a hostile answer small in every shell.
inline constexpr std::size_t maxMenuRows = 1000;
// Folders one answer may have watched: the first ones that are absolute, each once.
inline constexpr std::size_t maxWatchPaths = 32;
// A "copy" verb whose text is longer than this (or holds a NUL) is dropped.
inline constexpr std::size_t copyTextLimit = std::size_t{256} << 10;

// Pure: the only inputs are the answer's bytes and `now`, used to word ages.
MenuDecodeResult decodeMenuPayload(std::string_view bytes, Instant now);

}  // namespace corvane
