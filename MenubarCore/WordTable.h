#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace corvane {

// A fixed table between an enumeration and its wire or contract words, read both ways.
template <class E, std::size_t N>
using WordTable = std::array<std::pair<E, std::string_view>, N>;

// The word of `value`; empty when the table lacks it.
template <class E, std::size_t N>
constexpr std::string_view wordIn(const WordTable<E, N>& table, E value) {
    for (const auto& [v, w] : table)
        if (v == value) return w;
    return {};
}

// The value whose word is `word`; nothing for an unknown word.
template <class E, std::size_t N>
constexpr std::optional<E> valueIn(const WordTable<E, N>& table, std::string_view word) {
    for (const auto& [v, w] : table)
        if (w == word) return v;
    return std::nullopt;
}

}  // namespace corvane
