#include "platform/JsonReader.h"

#include "platform/JsonInteger.h"

#include <algorithm>
#include <limits>
#include <map>

#include <nlohmann/json.hpp>

namespace quenbrook::platform {
namespace {

// No value is ever made of one: this keeps the type apart from every other of the parser's.
template <class, class>
struct NoSerializer;

using Json = nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t,
    std::uint64_t, double, std::allocator, NoSerializer>;
using Bytes = decltype(nlohmann::detail::input_adapter(
    std::declval<const char*>(), std::declval<const char*>()));
using Lexer = nlohmann::detail::lexer<Json, Bytes>;

} // namespace
} // namespace quenbrook::platform

// Only the literal of a number with a fraction or an exponent counts here. Its value must not: the
// parser stops at one that is beyond what a double can hold.
template <>
constexpr double quenbrook::platform::Lexer::get_number_float() const noexcept {
    return 0;
}

namespace quenbrook::platform {
namespace {

// What the parser calls; hands every value on to the sink of the container it stands in.
class Events {
  public:
    explicit Events(JsonSink& root) { sinks_.push_back(&root); }

    // The offset of the byte at which the text is found to be no JSON. The parser's own
    // descriptions are dropped: they quote raw bytes of the text.
    const std::optional<std::size_t>& error() const { return error_; }

    bool null() { return scalar(nullptr); }
    bool boolean(bool value) { return scalar(value); }
    bool number_integer(std::int64_t value) { return scalar(value); }
    bool number_unsigned(std::uint64_t value) {
        constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
        return value <= largest ? scalar(static_cast<std::int64_t>(value))
                                : scalar(JsonOtherNumber{});
    }
    bool number_float(double, const std::string& literal) {
        const auto value = integerValueOf(literal);
        return value ? scalar(*value) : scalar(JsonOtherNumber{});
    }
    bool string(std::string& value) {
        return passedOver_ > 0 || scalar(JsonScalar(std::move(value)));
    }
    bool binary(const Json::binary_t&) { return false; }

    bool start_object(std::size_t) { return open(JsonContainer::object); }
    bool start_array(std::size_t) { return open(JsonContainer::array); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key(const std::string& name) {
        if (passedOver_ == 0) {
            sinks_.back()->key(name);
        }
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const Json::exception&) {
        // The position counts the bytes read, the offending one included.
        error_ = position == 0 ? 0 : position - 1;
        return false;
    }

  private:
    bool scalar(JsonScalar&& value) {
        if (passedOver_ == 0) {
            sinks_.back()->scalar(std::move(value));
        }
        return true;
    }

    bool open(JsonContainer container) {
        if (passedOver_ > 0) {
            ++passedOver_;
        } else if (auto sink = sinks_.back()->open(container)) {
            sinks_.push_back(sink.get());
            owned_.push_back(std::move(sink));
        } else {
            passedOver_ = 1;
        }
        return true;
    }

    bool close() {
        if (passedOver_ > 0) {
            --passedOver_;
            return true;
        }
        sinks_.back()->finish();
        sinks_.pop_back();
        owned_.pop_back();
        sinks_.back()->closed();
        return true;
    }

    std::vector<JsonSink*> sinks_;
    std::vector<std::unique_ptr<JsonSink>> owned_;
    // How many open containers nobody takes the parts of.
    std::size_t passedOver_ = 0;
    std::optional<std::size_t> error_;
};

std::optional<std::size_t> parse(std::string_view text, JsonSink& root) {
    // A NUL byte stands nowhere in a JSON text, but the parser takes it for the end.
    if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
        return nul;
    }
    Events events(root);
    Json::sax_parse(text.data(), text.data() + text.size(), &events);
    return events.error();
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

JsonFailure describe(std::string_view text, std::size_t error) {
    const std::size_t offset = std::min(error, text.size());
    const std::string place = placeOf(text, offset);
    if (offset == text.size()) {
        return {"", "is not valid JSON: it ends too early, at " + place};
    }
    return {"", "is not valid JSON: syntax error at " + place};
}

constexpr std::array<std::string_view, std::variant_size_v<JsonScalar>> scalarNames = {
    "null", "a boolean", "an integer", "a number that is no 64-bit integer", "a string"};

JsonFailure mismatch(std::string_view found, std::string_view expected) {
    return {"", "is " + std::string(found) + ", expected " + std::string(expected)};
}

} // namespace

std::string JsonFailure::sentence() const {
    return path.empty() ? "The request " + reason : "The key '" + path + "' " + reason;
}

std::optional<JsonFailure> readJsonText(std::string_view text, JsonSink& root) {
    if (const auto error = parse(text, root)) {
        return describe(text, *error);
    }
    return std::nullopt;
}

JsonFailure jsonMissing(std::string_view expected) {
    return {"", "is missing, expected " + std::string(expected)};
}

JsonFailure jsonMismatch(const JsonScalar& found, std::string_view expected) {
    return mismatch(scalarNames[found.index()], expected);
}

JsonFailure jsonMismatch(JsonContainer found, std::string_view expected) {
    return mismatch(found == JsonContainer::array ? "an array" : "an object", expected);
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

} // namespace quenbrook::platform
