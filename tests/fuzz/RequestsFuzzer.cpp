#include "platform/JsonReader.h"
#include "platform/JsonWriter.h"
#include "src/DecodeStdin.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string_view>

// The first byte chooses the record. Whatever decodes must be the same after it was written and
// read again; whatever does not must be refused with an error of the two codes and a UTF-8
// sentence.

namespace {

template <class Request>
void decode(std::string_view text) {
    try {
        const auto request = quenbrook::decodeStdin<Request>(text);
        if (!(quenbrook::decodeStdin<Request>(quenbrook::platform::encodeJson(request)) ==
                request)) {
            std::abort();
        }
    } catch (const quenbrook::QuenbrookError& error) {
        if ((error.code() != "INVALID_JSON" && error.code() != "MISSING_ARGS") ||
            !quenbrook::platform::isValidUTF8(error.message())) {
            std::abort();
        }
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
