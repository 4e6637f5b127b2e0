#include "icalendar/event/EventDates.h"

#include "icalendar/CalendarEdit.h"
#include "icalendar/stream/StreamScan.h"
#include "icalendar/time/Zone.h"
#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"
#include "tests/unit/icalendar/Edits.h"

#include <gtest/gtest.h>

#include <vector>

namespace quenbrook::icalendar {
namespace {

using test::anHour;
using test::at;
using test::ending;
using test::eventStream;
using test::expectUpdates;
using test::lunch;
using test::newEvent;
using test::now;
using test::starting;
using test::stream;
using test::timesIn;
using test::titled;
using test::updated;
using test::wholeDays;

TEST(Updates, OfDatesKeepFormZoneAndParameters) {
    const std::string zoned = "DTSTART;X-P=1;TZID=America/New_York:20260105T100000\n"
                              "DTEND;TZID=Europe/London:20260105T160000\n";
    const std::string floating = "DTSTART:20260705T100000\nDTEND:20260705T110000\n";
    const std::string allDay = "DTSTART;VALUE=DATE:20260105\nDTEND;VALUE=DATE:20260107\n";
    model::EventChanges both = starting("2026-01-08T10:00:00Z");
    both.end = at("2026-01-08T12:30:00Z");
    expectUpdates({
        {"start with DTEND", anHour, starting("2026-01-05T10:30:00Z"),
            {"-DTSTART:20260105T100000Z", "+DTSTART:20260105T103000Z"}},
        {"start with DURATION", "DTSTART:20260105T100000Z\nDURATION:PT1H\n",
            starting("2026-01-05T10:30:00Z"),
            {"-DTSTART:20260105T100000Z", "+DTSTART:20260105T103000Z", "-DURATION:PT1H",
                "+DTEND:20260105T110000Z"}},
        {"start of an event without end", "DTSTART:20260105T100000Z\n",
            starting("2026-01-05T09:00:00Z"),
            {"-DTSTART:20260105T100000Z", "+DTSTART:20260105T090000Z", "+DTEND:20260105T100000Z"}},
        {"end with DTEND", anHour, ending("2026-01-05T12:00:00Z"),
            {"-DTEND:20260105T110000Z", "+DTEND:20260105T120000Z"}},
        {"end with DURATION", "DTSTART:20260105T100000Z\nDURATION:PT1H\n",
            ending("2026-01-05T12:00:00Z"), {"-DURATION:PT1H", "+DTEND:20260105T120000Z"}},
        {"end of an event without end", "DTSTART:20260105T100000Z\n",
            ending("2026-01-05T12:00:00Z"), {"+DTEND:20260105T120000Z"}},
        {"end of an event without end, with a zone",
            "DTSTART;TZID=America/New_York:20260105T100000\n", ending("2026-01-05T16:00:00Z"),
            {"+DTEND;TZID=America/New_York:20260105T110000"}},
        {"end at the start", anHour, ending("2026-01-05T10:00:00Z"), {"-DTEND:20260105T110000Z"}},
        {"end at the start with DURATION", "DTSTART:20260105T100000Z\nDURATION:PT1H\n",
            ending("2026-01-05T10:00:00Z"), {"-DURATION:PT1H"}},
        {"both", anHour, both,
            {"-DTSTART:20260105T100000Z", "+DTSTART:20260108T100000Z", "-DTEND:20260105T110000Z",
                "+DTEND:20260108T123000Z"}},
        {"start in a zone", zoned, starting("2026-01-05T15:30:00Z"),
            {"-DTSTART;X-P=1;TZID=America/New_York:20260105T100000",
                "+DTSTART;X-P=1;TZID=America/New_York:20260105T103000"}},
        {"end in another zone", zoned, ending("2026-07-05T16:30:00Z"),
            {"-DTEND;TZID=Europe/London:20260105T160000",
                "+DTEND;TZID=Europe/London:20260705T173000"}},
        {"floating", floating, starting("2026-07-05T08:30:00Z"),
            {"-DTSTART:20260705T100000", "+DTSTART:20260705T103000"}},
        {"an unknown zone",
            "DTSTART;TZID=Nowhere:20260705T100000\nDTEND;TZID=Nowhere:20260705T110000\n",
            starting("2026-07-05T08:30:00Z"),
            {"-DTSTART;TZID=Nowhere:20260705T100000", "+DTSTART:20260705T083000Z",
                "-DTEND;TZID=Nowhere:20260705T110000", "+DTEND:20260705T090000Z"}},
        {"an unknown zone with DURATION", "DTSTART;TZID=Nowhere:20260705T100000\nDURATION:PT1H\n",
            ending("2026-07-05T08:30:00Z"),
            {"-DTSTART;TZID=Nowhere:20260705T100000", "+DTSTART:20260705T080000Z", "-DURATION:PT1H",
                "+DTEND:20260705T083000Z"}},
        {"an unknown zone without an end", "DTSTART;TZID=Nowhere:20260705T100000\n",
            starting("2026-07-05T07:00:00Z"),
            {"-DTSTART;TZID=Nowhere:20260705T100000", "+DTSTART:20260705T070000Z",
                "+DTEND:20260705T080000Z"}},
        {"an unknown zone of the end",
            "DTSTART;TZID=Europe/London:20260705T090000\nDTEND;TZID=Nowhere:20260705T110000\n",
            starting("2026-07-05T08:30:00Z"),
            {"-DTSTART;TZID=Europe/London:20260705T090000",
                "+DTSTART;TZID=Europe/London:20260705T093000",
                "-DTEND;TZID=Nowhere:20260705T110000",
                "+DTEND;TZID=Europe/London:20260705T100000"}},
        {"an unknown zone of the start",
            "DTSTART;TZID=Nowhere:20260705T100000\nDTEND;TZID=Europe/London:20260705T100000\n",
            ending("2026-07-05T10:00:00Z"),
            {"-DTSTART;TZID=Nowhere:20260705T100000", "+DTSTART:20260705T080000Z",
                "-DTEND;TZID=Europe/London:20260705T100000",
                "+DTEND;TZID=Europe/London:20260705T110000"}},
        {"an unknown zone of which no date is asked for",
            "DTSTART;TZID=Nowhere:20260705T100000\nDTEND;TZID=Nowhere:20260705T110000\n",
            titled("new"), {"+SUMMARY:new"}},
        {"one of Windows' zones",
            "DTSTART;TZID=Eastern Standard Time:20260705T100000\n"
            "DTEND;TZID=Eastern Standard Time:20260705T110000\n",
            starting("2026-07-05T14:30:00Z"),
            {"-DTSTART;TZID=Eastern Standard Time:20260705T100000",
                "+DTSTART;TZID=Eastern Standard Time:20260705T103000"}},
        {"the second pass of a repeated hour, which only UTC can tell",
            "DTSTART;TZID=Europe/Berlin:20261025T010000\nDTEND;TZID=Europe/"
            "Berlin:20261025T040000\n",
            starting("2026-10-25T01:30:00Z"),
            {"-DTSTART;TZID=Europe/Berlin:20261025T010000", "+DTSTART:20261025T013000Z"}},
        {"the first pass of it",
            "DTSTART;TZID=Europe/Berlin:20261025T010000\nDTEND;TZID=Europe/"
            "Berlin:20261025T040000\n",
            starting("2026-10-25T00:30:00Z"),
            {"-DTSTART;TZID=Europe/Berlin:20261025T010000",
                "+DTSTART;TZID=Europe/Berlin:20261025T023000"}},
        {"the first of whole days", allDay, starting("2026-01-06T12:00:00Z"),
            {"-DTSTART;VALUE=DATE:20260105", "+DTSTART;VALUE=DATE:20260106"}},
        {"the last of whole days", allDay, ending("2026-01-08T12:00:00Z"),
            {"-DTEND;VALUE=DATE:20260107", "+DTEND;VALUE=DATE:20260109"}},
        {"the midnight after the last of whole days", allDay, ending("2026-01-08T23:00:00Z"),
            {"-DTEND;VALUE=DATE:20260107", "+DTEND;VALUE=DATE:20260109"}},
        {"the last second of whole days", allDay, ending("2026-01-08T22:59:59Z"),
            {"-DTEND;VALUE=DATE:20260107", "+DTEND;VALUE=DATE:20260109"}},
        {"the start of one day without DTEND", "DTSTART;VALUE=DATE:20260105\n",
            starting("2026-01-03T12:00:00Z"),
            {"-DTSTART;VALUE=DATE:20260105", "+DTSTART;VALUE=DATE:20260103",
                "+DTEND;VALUE=DATE:20260106"}},
        {"parts of a second", anHour,
            [] {
                model::EventChanges changes = starting("2026-01-05T10:30:00Z");
                *changes.start += std::chrono::milliseconds(999);
                return changes;
            }(),
            {"-DTSTART:20260105T100000Z", "+DTSTART:20260105T103000Z"}},
    });
}

TEST(Updates, TurnTimesIntoWholeDaysAndBack) {
    expectUpdates({
        {"already whole days", "DTSTART;VALUE=DATE:20260105\n", wholeDays(true), {}},
        {"already times", anHour, wholeDays(false), {}},
        {"times to days", "DTSTART;TZID=America/New_York:20260105T100000\nDURATION:PT1H\n",
            wholeDays(true),
            {"-DTSTART;TZID=America/New_York:20260105T100000", "+DTSTART;VALUE=DATE:20260105",
                "-DURATION:PT1H", "+DTEND;VALUE=DATE:20260106"}},
        // 20:00 in New York is the next day in Berlin.
        {"times to days of the machine's zone",
            "DTSTART;TZID=America/New_York:20260105T200000\n"
            "DTEND;TZID=America/New_York:20260105T210000\n",
            wholeDays(true),
            {"-DTSTART;TZID=America/New_York:20260105T200000", "+DTSTART;VALUE=DATE:20260106",
                "-DTEND;TZID=America/New_York:20260105T210000", "+DTEND;VALUE=DATE:20260107"}},
        {"times over midnight", "DTSTART:20260105T210000Z\nDTEND:20260106T010000Z\n",
            wholeDays(true),
            {"-DTSTART:20260105T210000Z", "+DTSTART;VALUE=DATE:20260105", "-DTEND:20260106T010000Z",
                "+DTEND;VALUE=DATE:20260107"}},
        {"days to times", "DTSTART;VALUE=DATE:20260105\nDTEND;VALUE=DATE:20260107\n",
            wholeDays(false),
            {"-DTSTART;VALUE=DATE:20260105", "+DTSTART:20260105T000000Z",
                "-DTEND;VALUE=DATE:20260107", "+DTEND:20260106T235959Z"},
            "UTC"},
        {"one day to a time", "DTSTART;VALUE=DATE:20260105\n",
            [] {
                model::EventChanges changes = wholeDays(false);
                changes.start = changes.end = at("2026-01-05T09:00:00Z");
                return changes;
            }(),
            {"-DTSTART;VALUE=DATE:20260105", "+DTSTART:20260105T090000Z"}, "UTC"},
    });
}

// Somebody else knows the zone: it is nine hours east of Greenwich.
constexpr std::string_view nowhere = R"(BEGIN:VTIMEZONE
TZID:Nowhere
BEGIN:STANDARD
DTSTART:19700101T000000
TZOFFSETFROM:+0900
TZOFFSETTO:+0900
END:STANDARD
END:VTIMEZONE
)";

std::string withZone(std::string text) {
    return text.insert(text.find("BEGIN:VEVENT"), test::crlf(nowhere));
}

TEST(Updates, InAZoneThatIsNotKnownMeanTheSameToThoseWhoKnowIt) {
    const support::ScopedTimeZone local("America/New_York");
    const std::string zoned = ";TZID=Nowhere:20260105T";
    for (const std::string& lines : {"DTSTART" + zoned + "100000\nDTEND" + zoned + "110000\n",
             "DTSTART" + zoned + "100000\nDURATION:PT1H\n",
             "DTSTART" + zoned + "100000\nDTEND:20260105T160000Z\n",
             "DTSTART:20260105T150000Z\nDTEND" + zoned + "110000\n",
             "DTSTART" + zoned + "100000\nDTEND" + zoned + "110000\nRRULE:FREQ=DAILY;COUNT=3\n"}) {
        const std::string text = eventStream(lines);
        model::EventChanges both = starting("2026-01-05T15:15:00Z");
        both.end = at("2026-01-05T17:00:00Z");
        model::EventChanges rules = both;
        rules.recurrenceRules = {
            {.frequency = 1, .interval = 1, .end = model::RecurrenceEnd::withOccurrenceCount(30)}};
        for (const model::EventChanges& changes :
            {starting("2026-01-05T15:15:00Z"), ending("2026-01-05T17:00:00Z"), both, rules}) {
            const auto after = updated(text, changes);
            ASSERT_TRUE(after) << lines;
            const model::Event event = findEvent(*after, "e")->event;
            EXPECT_EQ(event.start, changes.start.value_or(at("2026-01-05T15:00:00Z"))) << lines;
            EXPECT_EQ(event.end, changes.end.value_or(at("2026-01-05T16:00:00Z"))) << lines;
            EXPECT_EQ(test::spanOf(findEvent(withZone(*after), "e")->event), test::spanOf(event))
                << *after;
        }
        // The clock of a series is the machine's, which changes on 8 March.
        const std::string series = *updated(text, rules);
        const auto spans = test::spansIn(series, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z");
        ASSERT_EQ(spans.size(), 30u);
        if (text.find("DTSTART;TZID") != std::string::npos) {
            EXPECT_EQ(spans.back(), "2026-07-27T14:15:00Z/2026-07-27T16:00:00Z") << series;
            EXPECT_EQ(timesIn(series, "TZID:America/New_York\r\n"), 1u) << series;
        }
        EXPECT_EQ(
            test::spansIn(withZone(series), "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"), spans);
    }
}

TEST(UpdatesOfASeries, InAZoneThatIsNotKnownKeepWhatIsNotAskedFor) {
    const support::ScopedTimeZone local("America/New_York");
    const std::string text = eventStream("DTSTART;TZID=Nowhere:20260105T100000\n"
                                         "DURATION:PT1H\nRRULE:FREQ=DAILY;COUNT=3\n");
    const auto after = updated(text, titled("new"));
    ASSERT_TRUE(after);
    const auto before =
        test::spansIn(withZone(text), "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z");
    EXPECT_EQ(
        test::spansIn(withZone(*after), "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"), before);
    // Its override, too, is one to those who know the zone.
    const auto moved = updated(text, starting("2026-01-05T14:00:00Z"));
    ASSERT_TRUE(moved);
    EXPECT_NE(moved->find("RECURRENCE-ID;TZID=Nowhere:20260105T100000\r\n"), std::string::npos);
    EXPECT_EQ(
        test::spansIn(withZone(*moved), "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z").size(), 3u);
}

TEST(Updates, OutsideOfWhatAFileTellsOfItsZoneAreInUtc) {
    const std::string text = stream("BEGIN:VTIMEZONE\nTZID:Own\nBEGIN:STANDARD\n"
                                    "DTSTART:20251026T030000\nTZOFFSETFROM:+0200\n"
                                    "TZOFFSETTO:+0100\nRRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\n"
                                    "END:STANDARD\nBEGIN:DAYLIGHT\nDTSTART:20260329T020000\n"
                                    "TZOFFSETFROM:+0100\nTZOFFSETTO:+0200\n"
                                    "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\nEND:DAYLIGHT\n"
                                    "END:VTIMEZONE\nBEGIN:VEVENT\nUID:e\n"
                                    "DTSTART;TZID=Own:20260105T100000\nEND:VEVENT\n");
    for (const auto& [start, line] : std::vector<std::pair<std::string, std::string>>{
             {"2026-07-05T10:00:00Z", "DTSTART;TZID=Own:20260705T120000"},
             {"2199-07-05T10:00:00Z", "DTSTART;TZID=Own:21990705T120000"},
             {"2200-07-05T10:00:00Z", "DTSTART:22000705T100000Z"},
             {"2025-10-26T00:59:59Z", "DTSTART:20251026T005959Z"}}) {
        model::EventChanges changes = starting(start);
        changes.end = changes.start;
        const auto after = updated(text, changes);
        ASSERT_TRUE(after);
        EXPECT_NE(after->find(line + "\r\n"), std::string::npos) << start << "\n" << *after;
        EXPECT_EQ(findEvent(*after, "e")->event.start, at(start));
    }
}

TEST(NewStreams, AreInUtcWhereTheMachineIs) {
    for (const char* variable : {"", ":", "UTC", "UTC0", "nonsense", "<ABC>0", "Etc/UTC",
             "AAA0BBB0,M3.2.0,M11.1.0", "/nowhere"}) {
        const support::ScopedTimeZone local(variable);
        const auto text = newStream("ABC", lunch(), now);
        ASSERT_TRUE(text);
        EXPECT_NE(text->find("DTSTART:20260701T100000Z\r\n"), std::string::npos) << variable;
        EXPECT_EQ(scanStream(*text).timeZones.size(), 0u) << variable;
    }
}

struct WholeDayCase {
    std::string zone;
    std::string start;
    std::string end;
    std::string first;
    std::string afterLast;
};

TEST(NewStreams, OfWholeDaysHoldTheLocalDays) {
    const std::vector<WholeDayCase> cases{
        {"UTC", "2026-01-05T00:00:00Z", "2026-01-05T00:00:00Z", "20260105", "20260106"},
        {"UTC", "2026-01-05T00:00:00Z", "2026-01-06T00:00:00Z", "20260105", "20260106"},
        {"UTC", "2026-01-05T00:00:00Z", "2026-01-06T00:00:01Z", "20260105", "20260107"},
        {"UTC", "2026-01-05T13:00:00Z", "2026-01-05T14:00:00Z", "20260105", "20260106"},
        {"UTC", "2026-01-05T13:00:00Z", "2026-01-06T00:00:00Z", "20260105", "20260106"},
        {"Europe/Berlin", "2026-01-04T23:00:00Z", "2026-01-05T23:00:00Z", "20260105", "20260106"},
        {"Europe/Berlin", "2026-01-04T22:59:59Z", "2026-01-05T22:59:59Z", "20260104", "20260106"},
        {"Europe/Berlin", "2026-03-28T23:00:00Z", "2026-03-29T22:00:00Z", "20260329", "20260330"},
        {"Australia/Lord_Howe", "2026-10-03T13:30:00Z", "2026-10-04T13:00:00Z", "20261004",
            "20261005"},
        {"Australia/Lord_Howe", "2026-04-04T13:00:00Z", "2026-04-05T13:30:00Z", "20260405",
            "20260406"},
        {"America/St_Johns", "2026-03-08T03:30:00Z", "2026-03-09T02:29:59Z", "20260308",
            "20260309"},
        {"America/Sao_Paulo", "2018-11-04T03:00:00Z", "2018-11-05T02:00:00Z", "20181104",
            "20181105"},
    };
    for (const WholeDayCase& row : cases) {
        const support::ScopedTimeZone local(row.zone);
        model::EventChanges changes = newEvent("x", at(row.start), at(row.end));
        changes.isAllDay = true;
        const auto text = newStream("e", changes, now);
        ASSERT_TRUE(text);
        EXPECT_NE(text->find("DTSTART;VALUE=DATE:" + row.first + "\r\n"), std::string::npos)
            << *text;
        EXPECT_NE(text->find("DTEND;VALUE=DATE:" + row.afterLast + "\r\n"), std::string::npos)
            << *text;
        EXPECT_EQ(scanStream(*text).timeZones.size(), 0u);
    }
}

TEST(NewStreams, HoldEveryInstantOfTheYearsThatCanBeWritten) {
    for (const char* zone : {"UTC", "America/St_Johns", "Australia/Lord_Howe", "Europe/Berlin",
             "<+0330>-3:30", "NZST-12NZDT,M9.5.0,M4.1.0/3", "XXX0YYY,59/0,300"}) {
        const support::ScopedTimeZone local(zone);
        for (const std::string_view start : {"0001-01-01T00:00:00Z", "0001-01-01T23:59:59Z",
                 "1883-11-18T12:00:00Z", "1916-04-30T21:30:00Z", "1969-12-31T23:59:59Z",
                 "1970-01-01T00:00:00Z", "2199-07-01T00:00:00Z", "2200-07-01T00:00:00Z",
                 "2400-02-29T12:00:00Z", "9999-12-31T00:00:00Z", "9999-12-31T23:59:59Z"}) {
            const auto text = newStream("e", newEvent("x", at(start), at(start)), now);
            ASSERT_TRUE(text) << zone << start;
            EXPECT_EQ(findEvent(*text, "e")->event.start, at(start)) << zone << start;
        }
        const model::Instant first = at("2026-01-01T00:00:00Z");
        for (int minute = 0; minute < 365 * 24 * 60; minute += 15 * 37) {
            const model::Instant start = first + std::chrono::minutes(minute);
            const auto text =
                newStream("e", newEvent("x", start, start + std::chrono::hours(5)), now);
            ASSERT_TRUE(text);
            const model::Event event = findEvent(*text, "e")->event;
            EXPECT_EQ(event.start, start);
            EXPECT_EQ(event.end, start + std::chrono::hours(5));
        }
    }
}

TEST(NewStreams, HoldEveryInstantAroundAChangeOfTheClock) {
    for (const char* zone : {"America/St_Johns", "Australia/Lord_Howe", "Europe/Berlin",
             "CET-1CEST,M3.5.0,M10.5.0/3", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0"}) {
        const support::ScopedTimeZone local(zone);
        auto change = Zone::local().changeAfter(at("2026-01-01T00:00:00Z"));
        for (int changes = 0; changes < 2; ++changes) {
            ASSERT_TRUE(change);
            for (int minute = -120; minute < 120; minute += 10) {
                const model::Instant start = change->at + std::chrono::minutes(minute);
                const model::Instant end = start + std::chrono::minutes(30);
                const auto text = newStream("e", newEvent("x", start, end), now);
                ASSERT_TRUE(text);
                EXPECT_EQ(test::spanOf(findEvent(*text, "e")->event),
                    test::written(start) + "/" + test::written(end))
                    << zone;
                // Whatever zone a date names, the file defines it.
                EXPECT_EQ(scanStream(*text).timeZones.size(),
                    text->find(";TZID=") == std::string::npos ? 0u : 1u);
            }
            change = Zone::local().changeAfter(change->at);
        }
    }
}

} // namespace
} // namespace quenbrook::icalendar
