#include "icalendar/time/VTimeZone.h"

#include "icalendar/stream/StreamScan.h"
#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

namespace quenbrook::icalendar {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::sys_days;
using std::chrono::sys_seconds;
using test::at;

std::optional<Zone> readBack(std::string_view text) {
    const auto component = ParsedComponent::parse(text, {0, text.size()});
    return component ? readVTimeZone(**component) : std::nullopt;
}

// The complete history of one zone, as RFC 5545 section 3.6.5 shows how to write it.
constexpr std::string_view newYork = R"(BEGIN:VTIMEZONE
TZID:Own/New_York
BEGIN:DAYLIGHT
DTSTART:19670430T020000
RRULE:FREQ=YEARLY;BYMONTH=4;BYDAY=-1SU;UNTIL=19730429T070000Z
TZOFFSETFROM:-0500
TZOFFSETTO:-0400
TZNAME:EDT
END:DAYLIGHT
BEGIN:STANDARD
DTSTART:19671029T020000
RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU;UNTIL=20061029T060000Z
TZOFFSETFROM:-0400
TZOFFSETTO:-0500
TZNAME:EST
END:STANDARD
BEGIN:DAYLIGHT
DTSTART:19740106T020000
RDATE:19750223T020000
TZOFFSETFROM:-0500
TZOFFSETTO:-0400
TZNAME:EDT
END:DAYLIGHT
BEGIN:DAYLIGHT
DTSTART:19760425T020000
RRULE:FREQ=YEARLY;BYMONTH=4;BYDAY=-1SU;UNTIL=19860427T070000Z
TZOFFSETFROM:-0500
TZOFFSETTO:-0400
TZNAME:EDT
END:DAYLIGHT
BEGIN:DAYLIGHT
DTSTART:19870405T020000
RRULE:FREQ=YEARLY;BYMONTH=4;BYDAY=1SU;UNTIL=20060402T070000Z
TZOFFSETFROM:-0500
TZOFFSETTO:-0400
TZNAME:EDT
END:DAYLIGHT
BEGIN:DAYLIGHT
DTSTART:20070311T020000
RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU
TZOFFSETFROM:-0500
TZOFFSETTO:-0400
TZNAME:EDT
END:DAYLIGHT
BEGIN:STANDARD
DTSTART:20071104T020000
RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU
TZOFFSETFROM:-0400
TZOFFSETTO:-0500
TZNAME:EST
END:STANDARD
END:VTIMEZONE
)";

TEST(ReadingVTimeZones, UnderstandsAHistoryOfRulesDatesAndEnds) {
    const auto zone = readBack(newYork);
    const auto expected = Zone::system("America/New_York");
    ASSERT_TRUE(zone && expected);
    const sys_seconds horizon = at("2199-12-31T00:00:00Z");
    for (auto instant = at("1967-05-01T00:00:00Z"); instant < horizon; instant += hours(31)) {
        ASSERT_EQ(zone->offsetAt(instant), expected->offsetAt(instant)) << test::written(instant);
        ASSERT_EQ(zone->instantOf(zone->wallClockAt(instant)),
            expected->instantOf(expected->wallClockAt(instant)))
            << test::written(instant);
    }
}

struct YearlyUntilCase {
    std::string_view until;
    // Whether daylight saving still began on the last Sunday of March 2006, at 01:00 UTC.
    bool includes2006;
};
constexpr YearlyUntilCase untilCases[] = {
    {"20060326T010000Z", true},
    {"20060326T005959Z", false},
    {"20060326T020000", true},
    {"20060326T015959", false},
    {"20060326", true},
    {"20060325", false},
};

struct OnsetCase {
    std::string_view onset;
    std::string_view additions;
};
constexpr OnsetCase onsetCases[] = {
    {"DTSTART:20260329T000000", "RDATE:20270328T000000"},
    {"DTSTART;VALUE=DATE:20260329", "RDATE;VALUE=DATE:20270328"},
    {"DTSTART;VALUE=DATE:20260329 ", "RDATE;VALUE=DATE:20270328 "},
    {"DTSTART:20260329", "RDATE:20270328"},
    {"DTSTART:20260329T000000Z", "RDATE;VALUE=PERIOD:20270328T000000/PT1H"},
    {"DTSTART;VALUE=DATE:20260329", "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU;UNTIL=20270328"},
};

TEST(ReadingVTimeZones, TakesADateForItsMidnight) {
    for (const OnsetCase& row : onsetCases) {
        const auto zone = readBack("BEGIN:VTIMEZONE\nTZID:x\nBEGIN:STANDARD\n"
                                   "DTSTART;VALUE=DATE:20261025\n"
                                   "TZOFFSETFROM:+0200\nTZOFFSETTO:+0100\nEND:STANDARD\n"
                                   "BEGIN:DAYLIGHT\n" +
                                   std::string(row.onset) + "\n" + std::string(row.additions) +
                                   "\nTZOFFSETFROM:+0100\nTZOFFSETTO:+0200\nEND:DAYLIGHT\n"
                                   "END:VTIMEZONE\n");
        ASSERT_TRUE(zone) << row.onset;
        EXPECT_EQ(zone->offsetAt(at("2026-03-28T22:59:59Z")), hours(1)) << row.onset;
        EXPECT_EQ(zone->offsetAt(at("2026-03-28T23:00:00Z")), hours(2)) << row.onset;
        EXPECT_EQ(zone->offsetAt(at("2026-10-24T21:59:59Z")), hours(2)) << row.onset;
        EXPECT_EQ(zone->offsetAt(at("2026-10-24T22:00:00Z")), hours(1)) << row.onset;
        EXPECT_EQ(zone->offsetAt(at("2027-03-27T23:00:00Z")), hours(2)) << row.additions;
    }
}

TEST(ReadingVTimeZones, EndsRulesInEveryFormOfUntil) {
    for (const YearlyUntilCase& row : untilCases) {
        const auto zone =
            readBack("BEGIN:VTIMEZONE\nTZID:x\nBEGIN:DAYLIGHT\nDTSTART:20000326T020000\n"
                     "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU;UNTIL=" +
                     std::string(row.until) +
                     "\nTZOFFSETFROM:+0100\nTZOFFSETTO:+0200\nEND:DAYLIGHT\n"
                     "BEGIN:STANDARD\nDTSTART:20001029T030000\n"
                     "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\n"
                     "TZOFFSETFROM:+0200\nTZOFFSETTO:+0100\nEND:STANDARD\n"
                     "END:VTIMEZONE\n");
        ASSERT_TRUE(zone);
        EXPECT_EQ(zone->offsetAt(at("2005-07-01T00:00:00Z")), hours(2)) << row.until;
        EXPECT_EQ(zone->offsetAt(at("2006-07-01T00:00:00Z")), hours(row.includes2006 ? 2 : 1))
            << row.until;
        EXPECT_EQ(zone->offsetAt(at("2007-07-01T00:00:00Z")), hours(1)) << row.until;
    }
}

// Some programs let the rules begin with the calendar itself.
TEST(ReadingVTimeZones, FollowsRulesThatBeginInTheYearOne) {
    const auto zone = readBack("BEGIN:VTIMEZONE\nTZID:x\nBEGIN:DAYLIGHT\nDTSTART:00010325T020000\n"
                               "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\n"
                               "TZOFFSETFROM:+0100\nTZOFFSETTO:+0200\nEND:DAYLIGHT\n"
                               "BEGIN:STANDARD\nDTSTART:00011028T030000\n"
                               "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\n"
                               "TZOFFSETFROM:+0200\nTZOFFSETTO:+0100\nEND:STANDARD\n"
                               "END:VTIMEZONE\n");
    ASSERT_TRUE(zone);
    for (const int year : {2, 1970, 1999, 2001, 2026, 2100, 2199}) {
        const auto july = sys_days(std::chrono::year(year) / 7 / 1);
        EXPECT_EQ(zone->offsetAt(july), hours(2)) << year;
        EXPECT_EQ(zone->offsetAt(july + days(184)), hours(1)) << year;
    }
}

TEST(ReadingVTimeZones, TakesTheOffsetBeforeTheFirstChange) {
    const auto zone =
        readBack("BEGIN:VTIMEZONE\nTZID:x\nBEGIN:DAYLIGHT\nDTSTART:20260329T020000\n"
                 "TZOFFSETFROM:+0100\nTZOFFSETTO:+0200\nEND:DAYLIGHT\nEND:VTIMEZONE\n");
    ASSERT_TRUE(zone);
    EXPECT_EQ(zone->offsetAt(at("1900-01-01T00:00:00Z")), hours(1));
    EXPECT_EQ(zone->offsetAt(at("2026-03-29T00:59:59Z")), hours(1));
    EXPECT_EQ(zone->offsetAt(at("2026-03-29T01:00:00Z")), hours(2));
    EXPECT_EQ(zone->offsetAt(at("9999-01-01T00:00:00Z")), hours(2));
}

TEST(ReadingVTimeZones, PassesOverObservancesThatCannotBeRead) {
    const auto zone =
        readBack("BEGIN:VTIMEZONE\nTZID:x\nBEGIN:DAYLIGHT\nDTSTART:yesterday\n"
                 "TZOFFSETFROM:+0100\nTZOFFSETTO:+0200\nEND:DAYLIGHT\n"
                 "BEGIN:DAYLIGHT\nDTSTART:20260329T020000\nTZOFFSETTO:+0200\nEND:DAYLIGHT\n"
                 "BEGIN:STANDARD\nDTSTART:20260329T020000\nRRULE:FREQ=SOMETIMES\n"
                 "TZOFFSETFROM:+0500\nTZOFFSETTO:+0600\nEND:STANDARD\nEND:VTIMEZONE\n");
    ASSERT_TRUE(zone);
    EXPECT_EQ(zone->offsetAt(at("2020-01-01T00:00:00Z")), hours(5));
    EXPECT_EQ(zone->offsetAt(at("2030-01-01T00:00:00Z")), hours(6));
    EXPECT_FALSE(readBack("BEGIN:VTIMEZONE\nTZID:x\nEND:VTIMEZONE\n"));
    EXPECT_FALSE(readBack("BEGIN:VTIMEZONE\nTZID:x\nBEGIN:STANDARD\nTZOFFSETFROM:+0500\n"
                          "TZOFFSETTO:+0600\nEND:STANDARD\nEND:VTIMEZONE\n"));
}

TEST(ReadingVTimeZones, SurvivesRulesWithoutEnd) {
    const auto zone = readBack("BEGIN:VTIMEZONE\nTZID:x\nBEGIN:STANDARD\nDTSTART:20000101T000000\n"
                               "RRULE:FREQ=SECONDLY\nTZOFFSETFROM:+0500\nTZOFFSETTO:+0600\n"
                               "END:STANDARD\nEND:VTIMEZONE\n");
    ASSERT_TRUE(zone);
    EXPECT_EQ(zone->offsetAt(at("2030-01-01T00:00:00Z")), hours(6));
}

TEST(ReadingVTimeZones, SurvivesObservancesWithoutNumber) {
    std::string text = "BEGIN:VTIMEZONE\nTZID:x\n";
    for (int i = 0; i < 30'000; ++i) {
        text += "BEGIN:STANDARD\nDTSTART:20000101T000000\nRRULE:FREQ=DAILY\nTZOFFSETFROM:+0500\n"
                "TZOFFSETTO:+0500\nEND:STANDARD\n";
    }
    const auto zone = readBack(text + "END:VTIMEZONE\n");
    ASSERT_TRUE(zone);
    EXPECT_EQ(zone->offsetAt(at("2030-01-01T00:00:00Z")), hours(5));
}

constexpr std::string_view writtenZones[] = {"Africa/Abidjan", "Africa/Cairo", "Africa/Casablanca",
    "Africa/El_Aaiun", "Africa/Johannesburg", "Africa/Monrovia", "America/Adak",
    "America/Argentina/Buenos_Aires", "America/Asuncion", "America/Chicago", "America/Halifax",
    "America/Havana", "America/Los_Angeles", "America/Mexico_City", "America/Miquelon",
    "America/New_York", "America/Nuuk", "America/Phoenix", "America/Santiago", "America/Sao_Paulo",
    "America/Scoresbysund", "America/St_Johns", "America/Tijuana", "Antarctica/Troll", "Asia/Amman",
    "Asia/Beirut", "Asia/Famagusta", "Asia/Gaza", "Asia/Hebron", "Asia/Jerusalem", "Asia/Kathmandu",
    "Asia/Kolkata", "Asia/Nicosia", "Asia/Tehran", "Asia/Tokyo", "Atlantic/Azores",
    "Atlantic/Canary", "Australia/Adelaide", "Australia/Lord_Howe", "Australia/Perth",
    "Australia/Sydney", "Etc/GMT+12", "Etc/GMT-14", "Europe/Berlin", "Europe/Chisinau",
    "Europe/Dublin", "Europe/Istanbul", "Europe/Lisbon", "Europe/London", "Europe/Moscow",
    "Europe/Warsaw", "Pacific/Apia", "Pacific/Auckland", "Pacific/Chatham", "Pacific/Easter",
    "Pacific/Kiritimati", "Pacific/Norfolk"};

constexpr std::string_view writtenFrom[] = {"1970-01-01T00:00:00Z", "2005-12-31T23:00:00Z",
    "2026-03-29T01:00:00Z", "2026-07-01T12:00:00Z", "2040-01-01T00:00:00Z"};

// Every few days, and around each change of the first years; the zone data foretell some zones'
// changes one by one, and those are written for 90 years at least.
TEST(WrittenVTimeZones, HaveTheOffsetsOfTheSystemsZone) {
    for (const std::string_view name : writtenZones) {
        const auto system = Zone::system(name);
        ASSERT_TRUE(system) << name;
        for (const std::string_view begin : writtenFrom) {
            const std::string text = writeVTimeZone(name, *system, at(begin), "\r\n");
            const auto zone = readBack(text);
            ASSERT_TRUE(zone) << text;
            const auto expectSame = [&](sys_seconds instant) {
                ASSERT_EQ(zone->offsetAt(instant), system->offsetAt(instant))
                    << name << " from " << begin << " at " << test::written(instant);
            };
            const sys_seconds end = at(begin) + days(32'850);
            for (sys_seconds instant = at(begin); instant < end; instant += hours(151)) {
                expectSame(instant);
            }
            auto change = system->changeAfter(at(begin));
            for (int i = 0; change && i < 40; ++i) {
                expectSame(change->at - std::chrono::seconds(1));
                expectSame(change->at);
                change = system->changeAfter(change->at);
            }
        }
    }
}

TEST(WrittenVTimeZones, SayTheSameAsPublishedOnes) {
    EXPECT_EQ(writeVTimeZone("Europe/Berlin", *Zone::system("Europe/Berlin"),
                  at("2026-07-01T00:00:00Z"), "\n"),
        "BEGIN:VTIMEZONE\nTZID:Europe/Berlin\n"
        "BEGIN:DAYLIGHT\nDTSTART:20260329T020000\nTZOFFSETFROM:+0100\nTZOFFSETTO:+0200\n"
        "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\nEND:DAYLIGHT\n"
        "BEGIN:STANDARD\nDTSTART:20261025T030000\nTZOFFSETFROM:+0200\nTZOFFSETTO:+0100\n"
        "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\nEND:STANDARD\nEND:VTIMEZONE\n");
}

TEST(WrittenVTimeZones, OfAZoneWithoutChangesHaveOneObservance) {
    const std::string text = writeVTimeZone(
        "Asia/Kolkata", *Zone::system("Asia/Kolkata"), at("2026-07-01T00:00:00Z"), "\r\n");
    EXPECT_NE(text.find("\r\nTZOFFSETTO:+0530\r\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("DAYLIGHT"), std::string::npos) << text;
    EXPECT_EQ(text.find("RRULE"), std::string::npos) << text;
}

struct KindCase {
    std::string_view zone;
    std::string_view from;
    std::vector<std::string> firstObservances;
};

// A clock that was put forward for good has no standard time to be ahead of, nor does one that was
// moved across the date line.
TEST(WrittenVTimeZones, CallDaylightOnlyWhatIsPutBack) {
    const std::vector<KindCase> cases{
        {"Europe/Istanbul", "2026-07-01T00:00:00Z", {"STANDARD +0200 +0300"}},
        {"Asia/Pyongyang", "2026-07-01T00:00:00Z", {"STANDARD +0830 +0900"}},
        {"America/Nuuk", "2023-03-01T00:00:00Z",
            {"STANDARD -0200 -0300", "STANDARD -0300 -0200", "DAYLIGHT -0200 -0100",
                "STANDARD -0100 -0200"}},
        {"Pacific/Apia", "2011-10-01T00:00:00Z",
            {"STANDARD -1100 -1000", "STANDARD -1000 +1400", "STANDARD +1400 +1300",
                "DAYLIGHT +1300 +1400", "STANDARD +1400 +1300"}},
        {"Europe/Dublin", "2026-01-01T00:00:00Z", {"STANDARD +0100 +0000", "DAYLIGHT +0000 +0100"}},
    };
    for (const KindCase& row : cases) {
        const std::string text =
            writeVTimeZone(row.zone, *Zone::system(row.zone), at(row.from), "\r\n");
        const auto component = ParsedComponent::parse(text, {0, text.size()});
        ASSERT_TRUE(component);
        std::vector<std::string> observances;
        for (const Component& each : (*component)->components) {
            observances.push_back(std::string(each.name) + " " +
                                  std::string(each.first("TZOFFSETFROM")->value) + " " +
                                  std::string(each.first("TZOFFSETTO")->value));
        }
        ASSERT_GE(observances.size(), row.firstObservances.size()) << text;
        observances.resize(row.firstObservances.size());
        EXPECT_EQ(observances, row.firstObservances) << row.zone;
    }
}

// Whoever reads it must find daylight saving in a far year too.
TEST(WrittenVTimeZones, HaveTheYearlyRulesInFarYears) {
    for (const std::string_view begin : {"2200-07-01T00:00:00Z", "2437-07-01T00:00:00Z",
             "3000-07-01T00:00:00Z", "9999-06-01T00:00:00Z"}) {
        const std::string text =
            writeVTimeZone("Europe/Berlin", *Zone::system("Europe/Berlin"), at(begin), "\r\n");
        EXPECT_NE(text.find("RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\n"), std::string::npos)
            << text;
        EXPECT_NE(text.find("RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\r\n"), std::string::npos)
            << text;
    }
}

TEST(WrittenVTimeZones, FoldAndEscapeTheName) {
    const std::string name = "Long/" + std::string(100, 'x') + ";y";
    const std::string text =
        writeVTimeZone(name, *Zone::system("Asia/Kolkata"), at("2026-07-01T00:00:00Z"), "\r\n");
    for (const std::string& line : test::linesOf(text)) {
        EXPECT_LE(line.size(), 77u);
    }
    const auto component = ParsedComponent::parse(text, {0, text.size()});
    ASSERT_TRUE(component);
    EXPECT_EQ(decodeText((*component)->first("TZID")->value), name);
}

} // namespace
} // namespace quenbrook::icalendar
