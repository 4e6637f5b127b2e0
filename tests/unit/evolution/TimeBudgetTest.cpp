#include "stores/evolution/TimeBudget.h"

#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

namespace quenbrook::stores::evolution {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

TEST(TimeBudget, IsWholeUntilItIsSpent) {
    const TimeBudget budget(hours(1));
    EXPECT_GT(budget.deadline(), Clock::now() + hours(1) - milliseconds(1));
}

TEST(TimeBudget, IsSpentByWhatWaits) {
    TimeBudget budget(hours(1));
    const Deadline start = Clock::now();
    const int answer = budget.spend([] {
        std::this_thread::sleep_for(milliseconds(20));
        return 7;
    });
    EXPECT_EQ(answer, 7);
    EXPECT_LE(budget.deadline() - Clock::now(), hours(1) - milliseconds(15));
    // Spending it moves the end by nothing: the time went by meanwhile.
    EXPECT_GE(budget.deadline(), start + hours(1));
}

TEST(TimeBudget, IsExhaustedAtLast) {
    TimeBudget budget(milliseconds(5));
    EXPECT_THROW(budget.spend([]() -> int {
        std::this_thread::sleep_for(milliseconds(10));
        throw std::runtime_error("waited in vain");
    }),
        std::runtime_error);
    const Deadline deadline = budget.deadline();
    EXPECT_LE(deadline, Clock::now());
}

} // namespace
} // namespace quenbrook::stores::evolution
