#include "icalendar/recurrence/RecurrenceExpansion.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "tests/support/WallClockText.h"

namespace quenbrook::icalendar {
namespace {

LocalTime wallClock(const std::string& text) {
    return test::parseWallClock(text).value();
}

// More than all tests spend.
WorkBudget& plenty() {
    static WorkBudget budget(std::int64_t{1} << 60);
    return budget;
}

RecurrenceExpansion expansionOf(
    const std::string& rule, const std::string& start, WorkBudget& budget = plenty()) {
    return RecurrenceExpansion(parseRecur(rule).value(), wallClock(start), budget);
}

std::string nextOf(RecurrenceExpansion& expansion) {
    const auto time = expansion.next();
    return time ? test::formatWallClock(*time) : "none";
}

TEST(RecurrenceExpansion, DoesNotLookAtUntil) {
    auto expansion = expansionOf("FREQ=DAILY;UNTIL=20240101T090000", "2024-01-01 09:00:00");
    EXPECT_EQ(nextOf(expansion), "2024-01-01 09:00:00");
    EXPECT_EQ(nextOf(expansion), "2024-01-02 09:00:00");
}

TEST(RecurrenceExpansion, StaysAtItsEnd) {
    auto expansion = expansionOf("FREQ=DAILY;COUNT=2", "2024-01-01 09:00:00");
    EXPECT_EQ(nextOf(expansion), "2024-01-01 09:00:00");
    EXPECT_EQ(nextOf(expansion), "2024-01-02 09:00:00");
    EXPECT_EQ(nextOf(expansion), "none");
    EXPECT_EQ(nextOf(expansion), "none");
    expansion.skipTo(wallClock("2024-02-01 00:00:00"));
    EXPECT_EQ(nextOf(expansion), "none");
}

TEST(RecurrenceExpansion, SkipPassesOverTheStartToo) {
    auto expansion = expansionOf("FREQ=DAILY", "2024-01-01 09:00:00");
    expansion.skipTo(wallClock("2024-01-01 09:00:01"));
    EXPECT_EQ(nextOf(expansion), "2024-01-02 09:00:00");
}

TEST(RecurrenceExpansion, SkipToAnOccurrenceKeepsIt) {
    auto fromStart = expansionOf("FREQ=DAILY", "2024-01-01 09:00:00");
    fromStart.skipTo(wallClock("2024-01-01 09:00:00"));
    EXPECT_EQ(nextOf(fromStart), "2024-01-01 09:00:00");
    auto later = expansionOf("FREQ=DAILY", "2024-01-01 09:00:00");
    later.skipTo(wallClock("2024-03-01 09:00:00"));
    EXPECT_EQ(nextOf(later), "2024-03-01 09:00:00");
}

TEST(RecurrenceExpansion, SkipNeverGoesBack) {
    auto expansion = expansionOf("FREQ=DAILY;COUNT=100", "2024-01-01 09:00:00");
    expansion.skipTo(wallClock("2024-02-01 00:00:00"));
    expansion.skipTo(wallClock("2024-01-15 00:00:00"));
    EXPECT_EQ(nextOf(expansion), "2024-02-01 09:00:00");
}

TEST(RecurrenceExpansion, SkipCountsWhatItPassesOver) {
    auto expansion = expansionOf("FREQ=WEEKLY;BYDAY=MO,WE;COUNT=5", "2024-01-03 09:00:00");
    expansion.skipTo(wallClock("2024-01-15 00:00:00"));
    EXPECT_EQ(nextOf(expansion), "2024-01-15 09:00:00");
    EXPECT_EQ(nextOf(expansion), "2024-01-17 09:00:00");
    EXPECT_EQ(nextOf(expansion), "none");
}

TEST(RecurrenceExpansion, SkipBeyondTheCalendarEndsIt) {
    auto expansion = expansionOf("FREQ=MONTHLY", "2024-01-01 09:00:00");
    expansion.skipTo(LocalTime::max());
    EXPECT_EQ(nextOf(expansion), "none");
}

TEST(RecurrenceExpansion, EndsBeforeTheTimeGiven) {
    auto expansion = expansionOf("FREQ=DAILY;BYHOUR=9,10", "2024-01-01 09:00:00");
    expansion.endBefore(wallClock("2024-01-02 10:00:00"));
    EXPECT_EQ(nextOf(expansion), "2024-01-01 09:00:00");
    EXPECT_EQ(nextOf(expansion), "2024-01-01 10:00:00");
    EXPECT_EQ(nextOf(expansion), "2024-01-02 09:00:00");
    EXPECT_EQ(nextOf(expansion), "none");
}

TEST(RecurrenceExpansion, EndBeforeTheStartLeavesNothing) {
    for (const auto end : {LocalTime::min(), wallClock("2024-01-01 09:00:00")}) {
        auto expansion = expansionOf("FREQ=YEARLY", "2024-01-01 09:00:00");
        expansion.endBefore(end);
        EXPECT_EQ(nextOf(expansion), "none");
        EXPECT_EQ(nextOf(expansion), "none");
    }
}

// Reaching a month decades away must not go through what lies between.
TEST(RecurrenceExpansion, SkipLeapsOverRulesThatNeedNoCounting) {
    const std::array rules{"FREQ=SECONDLY", "FREQ=MINUTELY;INTERVAL=7", "FREQ=HOURLY;BYMINUTE=0,30",
        "FREQ=DAILY", "FREQ=WEEKLY;BYDAY=MO,WE,FR", "FREQ=MONTHLY", "FREQ=MONTHLY;BYDAY=-1FR",
        "FREQ=YEARLY", "FREQ=YEARLY;BYDAY=20MO", "FREQ=DAILY;BYDAY=MO",
        "FREQ=SECONDLY;COUNT=2147483647", "FREQ=HOURLY;BYMINUTE=0,30;BYSETPOS=1;COUNT=2147483647",
        "FREQ=DAILY;COUNT=100000", "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,FR;COUNT=100000"};
    for (const char* const rule : rules) {
        auto expansion = expansionOf(rule, "1970-01-01 09:00:00");
        expansion.skipTo(wallClock("2026-05-01 00:00:00"));
        EXPECT_TRUE(expansion.next().has_value()) << rule;
        EXPECT_LT(expansion.work(), 1000) << rule;
    }
}

TEST(RecurrenceExpansion, LeapsCountExactly) {
    auto expansion = expansionOf("FREQ=SECONDLY;COUNT=1000000000", "1970-01-01 00:00:00");
    expansion.skipTo(wallClock("2001-09-09 01:46:39"));
    EXPECT_EQ(nextOf(expansion), "2001-09-09 01:46:39");
    EXPECT_EQ(nextOf(expansion), "none");
}

// The last period may go beyond the limit, by its days and its list of BYSETPOS.
constexpr std::int64_t stepsOfAPeriod = 366 + 1000;

std::string manySetPositions() {
    std::string list = "FREQ=DAILY;BYSETPOS=2";
    for (int i = 0; i < 999; ++i) {
        list += ",366";
    }
    return list;
}

// Rules made to keep a reader busy. Each stops by itself; what it looked at is bounded.
TEST(RecurrenceExpansion, HostileRulesEndAtTheWorkLimit) {
    const std::vector<std::string> rules{
        "FREQ=SECONDLY",
        "FREQ=SECONDLY;COUNT=2147483647",
        "FREQ=SECONDLY;INTERVAL=2;BYSECOND=1",
        "FREQ=MINUTELY;BYSETPOS=2",
        "FREQ=HOURLY;BYMONTH=4;BYMONTHDAY=31",
        "FREQ=WEEKLY;BYSETPOS=2",
        "FREQ=MONTHLY;BYDAY=6MO",
        "FREQ=YEARLY;BYWEEKNO=53;BYYEARDAY=100",
        manySetPositions(),
    };
    for (const std::string& rule : rules) {
        auto expansion = expansionOf(rule, "0001-01-01 00:00:00");
        std::int64_t occurrences = 0;
        while (expansion.next()) {
            ++occurrences;
        }
        EXPECT_LE(occurrences, RecurrenceExpansion::workLimit) << rule;
        EXPECT_LE(expansion.work(), RecurrenceExpansion::workLimit + stepsOfAPeriod) << rule;
    }
}

TEST(RecurrenceExpansion, AHostileSkipEndsAtTheWorkLimit) {
    auto expansion = expansionOf("FREQ=SECONDLY;BYHOUR=1;COUNT=2147483647", "0001-01-01 00:00:00");
    expansion.skipTo(wallClock("9999-12-01 00:00:00"));
    EXPECT_EQ(nextOf(expansion), "none");
    EXPECT_LE(expansion.work(), RecurrenceExpansion::workLimit + stepsOfAPeriod);
}

TEST(RecurrenceExpansion, CountsEveryDayThatItLooksAt) {
    for (const char* rule : {"FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30",
             "FREQ=HOURLY;BYMONTH=4;BYMONTHDAY=31", "FREQ=MONTHLY;BYMONTH=2;BYMONTHDAY=30"}) {
        auto expansion = expansionOf(rule, "2001-01-01 00:00:00");
        expansion.endBefore(wallClock("2401-01-01 00:00:00"));
        EXPECT_EQ(nextOf(expansion), "2001-01-01 00:00:00") << rule;
        EXPECT_EQ(nextOf(expansion), "none") << rule;
        EXPECT_GE(expansion.work(), 400 * 28) << rule;
    }
}

TEST(RecurrenceExpansion, EndsWhenItsBudgetIsSpent) {
    WorkBudget budget(1'000);
    auto endless = expansionOf("FREQ=SECONDLY", "2024-01-01 09:00:00", budget);
    int found = 0;
    while (endless.next()) {
        ++found;
    }
    EXPECT_LE(budget.left(), 0);
    EXPECT_GT(found, 400);
    EXPECT_LT(found, 1'000);

    auto next = expansionOf("FREQ=DAILY", "2024-01-01 09:00:00", budget);
    EXPECT_EQ(nextOf(next), "none");
}

TEST(RecurrenceExpansion, DrawsOnItsBudgetForWhatItDoesNotFind) {
    WorkBudget budget(RecurrenceExpansion::workLimit);
    auto hostile =
        expansionOf("FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30;COUNT=2", "0001-01-01 00:00:00", budget);
    hostile.skipTo(wallClock("9999-01-01 00:00:00"));
    EXPECT_EQ(nextOf(hostile), "none");
    EXPECT_LT(budget.left(), RecurrenceExpansion::workLimit / 2);
}

TEST(RecurrenceExpansion, StopsInTheMiddleOfASearchWhenItsBudgetIsSpent) {
    for (const char* rule : {"FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30;COUNT=2",
             "FREQ=SECONDLY;INTERVAL=7;BYHOUR=3;COUNT=9999999",
             "FREQ=SECONDLY;BYMONTH=2;BYMONTHDAY=30", "FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30"}) {
        WorkBudget budget(1'000);
        auto hostile = expansionOf(rule, "0001-01-01 00:00:00", budget);
        hostile.skipTo(wallClock("9999-01-01 00:00:00"));
        EXPECT_EQ(nextOf(hostile), "none") << rule;
        EXPECT_GT(budget.left(), -1'000) << rule;
    }
}

TEST(RecurrenceExpansion, AnEndSparesTheSearchForWhatNeverComes) {
    for (const char* const rule : {"FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30",
             "FREQ=SECONDLY;BYMONTH=2;BYMONTHDAY=30", "FREQ=DAILY;BYMONTHDAY=30;BYMONTH=2"}) {
        auto expansion = expansionOf(rule, "1970-01-01 09:00:00");
        expansion.skipTo(wallClock("2026-05-01 00:00:00"));
        expansion.endBefore(wallClock("2026-06-01 00:00:00"));
        EXPECT_EQ(nextOf(expansion), "none");
        EXPECT_LT(expansion.work(), 1000) << rule;
    }
}

// Every day of the calendar can be had within the limit.
TEST(RecurrenceExpansion, ADailyRuleReachesTheEndOfTheCalendar) {
    auto expansion = expansionOf("FREQ=YEARLY;BYMONTH=12;BYMONTHDAY=31", "0001-01-01 09:00:00");
    LocalTime last{};
    while (const auto time = expansion.next()) {
        last = *time;
    }
    EXPECT_EQ(test::formatWallClock(last), "9999-12-31 09:00:00");
}

// A random rule that has occurrences within days to decades.
std::string randomRule(std::mt19937& random) {
    const auto oneOf = [&](const std::vector<std::string>& choices) {
        return choices[std::uniform_int_distribution<std::size_t>(0, choices.size() - 1)(random)];
    };
    const std::string frequency =
        oneOf({"SECONDLY", "MINUTELY", "HOURLY", "DAILY", "WEEKLY", "MONTHLY", "YEARLY"});
    std::string rule = "FREQ=" + frequency;
    rule += oneOf({"", "", ";INTERVAL=2", ";INTERVAL=3", ";INTERVAL=11"});
    rule += oneOf({"", ";COUNT=1", ";COUNT=7", ";COUNT=50", ";COUNT=400"});
    rule += oneOf({"", "", ";BYMONTH=2,7", ";BYMONTH=1,3,5,7,9,11"});
    rule += oneOf({"", "", ";BYDAY=MO", ";BYDAY=TU,SA,SU"});
    rule += oneOf({"", "", ";BYHOUR=3,9,15", ";BYHOUR=23"});
    rule += oneOf({"", "", ";BYMINUTE=0,30", ";BYMINUTE=59"});
    rule += oneOf({"", "", ";BYSECOND=0,30,60"});
    rule += oneOf({"", "", ";BYSETPOS=1", ";BYSETPOS=-1,2"});
    rule += oneOf({"", ";WKST=SU"});
    return rule;
}

TEST(RecurrenceExpansion, SkippingEqualsFiltering) {
    std::mt19937 random(1970);
    int compared = 0;
    for (int round = 0; round < 1000; ++round) {
        const std::string rule = randomRule(random);
        SCOPED_TRACE(rule);
        Recur recur = parseRecur(rule).value();
        const auto start =
            wallClock("2024-01-01 00:00:00") +
            std::chrono::seconds{std::uniform_int_distribution<int>(0, 100'000'000)(random)};
        // Rules that never match again are not to be searched for long.
        recur.until = Until{start + std::chrono::days{800}, Until::Kind::local};
        const auto all = test::firstOccurrences(recur, start, 60);

        // Past whole periods, into the middle of one, and onto an occurrence.
        auto target = all[std::uniform_int_distribution<std::size_t>(0, all.size() - 1)(random)];
        target += std::chrono::seconds{std::uniform_int_distribution<int>(-1, 1)(random) *
                                       std::uniform_int_distribution<int>(0, 100'000)(random)};
        const auto before = std::uniform_int_distribution<std::size_t>(0, 3)(random);

        RecurrenceExpansion expansion(recur, start, plenty());
        expansion.endBefore(recur.until->time + std::chrono::seconds{1});
        std::size_t index = 0;
        for (; index < before && index < all.size(); ++index) {
            ASSERT_EQ(expansion.next(), all[index]);
        }
        expansion.skipTo(target);
        while (index < all.size() && all[index] < target) {
            ++index;
        }
        for (; index < all.size(); ++index, ++compared) {
            ASSERT_EQ(expansion.next(), all[index]) << test::formatWallClock(target);
        }
        if (all.size() < 60) {
            ASSERT_EQ(expansion.next(), std::nullopt);
        }
    }
    EXPECT_GT(compared, 10'000);
}

} // namespace
} // namespace quenbrook::icalendar
