#include "src/RecurrenceRuleBuilder.h"

#include "tests/unit/UnitSupport.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

const std::string until = "2025-03-14T11:30:00.250+02:00";

struct Frequency {
    std::string word;
    std::int64_t number;
};

TEST(RecurrenceRuleBuilder, TakesTheFrequencyInAnyLetterCase) {
    const std::vector<Frequency> frequencies = {
        {"daily", 0},
        {"weekly", 1},
        {"monthly", 2},
        {"yearly", 3},
        {"Daily", 0},
        {"WEEKLY", 1},
        {"mOnThLy", 2},
        {"YeArLy", 3},
        // The Kelvin sign lower-cases to k.
        {"wee\u212Aly", 1},
    };
    for (const auto& [word, number] : frequencies) {
        EXPECT_EQ(buildRecurrenceRule({word, 1, {}, {}}),
            (model::RecurrenceRule{number, 1, std::nullopt, {}, {}, {}}));
    }
}

TEST(RecurrenceRuleBuilder, BuildsAPlainRule) {
    EXPECT_EQ(buildRecurrenceRule({"weekly", 2, {}, {}}),
        (model::RecurrenceRule{1, 2, std::nullopt, {}, {}, {}}));
    EXPECT_EQ(buildRecurrenceRule({"daily", 1, 7, {}}),
        (model::RecurrenceRule{0, 1, model::RecurrenceEnd::withOccurrenceCount(7), {}, {}, {}}));
    EXPECT_EQ(buildRecurrenceRule({"yearly", 366, {}, until}),
        (model::RecurrenceRule{3, 366,
            model::RecurrenceEnd::withEndDate(at("2025-03-14T09:30:00.250Z")), {}, {}, {}}));
}

TEST(RecurrenceRuleBuilder, TakesTheBoundsOfIntervalAndCount) {
    for (const std::int64_t interval : {1, 2, 365, 366}) {
        EXPECT_EQ(buildRecurrenceRule({"yearly", interval, {}, {}}).interval, interval);
    }
    for (const std::int64_t count : {1, 2, 999, 1000}) {
        EXPECT_EQ(buildRecurrenceRule({"daily", 1, count, {}}).end->occurrenceCount, count);
    }
}

struct RefusedRule {
    RecurrenceRuleDTO rule;
    std::string failure;
};

TEST(RecurrenceRuleBuilder, ReportsTheFirstFailedCheck) {
    const std::string frequency = "INVALID_JSON: recurrenceRule.frequency must be one of "
                                  "daily/weekly/monthly/yearly, got '";
    const std::string interval = "INVALID_JSON: recurrenceRule.interval must be 1–366, got ";
    const std::string count = "INVALID_JSON: recurrenceRule.count must be 1–1000, got ";
    const std::string exclusive = "INVALID_JSON: recurrenceRule.count and recurrenceRule.untilISO "
                                  "are mutually exclusive";
    const std::vector<RefusedRule> refusals = {
        {{"", 1, {}, {}}, frequency + "'"},
        {{" daily", 1, {}, {}}, frequency + " daily'"},
        {{"daily ", 1, {}, {}}, frequency + "daily '"},
        {{"Day", 1, {}, {}}, frequency + "Day'"},
        {{"HOURLY", 1, {}, {}}, frequency + "HOURLY'"},
        {{"da\u0130ly", 1, {}, {}}, frequency + "da\u0130ly'"},
        {{std::string("daily\0", 6), 1, {}, {}}, frequency + std::string("daily\0", 6) + "'"},
        {{"daily", 0, {}, {}}, interval + "0"},
        {{"daily", 367, {}, {}}, interval + "367"},
        {{"daily", -1, {}, {}}, interval + "-1"},
        {{"daily", INT64_MIN, {}, {}}, interval + "-9223372036854775808"},
        {{"daily", INT64_MAX, {}, {}}, interval + "9223372036854775807"},
        {{"daily", 1, 0, {}}, count + "0"},
        {{"daily", 1, 1001, {}}, count + "1001"},
        {{"daily", 1, -1, {}}, count + "-1"},
        {{"daily", 1, INT64_MIN, {}}, count + "-9223372036854775808"},
        {{"daily", 1, INT64_MAX, {}}, count + "9223372036854775807"},
        {{"daily", 1, 5, until}, exclusive},
        {{"daily", 1, {}, "soon"}, "INVALID_DATE: Cannot parse ISO 8601 date: soon"},
        {{"daily", 1, {}, ""}, "INVALID_DATE: Cannot parse ISO 8601 date: "},
        // Of several faults the first in the order of the checks.
        {{"day", 0, 0, "soon"}, frequency + "day'"},
        {{"daily", 0, 0, "soon"}, interval + "0"},
        {{"daily", 1, 5000, "soon"}, count + "5000"},
        {{"daily", 1, 5, "soon"}, exclusive},
    };
    for (const auto& [rule, failure] : refusals) {
        EXPECT_EQ(failureOf([&given = rule] { buildRecurrenceRule(given); }), failure);
    }
}

} // namespace
} // namespace quenbrook::tests
