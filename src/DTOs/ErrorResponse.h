#pragma once

#include "json/JsonRecord.h"

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
inline constexpr auto json::recordFields<ErrorResponse> =
    std::tuple{json::field("error", &ErrorResponse::error),
        json::field("code", &ErrorResponse::code), json::field("details", &ErrorResponse::details)};

} // namespace quenbrook
