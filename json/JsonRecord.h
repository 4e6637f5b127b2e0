#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

// A record is a plain struct with one table of its fields, from which reading (JsonReader.h),
// writing (JsonWriter.h) and equality follow:
//
//     struct Point { std::int64_t x = 0; std::optional<std::string> label; };
//     template <>
//     inline constexpr auto json::recordFields<Point> =
//         std::tuple{json::field("x", &Point::x), json::field("label", &Point::label)};
//
// Fields are std::string, std::int64_t, bool, another record, a std::vector of these, or a
// std::optional of any of them. An optional field may be missing or null on reading and is left
// out on writing when absent; every other field is required.
namespace quenbrook::json {

template <class Record, class Value>
using JsonMember = Value Record::*;

template <class Record, class Value>
struct JsonField {
    std::string_view name;
    JsonMember<Record, Value> member;
};

// Names are written as they stand, so they must need no escape.
template <class Record, class Value>
consteval JsonField<Record, Value> field(std::string_view name, JsonMember<Record, Value> member) {
    for (const char c : name) {
        const bool plain =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!plain) {
            throw "a field name consists of letters and digits";
        }
    }
    return {name, member};
}

// The fields of a record, in declaration order. Specialised beside each record.
template <class T>
inline constexpr std::nullptr_t recordFields = nullptr;

template <class T>
concept JsonRecord = !std::is_null_pointer_v<std::remove_cv_t<decltype(recordFields<T>)>>;

template <JsonRecord Record>
inline constexpr std::size_t fieldCount =
    std::tuple_size_v<std::remove_cv_t<decltype(recordFields<Record>)>>;

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class T>
inline constexpr bool isList = false;
template <class T>
inline constexpr bool isList<std::vector<T>> = true;

template <JsonRecord Record>
inline constexpr auto fieldNames = std::apply(
    [](const auto&... fields) {
        return std::array<std::string_view, sizeof...(fields)>{fields.name...};
    },
    recordFields<Record>);

template <JsonRecord Record>
consteval auto sortedByName() {
    std::array<std::size_t, fieldCount<Record>> order{};
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    constexpr auto names = fieldNames<Record>;
    std::sort(order.begin(), order.end(),
        [&names](std::size_t a, std::size_t b) { return names[a] < names[b]; });
    return order;
}

// Positions in the table, by ascending name.
template <JsonRecord Record>
inline constexpr auto fieldsByName = sortedByName<Record>();

} // namespace quenbrook::json

namespace quenbrook {

template <json::JsonRecord Record>
bool operator==(const Record& a, const Record& b) {
    return std::apply(
        [&](const auto&... fields) { return ((a.*fields.member == b.*fields.member) && ...); },
        json::recordFields<Record>);
}

} // namespace quenbrook
