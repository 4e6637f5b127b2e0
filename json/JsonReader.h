#pragma once

#include "json/JsonRecord.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

// The reading side of records (JsonRecord.h): the library makes a document tree of the text, and
// the record's table says what is taken from it.
namespace quenbrook::json {

using Json = nlohmann::json;

// Why a text is no JSON form of a record.
struct JsonFailure {
    // From the outermost record to the value, as in `patch.attendeesV2[1].email`; empty for the
    // document itself.
    std::string path;
    // What is wrong with it: the rest of a sentence that begins with the key.
    std::string reason;

    // One sentence for people, in ASCII, without a full stop.
    std::string sentence() const;
};

using JsonResult = std::optional<JsonFailure>;

// Parses `text` (valid UTF-8; RFC 8259) and returns what `read` makes of the document. Of a name
// that occurs twice in an object the last value counts. Nesting may be as deep as memory allows.
// Returns a failure of its own when the text is no JSON or holds a number that no double holds.
JsonResult readDocument(
    std::string_view text, const std::function<JsonResult(const Json& document)>& read);

// Each returns false, and leaves `target` alone, when the value is of another type. An integer may
// be written with a fraction or an exponent; it is then read as a double, and has to be whole and
// below 2^53 in magnitude, where a double still tells it from its neighbours.
bool readScalar(const Json& value, std::string& target);
bool readScalar(const Json& value, bool& target);
bool readScalar(const Json& value, std::int64_t& target);

JsonFailure jsonMissing(std::string_view expected);
JsonFailure jsonMismatch(const Json& found, std::string_view expected);
JsonFailure within(std::string_view name, JsonFailure failure);
JsonFailure within(std::size_t index, JsonFailure failure);

template <class T>
constexpr std::string_view jsonTypeName() {
    if constexpr (isOptional<T>) {
        return jsonTypeName<typename T::value_type>();
    } else if constexpr (std::same_as<T, std::string>) {
        return "a string";
    } else if constexpr (std::same_as<T, bool>) {
        return "true or false";
    } else if constexpr (std::same_as<T, std::int64_t>) {
        return "a 64-bit integer";
    } else if constexpr (isList<T>) {
        return "an array";
    } else {
        static_assert(JsonRecord<T>);
        return "an object";
    }
}

template <class T>
JsonResult readJson(const Json& value, T& target);

template <class Element>
JsonResult readElements(const Json& array, std::vector<Element>& target) {
    for (std::size_t i = 0; i < array.size(); ++i) {
        if (auto failure = readJson(array[i], target.emplace_back())) {
            return within(i, std::move(*failure));
        }
    }
    return std::nullopt;
}

template <class T>
JsonResult readField(const Json& object, std::string_view name, T& target) {
    const auto member = object.find(name);
    JsonResult failure;
    if (member != object.end()) {
        failure = readJson(*member, target);
    } else if (!isOptional<T>) {
        failure = jsonMissing(jsonTypeName<T>());
    }
    return failure ? within(name, std::move(*failure)) : failure;
}

// The failure is that of the first field in declaration order.
template <JsonRecord Record>
JsonResult readFields(const Json& object, Record& target) {
    JsonResult failure;
    const auto fails = [&](const auto& field) {
        failure = readField(object, field.name, target.*field.member);
        return failure.has_value();
    };
    std::apply([&](const auto&... fields) { (fails(fields) || ...); }, recordFields<Record>);
    return failure;
}

template <class T>
JsonResult readJson(const Json& value, T& target) {
    if constexpr (isOptional<T>) {
        return value.is_null() ? std::nullopt : readJson(value, target.emplace());
    } else {
        if constexpr (isList<T>) {
            if (value.is_array()) {
                return readElements(value, target);
            }
        } else if constexpr (JsonRecord<T>) {
            if (value.is_object()) {
                return readFields(value, target);
            }
        } else if (readScalar(value, target)) {
            return std::nullopt;
        }
        return jsonMismatch(value, jsonTypeName<T>());
    }
}

template <JsonRecord Record>
std::variant<Record, JsonFailure> decodeJson(std::string_view text) {
    Record record;
    if (auto failure =
            readDocument(text, [&](const Json& document) { return readJson(document, record); })) {
        return std::move(*failure);
    }
    return record;
}

} // namespace quenbrook::json
