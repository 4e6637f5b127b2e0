#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quenbrook {

// The word that stands at `number` in a table of words. Returns nullopt for a number outside it.
template <std::size_t Size>
constexpr std::optional<std::string_view> wordAt(
    const std::array<std::string_view, Size>& words, std::int64_t number) {
    // Read as unsigned, a negative number lies beyond every table.
    const auto index = static_cast<std::uint64_t>(number);
    return index < Size ? std::optional(words[static_cast<std::size_t>(index)]) : std::nullopt;
}

// By RecurrenceFrequency.
inline constexpr std::array<std::string_view, 4> frequencyWords = {
    "daily", "weekly", "monthly", "yearly"};

} // namespace quenbrook
