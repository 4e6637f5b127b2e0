#pragma once

#include "platform/JsonRecord.h"

#include <optional>
#include <string>
#include <tuple>

namespace quenbrook {

// What a failed run writes to standard error.
struct ErrorResponse {
    // For people.
    std::string error;
    // For programs: one of the codes of QuenbrookError.
    std::string code;
    // Never filled by this program.
    std::optional<std::string> details;
};

template <>
inline constexpr auto platform::recordFields<ErrorResponse> = std::tuple{
    platform::field("error", &ErrorResponse::error), platform::field("code", &ErrorResponse::code),
    platform::field("details", &ErrorResponse::details)};

} // namespace quenbrook
