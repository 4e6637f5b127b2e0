#pragma once

#include "src/DTOs.h"
#include "src/ErrorCodes.h"
#include "unicode/Text.h"
#include "json/JsonReader.h"

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

// The text of standard input as a request. Throws missingArgs when nothing is left of it without
// the spaces at its ends, invalidJSON with a sentence for people when it is not the JSON form of
// the record.
template <json::JsonRecord Request>
Request decodeStdin(std::string_view text) {
    static_assert(!requestName<Request>.empty());
    const std::string_view document = unicode::trimmedAtPlatformSpaces(text);
    if (document.empty()) {
        throw QuenbrookError(ErrorCase::missingArgs,
            "Subcommand '" + std::string(requestName<Request>) + "' requires JSON on stdin");
    }
    if (!unicode::isValidUTF8(document)) {
        throw QuenbrookError(ErrorCase::invalidJSON, "stdin is not valid UTF-8");
    }
    auto decoded = json::decodeJson<Request>(document);
    if (const auto* failure = std::get_if<json::JsonFailure>(&decoded)) {
        throw QuenbrookError(ErrorCase::invalidJSON, failure->sentence());
    }
    return std::get<Request>(std::move(decoded));
}

} // namespace quenbrook
