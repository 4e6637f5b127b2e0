#include "icalendar/time/Zone.h"

#include "icalendar/stream/StreamScan.h"
#include "icalendar/text/Component.h"
#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <vector>

namespace quenbrook::icalendar {
namespace {

using std::chrono::seconds;
using test::at;
using test::wall;

struct ClockCase {
    std::string_view zone;
    std::string_view wallClock;
    std::string_view instant;
    // What the wall clock shows at the instant: another time when the first one is skipped.
    std::string_view shown;
};
// A skipped time is read with the offset before the gap, a repeated one means the first (RFC 5545
// section 3.3.5).
constexpr ClockCase clockCases[] = {
    {"Europe/Berlin", "2026-01-15T12:00:00Z", "2026-01-15T11:00:00Z", "2026-01-15T12:00:00Z"},
    {"Europe/Berlin", "2026-03-29T01:59:59Z", "2026-03-29T00:59:59Z", "2026-03-29T01:59:59Z"},
    {"Europe/Berlin", "2026-03-29T02:00:00Z", "2026-03-29T01:00:00Z", "2026-03-29T03:00:00Z"},
    {"Europe/Berlin", "2026-03-29T02:30:00Z", "2026-03-29T01:30:00Z", "2026-03-29T03:30:00Z"},
    {"Europe/Berlin", "2026-03-29T03:00:00Z", "2026-03-29T01:00:00Z", "2026-03-29T03:00:00Z"},
    {"Europe/Berlin", "2026-10-25T01:59:59Z", "2026-10-24T23:59:59Z", "2026-10-25T01:59:59Z"},
    {"Europe/Berlin", "2026-10-25T02:00:00Z", "2026-10-25T00:00:00Z", "2026-10-25T02:00:00Z"},
    {"Europe/Berlin", "2026-10-25T02:30:00Z", "2026-10-25T00:30:00Z", "2026-10-25T02:30:00Z"},
    {"Europe/Berlin", "2026-10-25T03:00:00Z", "2026-10-25T02:00:00Z", "2026-10-25T03:00:00Z"},
    {"America/New_York", "2026-03-08T02:30:00Z", "2026-03-08T07:30:00Z", "2026-03-08T03:30:00Z"},
    {"America/New_York", "2026-11-01T01:30:00Z", "2026-11-01T05:30:00Z", "2026-11-01T01:30:00Z"},
    {"America/New_York", "2026-11-01T02:00:00Z", "2026-11-01T07:00:00Z", "2026-11-01T02:00:00Z"},
    {"America/St_Johns", "2026-03-08T02:30:00Z", "2026-03-08T06:00:00Z", "2026-03-08T03:30:00Z"},
    {"America/St_Johns", "2026-11-01T01:30:00Z", "2026-11-01T04:00:00Z", "2026-11-01T01:30:00Z"},
    {"America/St_Johns", "2026-11-01T02:00:00Z", "2026-11-01T05:30:00Z", "2026-11-01T02:00:00Z"},
    // Half an hour.
    {"Australia/Lord_Howe", "2026-10-04T02:15:00Z", "2026-10-03T15:45:00Z", "2026-10-04T02:45:00Z"},
    {"Australia/Lord_Howe", "2026-10-04T02:30:00Z", "2026-10-03T15:30:00Z", "2026-10-04T02:30:00Z"},
    {"Australia/Lord_Howe", "2026-04-05T01:29:59Z", "2026-04-04T14:29:59Z", "2026-04-05T01:29:59Z"},
    {"Australia/Lord_Howe", "2026-04-05T01:45:00Z", "2026-04-04T14:45:00Z", "2026-04-05T01:45:00Z"},
    {"Australia/Lord_Howe", "2026-04-05T02:00:00Z", "2026-04-04T15:30:00Z", "2026-04-05T02:00:00Z"},
};

constexpr std::string_view definitions = R"(BEGIN:VTIMEZONE
TZID:Own/Europe/Berlin
BEGIN:STANDARD
DTSTART:19701025T030000
RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU
TZOFFSETFROM:+0200
TZOFFSETTO:+0100
END:STANDARD
BEGIN:DAYLIGHT
DTSTART:19700329T020000
RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU
TZOFFSETFROM:+0100
TZOFFSETTO:+0200
END:DAYLIGHT
END:VTIMEZONE
BEGIN:VTIMEZONE
TZID:Own/America/New_York
BEGIN:DAYLIGHT
DTSTART:20070311T020000
RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU
TZOFFSETFROM:-0500
TZOFFSETTO:-0400
END:DAYLIGHT
BEGIN:STANDARD
DTSTART:20071104T020000
RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU
TZOFFSETFROM:-0400
TZOFFSETTO:-0500
END:STANDARD
END:VTIMEZONE
BEGIN:VTIMEZONE
TZID:Own/America/St_Johns
BEGIN:DAYLIGHT
DTSTART:20260308T020000
TZOFFSETFROM:-0330
TZOFFSETTO:-0230
END:DAYLIGHT
BEGIN:STANDARD
DTSTART:20261101T020000
TZOFFSETFROM:-0230
TZOFFSETTO:-0330
END:STANDARD
END:VTIMEZONE
BEGIN:VTIMEZONE
TZID:Own/Australia/Lord_Howe
BEGIN:STANDARD
DTSTART:20250406T020000
RDATE:20260405T020000,20270404T020000
TZOFFSETFROM:+1100
TZOFFSETTO:+1030
END:STANDARD
BEGIN:DAYLIGHT
DTSTART:20251005T020000
RDATE:20261004T020000
RDATE:20271003T020000
TZOFFSETFROM:+1030
TZOFFSETTO:+1100
END:DAYLIGHT
END:VTIMEZONE
)";

// As values in a zone that nobody knows have it.
Zone meant(TimeZones& zones, const std::string& identifier) {
    return zones.named(identifier).value_or(zones.local());
}

void expectClock(const Zone& zone, const ClockCase& row) {
    EXPECT_EQ(zone.instantOf(wall(row.wallClock)), at(row.instant)) << row.zone << row.wallClock;
    EXPECT_EQ(zone.wallClockAt(at(row.instant)), wall(row.shown)) << row.zone << row.instant;
    EXPECT_EQ(zone.offsetAt(at(row.instant)),
        wall(row.shown).time_since_epoch() - at(row.instant).time_since_epoch());
}

TEST(SystemZones, ReadSkippedAndRepeatedTimes) {
    for (const ClockCase& row : clockCases) {
        const auto zone = Zone::system(row.zone);
        ASSERT_TRUE(zone) << row.zone;
        expectClock(*zone, row);
    }
}

TEST(ZonesOfAFile, ReadSkippedAndRepeatedTimes) {
    const std::string text = test::stream(definitions);
    const StreamScan scan = scanStream(text);
    ASSERT_EQ(scan.timeZones.size(), 4u);
    TimeZones zones(Zone::utc(), text, scan.timeZones);
    for (const ClockCase& row : clockCases) {
        expectClock(meant(zones, "Own/" + std::string(row.zone)), row);
    }
}

constexpr std::string_view farZones[] = {
    "Europe/Berlin", "America/New_York", "America/St_Johns", "Asia/Kolkata", "Pacific/Apia"};

TEST(SystemZones, KeepTheirRulesThroughAllYears) {
    for (const std::string_view name : farZones) {
        const auto zone = Zone::system(name);
        ASSERT_TRUE(zone) << name;
        // The calendar repeats itself after 400 years, and so do yearly rules.
        for (int month = 1; month <= 12; ++month) {
            const auto day = [&](int year) {
                return std::chrono::sys_days(std::chrono::year(year) /
                                             std::chrono::month(static_cast<unsigned>(month)) / 15);
            };
            EXPECT_EQ(zone->offsetAt(day(9950)), zone->offsetAt(day(2350))) << name << month;
            EXPECT_EQ(zone->offsetAt(day(2750)), zone->offsetAt(day(2350))) << name << month;
        }
        for (const std::string_view time : {"0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z"}) {
            EXPECT_EQ(zone->instantOf(zone->wallClockAt(at(time))), at(time)) << name << time;
        }
    }
}

TEST(SystemZones, AreNeverLookedForOutsideOfTheZoneData) {
    const std::vector<std::string> names{"", "/", ".", "..", "../../etc/passwd",
        "Europe/../../../etc/passwd", "./Europe/Berlin", "/etc/localtime", "/etc/passwd",
        "/usr/share/zoneinfo/Europe/Berlin", "file:/etc/passwd", "Europe", "Europe/",
        "Europe/Nowhere", "Europe\\Berlin", "Europe/Berlin ", " Europe/Berlin", "Europe/Berlin\n",
        "tzdata.zi", "leapseconds", std::string("Europe/Berlin\0", 14),
        std::string("Europe/Berlin\0x", 15), std::string(10'000, 'A'), std::string(10'000, '/'),
        "W. Europe Standard Time", "M\xC3\xBCnchen"};
    for (const std::string& name : names) {
        EXPECT_FALSE(Zone::system(name)) << name;
    }
}

struct NameCase {
    std::string identifier;
    // The system's zone that is meant.
    std::string_view zone;
};
const std::vector<NameCase> nameCases{
    {"Europe/Berlin", "Europe/Berlin"},
    {"UTC", "UTC"},
    {"Etc/GMT+5", "Etc/GMT+5"},
    {"/freeassociation.sourceforge.net/Europe/Berlin", "Europe/Berlin"},
    {"/freeassociation.sourceforge.net/Tzfile/Europe/Berlin", "Europe/Berlin"},
    {"/mozilla.org/20070129_1/America/New_York", "America/New_York"},
    {"/softwarestudio.org/Olson_20011030_5/America/Argentina/Buenos_Aires",
        "America/Argentina/Buenos_Aires"},
    {"vendor/Asia/Tokyo", "Asia/Tokyo"},
    {"Eastern Standard Time", "America/New_York"},
    {"W. Europe Standard Time ", "Europe/Berlin"},
    {"India Standard Time", "Asia/Kolkata"},
    // The machine's zone stands in for what nobody knows.
    {"", "Australia/Lord_Howe"},
    {"Nowhere", "Australia/Lord_Howe"},
    {"Europe", "Australia/Lord_Howe"},
    {"/", "Australia/Lord_Howe"},
    {"../../etc/passwd", "Australia/Lord_Howe"},
    {"/etc/localtime/", "Australia/Lord_Howe"},
    {std::string(10'000, 'A'), "Australia/Lord_Howe"},
    {std::string(100'000, '/'), "Australia/Lord_Howe"},
    {std::string(100'000, '/') + "Europe/Berlin", "Europe/Berlin"},
};

void expectSameClock(const Zone& zone, std::string_view name, std::string_view said) {
    const auto expected = Zone::system(name);
    ASSERT_TRUE(expected);
    for (const std::string_view time : {"2026-01-15T00:00:00Z", "2026-07-15T00:00:00Z"}) {
        EXPECT_EQ(zone.offsetAt(at(time)), expected->offsetAt(at(time))) << said.substr(0, 100);
    }
}

TEST(NamesOfZones, LeadToTheSystemsZones) {
    TimeZones zones(*Zone::system("Australia/Lord_Howe"), "", {});
    for (const NameCase& row : nameCases) {
        expectSameClock(meant(zones, row.identifier), row.zone, row.identifier);
    }
}

// A hostile identifier costs what its length costs.
TEST(NamesOfZones, OfManySegmentsAreNotAllLookedFor) {
    std::string identifier;
    for (int i = 0; i < 500'000; ++i) {
        identifier += "a/";
    }
    TimeZones zones(*Zone::system("Australia/Lord_Howe"), "", {});
    expectSameClock(meant(zones, identifier + "Asia/Tokyo"), "Asia/Tokyo", "a/a/…/Asia/Tokyo");
    expectSameClock(meant(zones, identifier), "Australia/Lord_Howe", "a/a/…");
}

constexpr const char* brokenZones = R"(BEGIN:VTIMEZONE
TZID:Pacific Standard Time
END:VTIMEZONE
BEGIN:VTIMEZONE
TZID:Broken
BEGIN:STANDARD
DTSTART:19700101T000000
TZOFFSETFROM:nine
TZOFFSETTO:+0900
END:STANDARD
END:VTIMEZONE
)";

TEST(NamesOfZones, PreferTheSystemThenTheFileThenWhatTheNameEndsIn) {
    const std::string text = test::stream(test::tokyoUnderTheName("Europe/Berlin") +
                                          test::tokyoUnderTheName("/vendor/Europe/Berlin") +
                                          test::tokyoUnderTheName("Eastern Standard Time") +
                                          brokenZones + test::tokyoUnderTheName("Semi\\;colon"));
    const StreamScan scan = scanStream(text);
    TimeZones zones(*Zone::system("Australia/Lord_Howe"), text, scan.timeZones);
    expectSameClock(meant(zones, "Europe/Berlin"), "Europe/Berlin", "the system's");
    expectSameClock(meant(zones, "/vendor/Europe/Berlin"), "Asia/Tokyo", "the file's");
    expectSameClock(meant(zones, "Semi;colon"), "Asia/Tokyo", "the file's, escaped");
    expectSameClock(meant(zones, "/other/Europe/Berlin"), "Europe/Berlin", "the end of the name");
    expectSameClock(meant(zones, "Eastern Standard Time"), "Asia/Tokyo", "the file's");
    expectSameClock(meant(zones, "Pacific Standard Time"), "America/Los_Angeles", "Windows' own");
    expectSameClock(meant(zones, "Broken"), "Australia/Lord_Howe", "the machine's");
}

TEST(NamesOfZones, AreFoundAmongManyDefinitions) {
    std::string lines;
    for (int i = 0; i < 5'000; ++i) {
        lines += test::tokyoUnderTheName("Own" + std::to_string(i));
    }
    const std::string text = test::stream(lines);
    const StreamScan scan = scanStream(text);
    TimeZones zones(*Zone::system("Australia/Lord_Howe"), text, scan.timeZones);
    for (int i = 4'000; i < 5'000; ++i) {
        const std::string number = std::to_string(i);
        expectSameClock(meant(zones, "Own" + number), "Asia/Tokyo", number);
        expectSameClock(meant(zones, "Other" + number), "Australia/Lord_Howe", number);
    }
    // No more than these thousand are read, but those are not forgotten.
    expectSameClock(meant(zones, "Own0"), "Australia/Lord_Howe", "one too many");
    expectSameClock(meant(zones, "Own4000"), "Asia/Tokyo", "known");
}

struct LocalNameCase {
    std::string_view variable;
    std::optional<std::string> name;
};
const std::vector<LocalNameCase> localNameCases{
    {"Europe/Berlin", "Europe/Berlin"},
    {":Europe/Berlin", "Europe/Berlin"},
    {"/usr/share/zoneinfo/Europe/Berlin", "Europe/Berlin"},
    {":/usr/share/zoneinfo/America/St_Johns", "America/St_Johns"},
    {"UTC", std::nullopt},
    {"Etc/UTC", std::nullopt},
    {"", std::nullopt},
    {"Nowhere/Nowhere", std::nullopt},
    {"CET-1CEST,M3.5.0,M10.5.0/3", std::nullopt},
    {"/nowhere", std::nullopt},
    {"../../etc/passwd", std::nullopt},
};

TEST(TheMachinesZone, HasANameWhenTheZoneDataKnowsIt) {
    for (const LocalNameCase& row : localNameCases) {
        const support::ScopedTimeZone local{std::string(row.variable)};
        EXPECT_EQ(localZoneName(), row.name) << row.variable;
    }
}

TEST(TheMachinesZone, IsAskedForEachTime) {
    for (const ClockCase& row : clockCases) {
        const support::ScopedTimeZone local{std::string(row.zone)};
        expectClock(Zone::local(), row);
    }
}

struct ChangeCase {
    std::string_view zone;
    std::string_view instant;
    std::string_view upTo;
    std::string_view after;
};
constexpr ChangeCase changeCases[] = {
    {"Europe/Berlin", "2026-06-01T00:00:00Z", "2026-03-29T01:00:00Z", "2026-10-25T01:00:00Z"},
    {"Europe/Berlin", "2026-03-29T00:59:59Z", "2025-10-26T01:00:00Z", "2026-03-29T01:00:00Z"},
    {"Europe/Berlin", "2026-03-29T01:00:00Z", "2026-03-29T01:00:00Z", "2026-10-25T01:00:00Z"},
    {"Australia/Lord_Howe", "2026-06-01T00:00:00Z", "2026-04-04T15:00:00Z", "2026-10-03T15:30:00Z"},
    {"America/St_Johns", "2026-06-01T00:00:00Z", "2026-03-08T05:30:00Z", "2026-11-01T04:30:00Z"},
};

TEST(SystemZones, TellTheChangesAroundAnInstant) {
    for (const ChangeCase& row : changeCases) {
        const Zone zone = *Zone::system(row.zone);
        const auto upTo = zone.changeUpTo(at(row.instant));
        const auto after = zone.changeAfter(at(row.instant));
        ASSERT_TRUE(upTo && after) << row.zone << row.instant;
        EXPECT_EQ(upTo->at, at(row.upTo)) << row.zone << row.instant;
        EXPECT_EQ(after->at, at(row.after)) << row.zone << row.instant;
        EXPECT_EQ(upTo->before, zone.offsetAt(upTo->at - seconds(1)));
        EXPECT_EQ(upTo->after, zone.offsetAt(upTo->at));
        EXPECT_EQ(after->before, zone.offsetAt(after->at - seconds(1)));
        EXPECT_EQ(after->after, zone.offsetAt(after->at));
    }
}

TEST(SystemZones, WithoutChangesTellNone) {
    EXPECT_FALSE(Zone::utc().changeUpTo(at("2026-06-01T00:00:00Z")));
    EXPECT_FALSE(Zone::utc().changeAfter(at("2026-06-01T00:00:00Z")));
    EXPECT_FALSE(Zone::system("Asia/Kolkata")->changeAfter(at("2026-06-01T00:00:00Z")));
}

TEST(ZonesOfFiles, TellTheChangesOfTheirTable) {
    const OffsetChange spring{at("2026-03-29T01:00:00Z"), seconds(3'600), seconds(7'200)};
    const OffsetChange autumn{at("2026-10-25T01:00:00Z"), seconds(7'200), seconds(3'600)};
    const Zone zone = Zone::fromTable(
        std::make_shared<const OffsetTable>(OffsetTable{seconds(3'600), {spring, autumn}}));
    EXPECT_FALSE(zone.changeUpTo(spring.at - seconds(1)));
    EXPECT_EQ(zone.changeUpTo(spring.at)->at, spring.at);
    EXPECT_EQ(zone.changeUpTo(autumn.at - seconds(1))->at, spring.at);
    EXPECT_EQ(zone.changeAfter(spring.at - seconds(1))->at, spring.at);
    EXPECT_EQ(zone.changeAfter(spring.at)->at, autumn.at);
    EXPECT_FALSE(zone.changeAfter(autumn.at));
}

} // namespace
} // namespace quenbrook::icalendar
