#include "icalendar/time/TimeText.h"

#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <random>

namespace quenbrook::icalendar {
namespace {

using std::chrono::days;
using std::chrono::seconds;
using test::at;
using test::wall;

struct DateCase {
    std::string_view text;
    std::string_view midnight;
};
constexpr DateCase dateCases[] = {
    {"20260101", "2026-01-01T00:00:00Z"},
    {"20240229", "2024-02-29T00:00:00Z"},
    {"00010101", "0001-01-01T00:00:00Z"},
    {"99991231", "9999-12-31T00:00:00Z"},
};
constexpr std::string_view noDates[] = {"", "2026", "2026010", "202601011", "20230229", "19000229",
    "20260001", "20261301", "20260100", "20260132", "20260431", "00000101", "2026010a", "2026 101",
    "+2260101", "-0260101", "2026-1-1", "2026010\xC2\xB9"};

TEST(Dates, AreEightDigitsOfADayThatExists) {
    for (const DateCase& row : dateCases) {
        EXPECT_EQ(parseDate(row.text), at(row.midnight)) << row.text;
    }
    for (const std::string_view text : noDates) {
        EXPECT_FALSE(parseDate(text)) << text;
    }
}

struct TimeCase {
    std::string_view text;
    std::string_view wallClock;
};
constexpr TimeCase timeCases[] = {
    {"20260101T000000", "2026-01-01T00:00:00Z"},
    {"20261231T235959", "2026-12-31T23:59:59Z"},
    {"20260101t123456", "2026-01-01T12:34:56Z"},
    {"20161231T235960", "2016-12-31T23:59:59Z"},
};
constexpr std::string_view noTimes[] = {"", "20260101", "20260101T", "20260101T0000",
    "20260101T00000", "20260101T0000000", "20260101T000000Z", "20260101T240000", "20260101T006000",
    "20260101T000061", "20260101 000000", "20260101T-10000", "20260101T00:0:0", "20260230T000000",
    "20260101T12345x"};

TEST(Times, AreADateAndATimeOfDayThatExist) {
    for (const TimeCase& row : timeCases) {
        EXPECT_EQ(parseDateTime(row.text), wall(row.wallClock)) << row.text;
    }
    for (const std::string_view text : noTimes) {
        EXPECT_FALSE(parseDateTime(text)) << text;
    }
}

struct OffsetCase {
    std::string_view text;
    std::int64_t seconds;
};
constexpr OffsetCase offsetCases[] = {{"+0000", 0}, {"+0100", 3600}, {"-0330", -12600},
    {"+1030", 37800}, {"-000014", -14}, {"+005328", 3208}, {"+2359", 86340}, {" -0330 ", -12600}};
constexpr std::string_view noOffsets[] = {"", "0100", "+01", "+010", "+01:00", "+2400", "+0160",
    "+01000", "--100", "+ 100", "Z", "+01000x"};

TEST(UtcOffsets, HaveASignHoursMinutesAndPerhapsSeconds) {
    for (const OffsetCase& row : offsetCases) {
        EXPECT_EQ(parseUtcOffset(row.text), seconds(row.seconds)) << row.text;
    }
    for (const std::string_view text : noOffsets) {
        EXPECT_FALSE(parseUtcOffset(text)) << text;
    }
}

struct DurationCase {
    std::string_view text;
    std::int64_t days;
    std::int64_t seconds;
};
constexpr DurationCase durationCases[] = {
    {"P15DT5H0M20S", 15, 18020},
    {"P7W", 49, 0},
    {"PT0S", 0, 0},
    {"P1D", 1, 0},
    {"+P1D", 1, 0},
    {"-P1D", -1, 0},
    {"-PT15M", 0, -900},
    {"-P1DT12H", -1, -43200},
    {"PT24H", 0, 86400},
    {"PT36H", 0, 129600},
    {"P1DT2H", 1, 7200},
    // Forbidden by the grammar, written by servers.
    {"P1DT", 1, 0},
    {"-P2DT", -2, 0},
    {"P1WT", 7, 0},
    {"PT1H1M1S", 0, 3661},
    {"P3660000D", 3'660'000, 0},
    {" P1D\t", 1, 0},
};
constexpr std::string_view noDurations[] = {"", "P", "-P", "PT", "P1", "1D", "PD", "P1H", "PT1D",
    "P1DTT", "PT2HT", "+PT", "P-1D", "PT1.5H", "P1Y", "P1M", "--P1D", "P 1D", "P1D X", "P1DX",
    "PTT1H", "PT1HT1M", "P99999999999999999999D", "P3660001D", "P999999999W", "PT999999999H",
    "P1D,P2D"};

TEST(Durations, CountDaysApartFromSeconds) {
    for (const DurationCase& row : durationCases) {
        const auto duration = parseDuration(row.text);
        ASSERT_TRUE(duration) << row.text;
        EXPECT_EQ(duration->days.count(), row.days) << row.text;
        EXPECT_EQ(duration->seconds.count(), row.seconds) << row.text;
    }
    for (const std::string_view text : noDurations) {
        EXPECT_FALSE(parseDuration(text)) << text;
    }
}

struct WrittenDurationCase {
    std::int64_t seconds;
    std::string_view text;
};
constexpr WrittenDurationCase writtenDurationCases[] = {{0, "PT0S"}, {1, "PT1S"}, {60, "PT1M"},
    {61, "PT1M1S"}, {3600, "PT1H"}, {3601, "PT1H0M1S"}, {3660, "PT1H1M"}, {86400, "P1D"},
    {86401, "P1DT1S"}, {90000, "P1DT1H"}, {-900, "-PT15M"}, {-86400, "-P1D"},
    {2'147'483'647, "P24855DT3H14M7S"}, {-2'147'483'647, "-P24855DT3H14M7S"}};

TEST(Durations, AreWrittenAsTheGrammarHasThem) {
    for (const WrittenDurationCase& row : writtenDurationCases) {
        EXPECT_EQ(formatDuration(seconds(row.seconds)), row.text);
    }
}

TEST(Durations, ComeBackAsTheyWereWritten) {
    std::mt19937 random(5545);
    for (int round = 0; round < 10'000; ++round) {
        const seconds duration(
            static_cast<std::int32_t>(random() >> random() % 32) * (round % 2 == 0 ? 1 : -1));
        const auto read = parseDuration(formatDuration(duration));
        ASSERT_TRUE(read) << formatDuration(duration);
        EXPECT_EQ(read->days + read->seconds, duration) << formatDuration(duration);
    }
}

} // namespace
} // namespace quenbrook::icalendar
