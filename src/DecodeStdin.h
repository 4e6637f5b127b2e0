#pragma once

#include "platform/JsonReader.h"
#include "platform/Text.h"
#include "src/DTOs.h"
#include "src/ErrorCodes.h"

#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace quenbrook {

// What a missing request is reported as.
template <class Request>
inline constexpr std::string_view requestName{};
template <>
inline constexpr std::string_view requestName<ListEventsRequest> = "ListEventsRequest";
template <>
inline constexpr std::string_view requestName<CreateEventRequest> = "CreateEventRequest";
template <>
inline constexpr std::string_view requestName<UpdateEventRequest> = "UpdateEventRequest";
template <>
inline constexpr std::string_view requestName<CancelEventRequest> = "CancelEventRequest";
template <>
inline constexpr std::string_view requestName<GetEventRequest> = "GetEventRequest";
template <>
inline constexpr std::string_view requestName<GetAttendeeStatusRequest> =
    "GetAttendeeStatusRequest";

// The text of standard input as a request. Throws missingArgs when there is nothing but white
// space, invalidJSON with a sentence for people when it is not the JSON form of the record.
template <platform::JsonRecord Request>
Request decodeStdin(std::string_view text) {
    static_assert(!requestName<Request>.empty());
    const std::string_view document = platform::trimmed(text);
    if (document.empty()) {
        throw QuenbrookError(ErrorCase::missingArgs,
            "Subcommand '" + std::string(requestName<Request>) + "' requires JSON on stdin");
    }
    if (!platform::isValidUTF8(document)) {
        throw QuenbrookError(ErrorCase::invalidJSON, "stdin is not valid UTF-8");
    }
    auto decoded = platform::decodeJson<Request>(document);
    if (const auto* failure = std::get_if<platform::JsonFailure>(&decoded)) {
        throw QuenbrookError(ErrorCase::invalidJSON, failure->sentence());
    }
    return std::get<Request>(std::move(decoded));
}

} // namespace quenbrook
