#include "json/JsonReader.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quenbrook::json {
namespace {

// From 2^53 on a double no longer tells a whole number from its neighbours.
constexpr double exactBelow = 9'007'199'254'740'992.0;

std::optional<std::int64_t> integerOf(const Json& value) {
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
        return number <= largest ? std::optional(static_cast<std::int64_t>(number)) : std::nullopt;
    }
    if (value.is_number_float()) {
        const auto number = value.get<double>();
        const bool exact = std::abs(number) < exactBelow && std::trunc(number) == number;
        return exact ? std::optional(static_cast<std::int64_t>(number)) : std::nullopt;
    }
    return value.is_number_integer() ? std::optional(value.get<std::int64_t>()) : std::nullopt;
}

// One-based line and column, the column in code points.
std::string placeOf(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::string_view line = before.substr(before.rfind('\n') + 1);
    const auto characters = std::count_if(line.begin(), line.end(),
        [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(characters + 1) +
           " (byte offset " + std::to_string(offset) + ")";
}

JsonFailure syntaxFailure(std::string_view text, std::size_t offset) {
    const std::string place = placeOf(text, offset);
    if (offset == text.size()) {
        return {"", "is not valid JSON: it ends too early, at " + place};
    }
    return {"", "is not valid JSON: syntax error at " + place};
}

std::string_view typeNameOf(const Json& value) {
    switch (value.type()) {
    case Json::value_t::null:
        return "null";
    case Json::value_t::boolean:
        return "a boolean";
    case Json::value_t::string:
        return "a string";
    case Json::value_t::array:
        return "an array";
    case Json::value_t::object:
        return "an object";
    default:
        return integerOf(value) ? "an integer" : "a number that is no 64-bit integer";
    }
}

} // namespace

std::string JsonFailure::sentence() const {
    return path.empty() ? "The request " + reason : "The key '" + path + "' " + reason;
}

JsonResult readDocument(
    std::string_view text, const std::function<JsonResult(const Json& document)>& read) {
    // A NUL byte stands nowhere in a JSON text, but the parser takes it for the end.
    if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
        return syntaxFailure(text, nul);
    }
    Json document;
    // The parser's own descriptions are dropped: they quote raw bytes of the text.
    try {
        document = Json::parse(text);
    } catch (const Json::parse_error& error) {
        // It counts the bytes read, the offending one included.
        const std::size_t offset = error.byte == 0 ? 0 : error.byte - 1;
        return syntaxFailure(text, std::min(offset, text.size()));
    } catch (const Json::out_of_range&) {
        return JsonFailure{"", "holds a number that is too large"};
    }
    return read(document);
}

bool readScalar(const Json& value, std::string& target) {
    if (value.is_string()) {
        target = value.get_ref<const std::string&>();
    }
    return value.is_string();
}

bool readScalar(const Json& value, bool& target) {
    if (value.is_boolean()) {
        target = value.get<bool>();
    }
    return value.is_boolean();
}

bool readScalar(const Json& value, std::int64_t& target) {
    const auto integer = integerOf(value);
    target = integer.value_or(target);
    return integer.has_value();
}

JsonFailure jsonMissing(std::string_view expected) {
    return {"", "is missing, expected " + std::string(expected)};
}

JsonFailure jsonMismatch(const Json& found, std::string_view expected) {
    return {"", "is " + std::string(typeNameOf(found)) + ", expected " + std::string(expected)};
}

JsonFailure within(std::string_view name, JsonFailure failure) {
    const bool needsDot = !failure.path.empty() && failure.path.front() != '[';
    return {std::string(name) + (needsDot ? "." : "") + failure.path, std::move(failure.reason)};
}

JsonFailure within(std::size_t index, JsonFailure failure) {
    std::string place = "[";
    place.append(std::to_string(index)).push_back(']');
    return within(place, std::move(failure));
}

} // namespace quenbrook::json
