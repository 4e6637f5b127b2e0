#pragma once

#include "json/JsonRecord.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// The writing side of records (JsonRecord.h): compact JSON, the members of every object in
// ascending order of their names, appended straight to one buffer.
namespace quenbrook::json {

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
void appendJsonName(std::string& out) {
    constexpr auto& start = memberStart<Record, Index>;
    out.append(start.data(), start.size());
}

template <JsonRecord Record, std::size_t Index>
void appendJsonMember(std::string& out, const Record& record) {
    const auto& value = record.*std::get<Index>(recordFields<Record>).member;
    if constexpr (isOptional<std::remove_cvref_t<decltype(value)>>) {
        if (!value) {
            return;
        }
        appendJsonName<Record, Index>(out);
        appendJson(out, *value);
    } else {
        appendJsonName<Record, Index>(out);
        appendJson(out, value);
    }
    out.push_back(',');
}

template <JsonRecord Record, std::size_t... Index>
void appendJsonMembers(std::string& out, const Record& record, std::index_sequence<Index...>) {
    (appendJsonMember<Record, fieldsByName<Record>[Index]>(out, record), ...);
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
        appendJsonMembers(out, value, std::make_index_sequence<fieldCount<T>>{});
        closeJson(out, '}');
    }
}

// Encodes a record of one list, which it is given element by element. Grows piece by piece, for a
// text of hundreds of megabytes that is moved on growing takes twice its memory.
template <JsonRecord Record>
class JsonListWriter {
    static_assert(fieldCount<Record> == 1);

  public:
    explicit JsonListWriter(std::size_t pieceSize = largePiece)
        : pieceSize_(pieceSize) {
        last().push_back('{');
        appendJsonName<Record, 0>(last());
        last().push_back('[');
    }

    template <class Element>
    void append(const Element& element) {
        if (last().size() >= pieceSize_) {
            pieces_.emplace_back().reserve(pieceSize_ + pieceSize_ / 8);
        } else if (last().size() >= manyBytes && last().size() >= last().capacity() / 2) {
            last().reserve(std::min(16 * last().capacity(), pieceSize_ + pieceSize_ / 8));
        }
        appendJson(last(), element);
        last().push_back(',');
    }

    // The whole, with room for one more character. Nothing is left here.
    std::string take() {
        closeJson(last(), ']');
        last().push_back('}');
        std::size_t size = 1;
        for (const std::string& piece : pieces_) {
            size += piece.size();
        }
        std::string whole = std::move(pieces_.front());
        whole.reserve(size);
        for (std::size_t i = 1; i < pieces_.size(); ++i) {
            whole += std::exchange(pieces_[i], {});
        }
        pieces_.clear();
        return whole;
    }

  private:
    // Large enough for the allocator to give each back to the system, whatever was freed before:
    // glibc keeps to itself what is smaller than 32 MiB.
    static constexpr std::size_t largePiece = std::size_t{64} << 20;
    // From here on a text gets more room than it may need: to move it costs more than memory that
    // is never written to.
    static constexpr std::size_t manyBytes = std::size_t{32} << 10;

    std::string& last() { return pieces_.back(); }

    std::size_t pieceSize_;
    std::vector<std::string> pieces_{1};
};

template <JsonRecord Record>
std::string encodeJson(const Record& record) {
    std::string out;
    appendJson(out, record);
    return out;
}

} // namespace quenbrook::json
