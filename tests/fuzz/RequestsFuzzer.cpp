#include "src/DecodeStdin.h"
#include "tests/fuzz/Require.h"
#include "json/JsonReader.h"
#include "json/JsonWriter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

// The first byte chooses the record. A request that decodes must be the same after it was written
// and read again, with blanks around it, and with earlier values of its keys and an unknown key
// before them. One that does not must be refused with an error of the two codes and a sentence in
// ASCII, blanks around it or not.

namespace {

using quenbrook::fuzz::require;

template <class Request>
struct Decoded {
    std::optional<Request> request;
    std::string refusal;

    bool operator==(const Decoded&) const = default;
};

template <class Request>
Decoded<Request> decoded(std::string_view text) {
    try {
        return {quenbrook::decodeStdin<Request>(text), {}};
    } catch (const quenbrook::QuenbrookError& error) {
        require(error.code() == "INVALID_JSON" || error.code() == "MISSING_ARGS");
        require(std::all_of(error.message().begin(), error.message().end(),
            [](char c) { return static_cast<unsigned char>(c) < 0x80; }));
        return {std::nullopt, error.message()};
    }
}

template <class Record, class Value>
void addWrongMember(std::string& object, const quenbrook::json::JsonField<Record, Value>& field) {
    if (!quenbrook::json::isOptional<Value>) {
        object.append("\"").append(field.name).append("\":[[]],");
    }
}

// Every request requires a key, so its object has a member to stand behind these.
template <class Request>
std::string withEarlierMembers(std::string_view text) {
    std::string earlier = R"({"unknown":[{"id":1}],)";
    std::apply([&](const auto&... fields) { (addWrongMember(earlier, fields), ...); },
        quenbrook::json::recordFields<Request>);
    return std::string(text).replace(text.find('{'), 1, earlier);
}

template <class Request>
void decode(std::string_view text) {
    const Decoded<Request> plain = decoded<Request>(text);
    require(decoded<Request>(" \u200B\n" + std::string(text) + "\u00A0\r\n\u200B") == plain);
    if (plain.request) {
        require(decoded<Request>(quenbrook::json::encodeJson(*plain.request)) == plain);
        require(decoded<Request>(withEarlierMembers<Request>(text)) == plain);
    }
}

constexpr std::array<void (*)(std::string_view), 6> decoders = {
    decode<quenbrook::ListEventsRequest>,
    decode<quenbrook::CreateEventRequest>,
    decode<quenbrook::UpdateEventRequest>,
    decode<quenbrook::CancelEventRequest>,
    decode<quenbrook::GetEventRequest>,
    decode<quenbrook::GetAttendeeStatusRequest>,
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    if (!input.empty()) {
        decoders.at(data[0] % decoders.size())(input.substr(1));
    }
    return 0;
}
