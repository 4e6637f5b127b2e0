#include "src/ErrorCodes.h"

#include <array>
#include <cstddef>
#include <utility>

namespace quenbrook {
namespace {

// In the order of ErrorCase.
constexpr std::array<std::string_view, 11> codes = {
    "ACCESS_DENIED",
    "CALENDAR_NOT_FOUND",
    "EVENT_NOT_FOUND",
    "READ_ONLY_CALENDAR",
    "INVALID_DATE",
    "INVALID_JSON",
    "UNKNOWN_SUBCOMMAND",
    "MISSING_ARGS",
    "EVENT_STORE_SAVE_FAILED",
    "EVENT_STORE_REMOVE_FAILED",
    "UNKNOWN",
};

} // namespace

QuenbrookError::QuenbrookError(ErrorCase errorCase, std::string message)
    : case_(errorCase)
    , message_(std::move(message)) {}

std::string_view QuenbrookError::code() const {
    return codes.at(static_cast<std::size_t>(case_));
}

} // namespace quenbrook
