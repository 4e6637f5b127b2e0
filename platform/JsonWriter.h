#pragma once

#include "platform/JsonRecord.h"

#include <array>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

// The writing side of records (JsonRecord.h): compact JSON, the members of every object in
// ascending order of their names, appended straight to one buffer.
namespace quenbrook::platform {

// Appends `text` (valid UTF-8) as a JSON string (RFC 8259, section 7). The solidus is escaped, and
// so are control characters: the short form where there is one, else \u00xx. Everything else is
// written as it is.
void appendJsonString(std::string& out, std::string_view text);

void appendJsonInteger(std::string& out, std::int64_t value);

// `"name":`, ready to be appended.
template <JsonRecord Record, std::size_t Index>
inline constexpr auto memberStart = [] {
    constexpr std::string_view name = fieldNames<Record>[Index];
    std::array<char, name.size() + 3> text{};
    std::size_t at = 0;
    text[at++] = '"';
    for (const char c : name) {
        text[at++] = c;
    }
    text[at++] = '"';
    text[at++] = ':';
    return text;
}();

// Every part is written with a comma after it; the closing bracket then takes the last one's place.
inline void closeJson(std::string& out, char bracket) {
    if (out.back() == ',') {
        out.back() = bracket;
    } else {
        out.push_back(bracket);
    }
}

template <class T>
void appendJson(std::string& out, const T& value);

template <JsonRecord Record, std::size_t Index>
void appendJsonMember(std::string& out, const Record& record) {
    const auto& value = record.*std::get<Index>(recordFields<Record>).member;
    constexpr auto& start = memberStart<Record, Index>;
    if constexpr (isOptional<std::remove_cvref_t<decltype(value)>>) {
        if (!value) {
            return;
        }
        out.append(start.data(), start.size());
        appendJson(out, *value);
    } else {
        out.append(start.data(), start.size());
        appendJson(out, value);
    }
    out.push_back(',');
}

template <class T>
void appendJson(std::string& out, const T& value) {
    if constexpr (std::same_as<T, std::string>) {
        appendJsonString(out, value);
    } else if constexpr (std::same_as<T, bool>) {
        out.append(value ? "true" : "false");
    } else if constexpr (std::same_as<T, std::int64_t>) {
        appendJsonInteger(out, value);
    } else if constexpr (isList<T>) {
        out.push_back('[');
        for (const auto& element : value) {
            appendJson(out, element);
            out.push_back(',');
        }
        closeJson(out, ']');
    } else {
        static_assert(JsonRecord<T>);
        out.push_back('{');
        [&]<std::size_t... I>(std::index_sequence<I...>) {
            (appendJsonMember<T, fieldsByName<T>[I]>(out, value), ...);
        }
        (std::make_index_sequence<fieldCount<T>>{});
        closeJson(out, '}');
    }
}

template <JsonRecord Record>
std::string encodeJson(const Record& record) {
    std::string out;
    appendJson(out, record);
    return out;
}

} // namespace quenbrook::platform
