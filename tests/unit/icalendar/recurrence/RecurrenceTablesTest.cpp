#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/WallClockText.h"
#include "tests/unit/icalendar/recurrence/RecurrenceCases.h"

namespace quenbrook::test {
namespace {

std::vector<std::string> texts(const std::vector<icalendar::LocalTime>& times) {
    std::vector<std::string> result(times.size());
    std::transform(times.begin(), times.end(), result.begin(), formatWallClock);
    return result;
}

class RecurrenceTables : public testing::TestWithParam<RecurrenceCase> {};

TEST_P(RecurrenceTables, GiveTheOccurrencesOfTheRule) {
    const RecurrenceCase& expected = GetParam();
    // One more than written tells a rule that ends from one that goes on.
    const std::size_t limit = expected.occurrences.size() + 1;
    for (const std::string& rule : expected.rules) {
        SCOPED_TRACE(rule);
        const auto recur = icalendar::parseRecur(rule);
        ASSERT_TRUE(recur.has_value());
        auto times = firstOccurrences(*recur, expected.start, limit);
        EXPECT_EQ(times.size() == limit, expected.goesOn);
        times.resize(std::min(times.size(), expected.occurrences.size()));
        EXPECT_EQ(texts(times), texts(expected.occurrences));
    }
}

std::string lineName(const testing::TestParamInfo<RecurrenceCase>& info) {
    return "Line" + std::to_string(info.param.line);
}

INSTANTIATE_TEST_SUITE_P(
    Rfc5545, RecurrenceTables, testing::ValuesIn(readRecurrenceCases("rfc5545.txt")), lineName);
INSTANTIATE_TEST_SUITE_P(
    Edges, RecurrenceTables, testing::ValuesIn(readRecurrenceCases("edges.txt")), lineName);

} // namespace
} // namespace quenbrook::test
