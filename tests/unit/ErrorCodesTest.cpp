#include "src/ErrorCodes.h"

#include <string_view>

#include <gtest/gtest.h>

namespace quenbrook {
namespace {

struct Row {
    ErrorCase errorCase;
    std::string_view code;
};

constexpr Row rows[] = {
    {ErrorCase::accessDenied, "ACCESS_DENIED"},
    {ErrorCase::calendarNotFound, "CALENDAR_NOT_FOUND"},
    {ErrorCase::eventNotFound, "EVENT_NOT_FOUND"},
    {ErrorCase::readOnlyCalendar, "READ_ONLY_CALENDAR"},
    {ErrorCase::invalidDate, "INVALID_DATE"},
    {ErrorCase::invalidJSON, "INVALID_JSON"},
    {ErrorCase::unknownSubcommand, "UNKNOWN_SUBCOMMAND"},
    {ErrorCase::missingArgs, "MISSING_ARGS"},
    {ErrorCase::eventStoreSaveFailed, "EVENT_STORE_SAVE_FAILED"},
    {ErrorCase::eventStoreRemoveFailed, "EVENT_STORE_REMOVE_FAILED"},
    {ErrorCase::unknown, "UNKNOWN"},
};

TEST(ErrorCodes, FollowFromTheCaseAlone) {
    for (const auto& [errorCase, code] : rows) {
        EXPECT_EQ(QuenbrookError(errorCase, "a message").code(), code);
        EXPECT_EQ(QuenbrookError(errorCase, "").code(), code);
        EXPECT_EQ(QuenbrookError(errorCase, "").errorCase(), errorCase);
    }
}

TEST(ErrorCodes, CarryTheMessageWhole) {
    const std::string message("before\0after", 12);
    EXPECT_EQ(QuenbrookError(ErrorCase::unknown, message).message(), message);
}

} // namespace
} // namespace quenbrook
