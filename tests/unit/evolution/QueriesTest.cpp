#include "stores/evolution/Queries.h"

#include <gmock/gmock.h>

namespace quenbrook::stores::evolution {
namespace {

using testing::ElementsAre;

model::Instant at(int year, unsigned month, unsigned day, int hour = 0) {
    return std::chrono::sys_days(
               std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day)) +
           std::chrono::hours(hour);
}

TEST(RangeQueries, AskForAllThatRecursAndForSomeDaysAround) {
    EXPECT_THAT(rangeQueries(at(2026, 1, 1, 12), at(2026, 1, 31, 12)),
        ElementsAre("(has-recurrences?)",
            "(and (not (has-recurrences?)) (occur-in-time-range? (make-time \"20251230T000000Z\") "
            "(make-time \"20260203T000000Z\")))"));
}

TEST(RangeQueries, AreNoneWhenYearsAreFarAway) {
    EXPECT_THAT(rangeQueries(at(1, 1, 1), at(9999, 12, 31)), ElementsAre());
    EXPECT_THAT(rangeQueries(at(1971, 1, 2), at(1971, 1, 9)), ElementsAre());
    EXPECT_THAT(rangeQueries(at(2026, 1, 1), at(2037, 12, 30)), ElementsAre());
    EXPECT_EQ(rangeQueries(at(1971, 1, 3), at(2037, 12, 29)).size(), 2U);
}

} // namespace
} // namespace quenbrook::stores::evolution
