#include "platform/icalendar/event/Series.h"

#include "platform/icalendar/CalendarStream.h"
#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace quenbrook::platform::icalendar {
namespace {

using test::at;
using test::eventStream;
using test::spansIn;
using test::stream;

struct OccurrenceCase {
    std::string description;
    // The lines of one event, besides UID and DTSTAMP.
    std::string lines;
    std::vector<std::string> spans;
    std::string from = "2026-01-01T00:00:00Z";
    std::string until = "2027-01-01T00:00:00Z";
    std::string localZone = "Europe/Berlin";
};

void expectSpans(const std::vector<OccurrenceCase>& cases) {
    for (const OccurrenceCase& row : cases) {
        const support::ScopedTimeZone local(row.localZone);
        EXPECT_EQ(spansIn(eventStream(row.lines), row.from, row.until), row.spans)
            << row.description;
    }
}

TEST(Occurrences, LastAsLongAsTheEventSays) {
    expectSpans({
        {"DTEND", "DTSTART:20260105T100000Z\nDTEND:20260105T113000Z\n",
            {"2026-01-05T10:00:00Z/2026-01-05T11:30:00Z"}},
        {"DTEND in another zone",
            "DTSTART;TZID=Europe/Berlin:20260105T100000\nDTEND;TZID=America/"
            "New_York:20260105T060000\n",
            {"2026-01-05T09:00:00Z/2026-01-05T11:00:00Z"}},
        {"DURATION", "DTSTART:20260105T100000Z\nDURATION:PT1H30M\n",
            {"2026-01-05T10:00:00Z/2026-01-05T11:30:00Z"}},
        {"a time without end", "DTSTART:20260105T100000Z\n",
            {"2026-01-05T10:00:00Z/2026-01-05T10:00:00Z"}},
        {"a date without end", "DTSTART;VALUE=DATE:20260105\n",
            {"2026-01-04T23:00:00Z/2026-01-05T22:59:59Z"}},
        {"a date with DTEND", "DTSTART;VALUE=DATE:20260105\nDTEND;VALUE=DATE:20260107\n",
            {"2026-01-04T23:00:00Z/2026-01-06T22:59:59Z"}},
        {"a date with DURATION", "DTSTART;VALUE=DATE:20260105\nDURATION:P1W\n",
            {"2026-01-04T23:00:00Z/2026-01-11T22:59:59Z"}},
        {"a date that ends when it starts",
            "DTSTART;VALUE=DATE:20260105\nDTEND;VALUE=DATE:20260105\n",
            {"2026-01-04T23:00:00Z/2026-01-05T22:59:59Z"}},
        {"a date that ends before it starts",
            "DTSTART;VALUE=DATE:20260105\nDTEND;VALUE=DATE:20260101\n",
            {"2026-01-04T23:00:00Z/2026-01-05T22:59:59Z"}},
        {"DTEND before DTSTART", "DTSTART:20260105T100000Z\nDTEND:20260105T090000Z\n",
            {"2026-01-05T10:00:00Z/2026-01-05T10:00:00Z"}},
        {"negative DURATION", "DTSTART:20260105T100000Z\nDURATION:-PT1H\n",
            {"2026-01-05T10:00:00Z/2026-01-05T10:00:00Z"}},
        {"DTEND that cannot be read", "DTSTART:20260105T100000Z\nDTEND:tomorrow\n",
            {"2026-01-05T10:00:00Z/2026-01-05T10:00:00Z"}},
        {"DTEND that cannot be read, and DURATION",
            "DTSTART:20260105T100000Z\nDTEND:tomorrow\nDURATION:PT1H\n",
            {"2026-01-05T10:00:00Z/2026-01-05T11:00:00Z"}},
        {"floating times", "DTSTART:20260705T100000\nDTEND:20260705T110000\n",
            {"2026-07-05T08:00:00Z/2026-07-05T09:00:00Z"}},
        {"an unknown zone",
            "DTSTART;TZID=Nowhere:20260705T100000\nDTEND;TZID=Nowhere:20260705T110000\n",
            {"2026-07-05T08:00:00Z/2026-07-05T09:00:00Z"}},
    });
}

TEST(Occurrences, OfWholeDaysGoFromLocalMidnightToTheLastSecond) {
    const auto days = [](std::string start, std::string end) {
        return "DTSTART;VALUE=DATE:" + start + "\nDTEND;VALUE=DATE:" + end + "\n";
    };
    const auto wide = [](OccurrenceCase row, std::string zone) {
        row.localZone = std::move(zone);
        row.from = "2018-01-01T00:00:00Z";
        return row;
    };
    expectSpans({
        wide({"UTC", days("20260329", "20260330"), {"2026-03-29T00:00:00Z/2026-03-29T23:59:59Z"}},
            "UTC"),
        wide({"a day of 23 hours", days("20260329", "20260330"),
                 {"2026-03-28T23:00:00Z/2026-03-29T21:59:59Z"}},
            "Europe/Berlin"),
        wide({"a day of 25 hours", days("20261025", "20261026"),
                 {"2026-10-24T22:00:00Z/2026-10-25T22:59:59Z"}},
            "Europe/Berlin"),
        wide({"over the change", days("20260328", "20260331"),
                 {"2026-03-27T23:00:00Z/2026-03-30T21:59:59Z"}},
            "Europe/Berlin"),
        wide({"southern, into daylight saving", days("20261004", "20261005"),
                 {"2026-10-03T13:30:00Z/2026-10-04T12:59:59Z"}},
            "Australia/Lord_Howe"),
        wide({"southern, out of daylight saving", days("20260405", "20260406"),
                 {"2026-04-04T13:00:00Z/2026-04-05T13:29:59Z"}},
            "Australia/Lord_Howe"),
        wide({"half an hour off", days("20260308", "20260309"),
                 {"2026-03-08T03:30:00Z/2026-03-09T02:29:59Z"}},
            "America/St_Johns"),
        // The day begins at 01:00.
        wide({"a midnight that does not exist", days("20181104", "20181105"),
                 {"2018-11-04T03:00:00Z/2018-11-05T01:59:59Z"}},
            "America/Sao_Paulo"),
        // 23:00 to 24:00 comes twice at the end of the day before.
        wide({"a midnight after a repeated hour", days("20180218", "20180219"),
                 {"2018-02-18T03:00:00Z/2018-02-19T02:59:59Z"}},
            "America/Sao_Paulo"),
    });
}

TEST(Occurrences, KeepTheirWallClockTimeOverDaylightSaving) {
    expectSpans({
        {"into summer",
            "DTSTART;TZID=Europe/Berlin:20260328T090000\n"
            "DTEND;TZID=Europe/Berlin:20260328T100000\nRRULE:FREQ=DAILY;COUNT=3\n",
            {"2026-03-28T08:00:00Z/2026-03-28T09:00:00Z",
                "2026-03-29T07:00:00Z/2026-03-29T08:00:00Z",
                "2026-03-30T07:00:00Z/2026-03-30T08:00:00Z"}},
        {"another zone's change",
            "DTSTART;TZID=America/St_Johns:20260307T120000\n"
            "DURATION:PT1H\nRRULE:FREQ=DAILY;COUNT=2\n",
            {"2026-03-07T15:30:00Z/2026-03-07T16:30:00Z",
                "2026-03-08T14:30:00Z/2026-03-08T15:30:00Z"}},
        {"half an hour",
            "DTSTART;TZID=Australia/Lord_Howe:20260404T120000\nDURATION:PT1H\n"
            "RRULE:FREQ=DAILY;COUNT=2\n",
            {"2026-04-04T01:00:00Z/2026-04-04T02:00:00Z",
                "2026-04-05T01:30:00Z/2026-04-05T02:30:00Z"}},
        {"a time that is skipped once",
            "DTSTART;TZID=Europe/Berlin:20260328T023000\n"
            "RRULE:FREQ=DAILY;COUNT=3\n",
            {"2026-03-28T01:30:00Z/2026-03-28T01:30:00Z",
                "2026-03-29T01:30:00Z/2026-03-29T01:30:00Z",
                "2026-03-30T00:30:00Z/2026-03-30T00:30:00Z"}},
        {"a time that comes twice",
            "DTSTART;TZID=Europe/Berlin:20261024T023000\n"
            "RRULE:FREQ=DAILY;COUNT=3\n",
            {"2026-10-24T00:30:00Z/2026-10-24T00:30:00Z",
                "2026-10-25T00:30:00Z/2026-10-25T00:30:00Z",
                "2026-10-26T01:30:00Z/2026-10-26T01:30:00Z"}},
        // DTEND: the same exact length each time. DURATION: the same nominal one (RFC 5545
        // section 3.8.5.3).
        {"DTEND over the change",
            "DTSTART;TZID=Europe/Berlin:20260328T200000\n"
            "DTEND;TZID=Europe/Berlin:20260329T200000\n"
            "RRULE:FREQ=DAILY;COUNT=2\n",
            {"2026-03-28T19:00:00Z/2026-03-29T18:00:00Z",
                "2026-03-29T18:00:00Z/2026-03-30T17:00:00Z"}},
        {"a day of DURATION over the change",
            "DTSTART;TZID=Europe/Berlin:20260328T200000\n"
            "DURATION:P1D\nRRULE:FREQ=DAILY;COUNT=2\n",
            {"2026-03-28T19:00:00Z/2026-03-29T18:00:00Z",
                "2026-03-29T18:00:00Z/2026-03-30T18:00:00Z"}},
        {"24 hours of DURATION over the change",
            "DTSTART;TZID=Europe/Berlin:20260328T200000\n"
            "DURATION:PT24H\nRRULE:FREQ=DAILY;COUNT=2\n",
            {"2026-03-28T19:00:00Z/2026-03-29T19:00:00Z",
                "2026-03-29T18:00:00Z/2026-03-30T18:00:00Z"}},
        {"whole days", "DTSTART;VALUE=DATE:20260328\nRRULE:FREQ=DAILY;COUNT=3\n",
            {"2026-03-27T23:00:00Z/2026-03-28T22:59:59Z",
                "2026-03-28T23:00:00Z/2026-03-29T21:59:59Z",
                "2026-03-29T22:00:00Z/2026-03-30T21:59:59Z"}},
        {"UTC does not change", "DTSTART:20260328T090000Z\nRRULE:FREQ=DAILY;COUNT=2\n",
            {"2026-03-28T09:00:00Z/2026-03-28T09:00:00Z",
                "2026-03-29T09:00:00Z/2026-03-29T09:00:00Z"}},
    });
}

// Both times of a pair that the gap puts together are one occurrence (RFC 5545 section 3.3.10).
TEST(Occurrences, InAGapComeOnceAndInOrder) {
    const auto points = [](const std::vector<std::string>& times) {
        std::vector<std::string> spans;
        for (const std::string& time : times) {
            spans.push_back(time + "/" + time);
        }
        return spans;
    };
    const std::string berlin = "DTSTART;TZID=Europe/Berlin:20260329T010000\n";
    expectSpans({
        {"every half an hour", berlin + "RRULE:FREQ=HOURLY;BYMINUTE=0,30\n",
            points({"2026-03-29T00:00:00Z", "2026-03-29T00:30:00Z", "2026-03-29T01:00:00Z",
                "2026-03-29T01:30:00Z", "2026-03-29T02:00:00Z"}),
            "2026-03-29T00:00:00Z", "2026-03-29T02:10:00Z"},
        {"times that interleave",
            berlin + "RRULE:FREQ=DAILY;BYHOUR=2,3;BYMINUTE=10,30;UNTIL=20260329T235959Z\n",
            points({"2026-03-29T00:00:00Z", "2026-03-29T01:10:00Z", "2026-03-29T01:30:00Z"})},
        {"a later one of a skipped hour that comes sooner",
            berlin + "RRULE:FREQ=WEEKLY;BYHOUR=2,3;BYMINUTE=10,20;BYSETPOS=2,3;COUNT=3\n",
            points({"2026-03-29T00:00:00Z", "2026-03-29T01:10:00Z", "2026-03-29T01:20:00Z"})},
        {"that one asked for alone",
            berlin + "RRULE:FREQ=WEEKLY;BYHOUR=2,3;BYMINUTE=10,20;BYSETPOS=2,3;COUNT=3\n",
            points({"2026-03-29T01:10:00Z"}), "2026-03-29T01:05:00Z", "2026-03-29T01:15:00Z"},
        {"half an hour of gap",
            "DTSTART;TZID=Australia/Lord_Howe:20261004T013000\n"
            "RRULE:FREQ=HOURLY;BYMINUTE=0,15,30,45\n",
            points({"2026-10-03T15:00:00Z", "2026-10-03T15:15:00Z", "2026-10-03T15:30:00Z",
                "2026-10-03T15:45:00Z", "2026-10-03T16:00:00Z"}),
            "2026-10-03T00:00:00Z", "2026-10-03T16:10:00Z"},
        // Samoa had no 30th of December in 2011.
        {"a whole day", "DTSTART;TZID=Pacific/Apia:20111229T100000\nRRULE:FREQ=DAILY;COUNT=4\n",
            points({"2011-12-29T20:00:00Z", "2011-12-30T20:00:00Z", "2011-12-31T20:00:00Z"}),
            "2011-01-01T00:00:00Z", "2013-01-01T00:00:00Z"},
    });
}

// Each is at 10:00 on a day of January, local time of UTC, and lasts no time.
std::vector<std::string> mornings(const std::vector<std::string>& days) {
    std::vector<std::string> spans;
    for (const std::string& day : days) {
        spans.push_back("2026-01-" + day + "T10:00:00Z/2026-01-" + day + "T10:00:00Z");
    }
    return spans;
}

TEST(RecurrenceSets, AreMadeOfRulesAddedAndExcludedDates) {
    const std::string start = "DTSTART:20260105T100000Z\n";
    expectSpans({
        {"no rule", start, mornings({"05"})},
        {"a rule", start + "RRULE:FREQ=DAILY;COUNT=3\n", mornings({"05", "06", "07"})},
        {"a rule that cannot be read", start + "RRULE:FREQ=SOMETIMES\n", mornings({"05"})},
        {"a start that the rule does not name", start + "RRULE:FREQ=WEEKLY;BYDAY=WE;COUNT=3\n",
            mornings({"05", "07", "14"})},
        {"several rules", start + "RRULE:FREQ=DAILY;COUNT=2\nRRULE:FREQ=WEEKLY;COUNT=3\n",
            mornings({"05", "06", "12", "19"})},
        {"added dates", start + "RDATE:20260108T100000Z,20260107T100000Z\nRDATE:20260109T100000Z\n",
            mornings({"05", "07", "08", "09"})},
        {"an added date before the start", start + "RDATE:20260102T100000Z\n",
            mornings({"02", "05"})},
        {"an added date that the rule names",
            start + "RRULE:FREQ=DAILY;COUNT=2\nRDATE:20260106T100000Z\n", mornings({"05", "06"})},
        {"an added date twice, in two zones",
            start + "RDATE:20260107T100000Z\nRDATE;TZID=Europe/Berlin:20260107T110000\n",
            mornings({"05", "07"})},
        {"an added date that cannot be read", start + "RDATE:nonsense,20260107T100000Z,\n",
            mornings({"05", "07"})},
        {"excluded dates",
            start + "RRULE:FREQ=DAILY;COUNT=5\nEXDATE:20260106T100000Z,20260108T100000Z\n"
                    "EXDATE:20260109T100000Z\n",
            mornings({"05", "07"})},
        {"an exclusion in another zone",
            start + "RRULE:FREQ=DAILY;COUNT=2\nEXDATE;TZID=America/New_York:20260106T050000\n",
            mornings({"05"})},
        {"an exclusion of another time of the day",
            start + "RRULE:FREQ=DAILY;COUNT=2\nEXDATE:20260106T100001Z\n", mornings({"05", "06"})},
        {"an exclusion of a whole day",
            start + "RRULE:FREQ=DAILY;COUNT=3\nEXDATE;VALUE=DATE:20260106\n",
            mornings({"05", "07"})},
        {"an exclusion of a whole day on which an added one lies",
            start + "RRULE:FREQ=DAILY;COUNT=2\nRDATE;VALUE=DATE:20260106\n"
                    "EXDATE;VALUE=DATE:20260105,20260106\n",
            mornings({"06"})},
        {"an exclusion of the start", start + "RRULE:FREQ=DAILY;COUNT=2\nEXDATE:20260105T100000Z\n",
            mornings({"06"})},
        {"an exclusion of an added date",
            start + "RDATE:20260107T100000Z\nEXDATE:20260107T100000Z\n", mornings({"05"})},
        {"exclusions of everything",
            start + "RRULE:FREQ=DAILY;COUNT=2\nEXDATE:20260105T100000Z,20260106T100000Z\n", {}},
        {"a rule that excludes", start + "RRULE:FREQ=DAILY;COUNT=5\nEXRULE:FREQ=DAILY;INTERVAL=3\n",
            mornings({"06", "07", "09"})},
        {"a rule that excludes without the start",
            start + "RRULE:FREQ=DAILY;COUNT=5\nEXRULE:FREQ=WEEKLY;BYDAY=TU,FR\n",
            mornings({"05", "07", "08"})},
        {"a rule that excludes for a while",
            start + "RRULE:FREQ=DAILY;COUNT=6\nEXRULE:FREQ=WEEKLY;BYDAY=TU,WE,TH,FR;COUNT=2\n"
                    "EXRULE:FREQ=DAILY;BYDAY=FR;UNTIL=20260109T100000Z\n",
            mornings({"05", "08", "10"})},
        {"a rule that excludes another time of the day",
            start + "RRULE:FREQ=DAILY;COUNT=2\nEXRULE:FREQ=DAILY;BYHOUR=11\n",
            mornings({"05", "06"})},
        {"a rule that excludes an added date",
            start + "RDATE:20260107T100000Z\nEXRULE:FREQ=WEEKLY;BYDAY=WE\n", mornings({"05"})},
        {"a rule that excludes everything", start + "RRULE:FREQ=DAILY\nEXRULE:FREQ=DAILY\n", {}},
        {"a rule that excludes and cannot be read",
            start + "RRULE:FREQ=DAILY;COUNT=2\nEXRULE:FREQ=SOMETIMES\n", mornings({"05", "06"})},
        {"an exclusion that cannot be read", start + "RRULE:FREQ=DAILY;COUNT=2\nEXDATE:x,\n",
            mornings({"05", "06"})},
    });
}

// Exchange, Google and Apple all write such exclusions and additions.
TEST(RecurrenceSets, OfWholeDaysGoByTheDatesThatAreWritten) {
    const std::string days = "DTSTART;VALUE=DATE:20260105\nRRULE:FREQ=DAILY;COUNT=3\n";
    const std::string fifth = "2026-01-05T08:00:00Z/2026-01-06T07:59:59Z";
    const std::string seventh = "2026-01-07T08:00:00Z/2026-01-08T07:59:59Z";
    const std::string tenth = "2026-01-10T08:00:00Z/2026-01-11T07:59:59Z";
    std::vector<OccurrenceCase> cases;
    for (const char* time : {";VALUE=DATE:20260106", ":20260106T000000Z", ":20260106T235959Z",
             ":20260106T000000", ";TZID=Pacific/Kiritimati:20260106T000000",
             ";TZID=America/New_York:20260106T233000", ";VALUE=DATE:20260106T000000"}) {
        cases.push_back({"EXDATE", days + "EXDATE" + time + "\n", {fifth, seventh}});
    }
    for (const char* time :
        {":20260110T020000", ":20260110T020000Z", ";TZID=Pacific/Kiritimati:20260110T020000",
            ";VALUE=PERIOD:20260110T020000Z/20260110T030000Z",
            ";VALUE=PERIOD:20260110T020000/PT1H"}) {
        cases.push_back({"RDATE", "DTSTART;VALUE=DATE:20260105\nRDATE" + std::string(time) + "\n",
            {fifth, tenth}});
    }
    cases.push_back({"RDATE that is excluded",
        days + "RDATE:20260110T020000\nEXDATE:20260106T000000Z,20260110T000000Z\n",
        {fifth, seventh}});
    cases.push_back({"RDATE of two days",
        "DTSTART;VALUE=DATE:20260105\nRDATE;VALUE=PERIOD:20260106T220000Z/20260107T100000Z\n",
        {fifth, "2026-01-06T08:00:00Z/2026-01-08T07:59:59Z"}});
    for (OccurrenceCase& row : cases) {
        row.description += " of " + row.lines;
        row.localZone = "America/Los_Angeles";
    }
    expectSpans(cases);
}

// RFC 5545 section 3.3.10: what a rule says of times is ignored there.
TEST(RecurrenceSets, OfWholeDaysHaveNoTimes) {
    const std::string fifth = "2026-01-05T00:00:00Z/2026-01-05T23:59:59Z";
    const std::string sixth = "2026-01-06T00:00:00Z/2026-01-06T23:59:59Z";
    std::vector<OccurrenceCase> cases;
    for (const char* rule : {"FREQ=DAILY;COUNT=2;BYHOUR=9,17", "FREQ=DAILY;COUNT=2;BYMINUTE=30",
             "FREQ=DAILY;COUNT=2;BYSECOND=1,2,3", "FREQ=HOURLY;INTERVAL=20;COUNT=3",
             "FREQ=HOURLY;COUNT=30", "FREQ=MINUTELY;UNTIL=20260106", "FREQ=SECONDLY;UNTIL=20260106",
             "FREQ=HOURLY;BYHOUR=9;UNTIL=20260106"}) {
        OccurrenceCase row{
            rule, "DTSTART;VALUE=DATE:20260105\nRRULE:" + std::string(rule) + "\n", {fifth, sixth}};
        row.localZone = "UTC";
        cases.push_back(std::move(row));
    }
    expectSpans(cases);
}

// The answer must not depend on the machine.
TEST(RecurrenceSets, ReadTimesWithoutAZoneByTheClockOfTheirSeries) {
    const std::string zoned = "DTSTART;TZID=America/New_York:20260105T100000\nRRULE:FREQ=DAILY;"
                              "COUNT=3\n";
    const auto at15 = [](const std::vector<std::string>& days) {
        std::vector<std::string> spans;
        for (const std::string& day : days) {
            spans.push_back("2026-01-" + day + "T15:00:00Z/2026-01-" + day + "T15:00:00Z");
        }
        return spans;
    };
    std::vector<OccurrenceCase> cases;
    for (const char* local : {"Europe/Berlin", "Asia/Tokyo", "America/Los_Angeles"}) {
        const auto add = [&](std::string lines, std::vector<std::string> spans) {
            OccurrenceCase row{lines + " in " + local, lines, std::move(spans)};
            row.localZone = local;
            cases.push_back(std::move(row));
        };
        add(zoned + "EXDATE:20260106T100000\n", at15({"05", "07"}));
        add(zoned + "EXDATE:20260106T160000\n", at15({"05", "06", "07"}));
        add(zoned + "RDATE:20260110T100000\n", at15({"05", "06", "07", "10"}));
        add(zoned + "RDATE;VALUE=PERIOD:20260110T100000/20260110T100000\n",
            at15({"05", "06", "07", "10"}));
        add("DTSTART:20260105T100000Z\nRRULE:FREQ=DAILY;COUNT=3\nEXDATE:20260106T100000\n",
            mornings({"05", "07"}));
    }
    expectSpans(cases);
}

// What programs let stand at the ends of lines, and between the entries of a list.
constexpr std::string_view clean = R"(BEGIN:VTIMEZONE
TZID:Own
BEGIN:STANDARD
DTSTART:20261004T030000
TZOFFSETFROM:+0500
TZOFFSETTO:+0400
RDATE:20271003T030000
END:STANDARD
BEGIN:DAYLIGHT
DTSTART:20260329T020000
TZOFFSETFROM:+0400
TZOFFSETTO:+0500
RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU;UNTIL=20280101T000000Z
END:DAYLIGHT
END:VTIMEZONE
BEGIN:VEVENT
UID:e
DTSTART;TZID=Own:20260105T100000
DURATION:PT1H
RRULE:FREQ=WEEKLY;COUNT=9;BYDAY=MO,TU,WE
EXDATE;TZID=Own:20260106T100000,20260107T100000
RDATE;TZID=Own:20260710T100000,20260711T100000/PT2H
BEGIN:VALARM
ACTION:DISPLAY
END:VALARM
END:VEVENT
BEGIN:VEVENT
UID:e
RECURRENCE-ID;TZID=Own:20260112T100000
DTSTART;TZID=Own:20260112T150000
DTEND;TZID=Own:20260112T160000
END:VEVENT
BEGIN:VEVENT
UID:day
DTSTART;VALUE=DATE:20260501
DTEND;VALUE=DATE:20260503
END:VEVENT
)";

TEST(WhiteSpace, IsPassedOverWhereNoTextIsMeant) {
    const auto spans = [](const std::string& text) {
        return spansIn(text, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z");
    };
    const auto expected = spans(stream(clean));
    ASSERT_EQ(expected.size(), 10u);
    for (const std::string_view blanks : {" ", "\t", "   ", "\r", "\xC2\xA0", "\r\n ", "\r\n  "}) {
        std::string text;
        for (const std::string& line : test::linesOf(stream(clean))) {
            text += line.substr(0, line.size() - 2);
            // A UID is a text.
            text += line.starts_with("UID:") ? "" : blanks;
            text += "\r\n";
        }
        EXPECT_EQ(spans(text), expected) << '"' << blanks << '"';
    }
    for (const std::string_view blanks : {" ", "\t", "\r\n  "}) {
        std::string text;
        for (const char c : stream(clean)) {
            text += c;
            text += c == ',' ? blanks : "";
        }
        EXPECT_EQ(spans(text), expected) << '"' << blanks << '"';
    }
}

TEST(RecurrenceSets, TakeTheLengthOfAPeriod) {
    expectSpans({{"periods",
                     "DTSTART:20260105T100000Z\nDTEND:20260105T103000Z\n"
                     "RDATE;VALUE=PERIOD:20260106T100000Z/PT2H,20260107T100000Z/20260107T113000Z,"
                     "20260109T100000Z/later,later/PT1H\n"
                     "RDATE:20260108T100000Z\n",
                     {"2026-01-05T10:00:00Z/2026-01-05T10:30:00Z",
                         "2026-01-06T10:00:00Z/2026-01-06T12:00:00Z",
                         "2026-01-07T10:00:00Z/2026-01-07T11:30:00Z",
                         "2026-01-08T10:00:00Z/2026-01-08T10:30:00Z"}},
        {"a long period that began before the range",
            "DTSTART:20260105T100000Z\nDTEND:20260105T103000Z\n"
            "RDATE;VALUE=PERIOD:20260106T100000Z/P40D\n",
            {"2026-01-06T10:00:00Z/2026-02-15T10:00:00Z"}, "2026-02-10T00:00:00Z",
            "2026-02-11T00:00:00Z"}});
}

struct UntilCase {
    std::string start;
    std::string until;
    // Of the days from the 5th on.
    std::size_t occurrences;
};

TEST(RecurrenceSets, EndAtUntilInEveryForm) {
    // 10:00 in Berlin is 09:00 UTC.
    const std::vector<UntilCase> cases{
        {";TZID=Europe/Berlin:20260105T100000", "20260107", 3},
        {";TZID=Europe/Berlin:20260105T100000", "20260107T100000", 3},
        {";TZID=Europe/Berlin:20260105T100000", "20260107T095959", 2},
        {";TZID=Europe/Berlin:20260105T100000", "20260107T090000Z", 3},
        {";TZID=Europe/Berlin:20260105T100000", "20260107T085959Z", 2},
        {":20260105T100000", "20260107", 3},
        {":20260105T100000", "20260107T100000", 3},
        {":20260105T100000", "20260107T100000Z", 3},
        {":20260105T100000", "20260107T095959Z", 2},
        {":20260105T100000Z", "20260107", 3},
        {":20260105T100000Z", "20260107T100000Z", 3},
        {":20260105T100000Z", "20260107T095959Z", 2},
        {";VALUE=DATE:20260105", "20260107", 3},
        {";VALUE=DATE:20260105", "20260106", 2},
        {";VALUE=DATE:20260105", "20260107T000000", 3},
        {";VALUE=DATE:20260105", "20260107T000000Z", 3},
        {";VALUE=DATE:20260105", "20260107T235959Z", 3},
        // Late in the evening the day is another one in UTC.
        {";TZID=America/New_York:20260105T220000", "20260107", 3},
        {";TZID=America/New_York:20260105T220000", "20260108T030000Z", 3},
        {";TZID=America/New_York:20260105T220000", "20260108T025959Z", 2},
        // The event itself is there in any case.
        {":20260105T100000Z", "20260104T000000Z", 1},
    };
    for (const UntilCase& row : cases) {
        const support::ScopedTimeZone local("Europe/Berlin");
        const std::string text =
            eventStream("DTSTART" + row.start + "\nRRULE:FREQ=DAILY;UNTIL=" + row.until + "\n");
        EXPECT_EQ(
            spansIn(text, "2026-01-01T00:00:00Z", "2026-03-01T00:00:00Z").size(), row.occurrences)
            << row.start << " " << row.until;
    }
}

const std::string threeMornings =
    "BEGIN:VEVENT\nUID:s\nDTSTART:20260105T100000Z\nRRULE:FREQ=DAILY;COUNT=3\nEND:VEVENT\n";

std::string exception(const std::string& id, const std::string& start) {
    return "BEGIN:VEVENT\nUID:s\nRECURRENCE-ID" + id + "\nDTSTART:" + start + "\nEND:VEVENT\n";
}

TEST(Exceptions, TakeThePlaceOfTheirOccurrence) {
    const std::string text =
        stream(threeMornings + exception(":20260106T100000Z", "20260210T120000Z"));
    EXPECT_EQ(
        spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"), mornings({"05", "07"}));
    EXPECT_EQ(spansIn(text, "2026-02-01T00:00:00Z", "2026-03-01T00:00:00Z"),
        std::vector<std::string>{"2026-02-10T12:00:00Z/2026-02-10T12:00:00Z"});
    EXPECT_EQ(spansIn(text, "2026-01-06T00:00:00Z", "2026-01-07T00:00:00Z"), mornings({}));
}

TEST(Exceptions, NameTheirOccurrenceInAnyZoneOrByItsDay) {
    const support::ScopedTimeZone local("Europe/Berlin");
    for (const char* id : {":20260106T100000Z", ";TZID=Europe/Berlin:20260106T110000",
             ":20260106T100000", ";VALUE=DATE:20260106"}) {
        const std::string text = stream(exception(id, "20260120T100000Z") + threeMornings);
        EXPECT_EQ(spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
            mornings({"05", "07", "20"}))
            << id;
    }
}

TEST(Exceptions, NameADayByTheDateThatIsWritten) {
    const std::string days = "BEGIN:VEVENT\nUID:s\nDTSTART;VALUE=DATE:20260105\n"
                             "RRULE:FREQ=DAILY;COUNT=3\nEND:VEVENT\n";
    for (const char* zone : {"America/Los_Angeles", "UTC", "Pacific/Auckland"}) {
        const support::ScopedTimeZone local(zone);
        for (const char* id :
            {";VALUE=DATE:20260106", ":20260106T000000Z", ";TZID=Europe/Berlin:20260106T000000",
                ":20260106T000000", ";TZID=America/New_York:20260106T230000"}) {
            const std::string text = stream(exception(id, "20260120T100000Z") + days);
            const auto spans = spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z");
            EXPECT_EQ(spans.size(), 3u) << zone << id;
            EXPECT_EQ(spans.back(), mornings({"20"}).front()) << zone << id;
            EXPECT_EQ(CalendarStream(text).series("s")->exceptions()[0].recurrenceId->form,
                DateTime::Form::date);
        }
    }
}

TEST(Exceptions, WithoutAZoneGoByTheClockOfTheirSeries) {
    const std::string series =
        "BEGIN:VEVENT\nUID:s\nDTSTART;TZID=America/New_York:20260105T100000\n"
        "RRULE:FREQ=DAILY;COUNT=3\nEND:VEVENT\n";
    for (const char* zone : {"America/Los_Angeles", "UTC", "Pacific/Auckland"}) {
        const support::ScopedTimeZone local(zone);
        EXPECT_EQ(spansIn(stream(exception(":20260106T100000", "20260120T100000Z") + series),
                      "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
            (std::vector<std::string>{"2026-01-05T15:00:00Z/2026-01-05T15:00:00Z",
                "2026-01-07T15:00:00Z/2026-01-07T15:00:00Z", mornings({"20"}).front()}))
            << zone;
    }
}

TEST(Exceptions, ToNothingStandForThemselves) {
    EXPECT_EQ(spansIn(stream(exception(":20260106T100000Z", "20260120T100000Z")),
                  "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
        mornings({"20"}));
    EXPECT_EQ(spansIn(stream(threeMornings + exception(":20260115T100000Z", "20260120T100000Z")),
                  "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
        mornings({"05", "06", "07", "20"}));
}

struct LaterCase {
    std::string description;
    std::string lines;
    // Titles and spans.
    std::vector<std::string> seen;
};

std::vector<std::string> seenIn(
    const std::string& text, const std::string& from, const std::string& until) {
    std::vector<std::string> seen;
    for (const FoundEvent& found : RangeQuery(at(from), at(until)).eventsIn(text)) {
        seen.push_back(test::spanOf(found.event) + " " + found.event.title.value_or(""));
    }
    std::sort(seen.begin(), seen.end());
    return seen;
}

TEST(ThisAndFuture, MovesAndRenamesWhatComesLater) {
    const std::string hours =
        "BEGIN:VEVENT\nUID:s\nSUMMARY:a\nDTSTART:20260105T100000Z\nDTEND:20260105T110000Z\n"
        "RRULE:FREQ=DAILY;COUNT=5\n";
    const std::string zoned =
        "BEGIN:VEVENT\nUID:s\nSUMMARY:a\nDTSTART;TZID=Europe/Berlin:20260327T100000\n"
        "RRULE:FREQ=DAILY;COUNT=4\nEND:VEVENT\n";
    const std::string days = "BEGIN:VEVENT\nUID:s\nSUMMARY:a\nDTSTART;VALUE=DATE:20260105\n"
                             "RRULE:FREQ=DAILY;COUNT=4\nEND:VEVENT\n";
    const auto later = [](const std::string& id, const std::string& lines) {
        return "BEGIN:VEVENT\nUID:s\nRECURRENCE-ID;RANGE=THISANDFUTURE" + id + "\n" + lines +
               "END:VEVENT\n";
    };
    const std::string moved =
        later(":20260107T100000Z", "SUMMARY:b\nDTSTART:20260107T120000Z\nDTEND:20260107T140000Z\n");
    const std::string fifth = "2026-01-05T10:00:00Z/2026-01-05T11:00:00Z a";
    const std::string sixth = "2026-01-06T10:00:00Z/2026-01-06T11:00:00Z a";
    const std::string seventh = "2026-01-07T12:00:00Z/2026-01-07T14:00:00Z b";
    const std::string eighth = "2026-01-08T12:00:00Z/2026-01-08T14:00:00Z b";
    const std::string ninth = "2026-01-09T12:00:00Z/2026-01-09T14:00:00Z b";
    const std::vector<LaterCase> cases{
        {"in UTC", hours + "END:VEVENT\n" + moved, {fifth, sixth, seventh, eighth, ninth}},
        {"before its master", moved + hours + "END:VEVENT\n",
            {fifth, sixth, seventh, eighth, ninth}},
        {"with an exclusion of a later one",
            hours + "EXDATE:20260108T100000Z\nEND:VEVENT\n" + moved,
            {fifth, sixth, seventh, ninth}},
        {"with an exclusion of its own", hours + "EXDATE:20260107T100000Z\nEND:VEVENT\n" + moved,
            {fifth, sixth, eighth, ninth}},
        {"with an exception to a later one",
            hours + "END:VEVENT\n" + moved +
                "BEGIN:VEVENT\nUID:s\nSUMMARY:c\nRECURRENCE-ID:20260108T100000Z\n"
                "DTSTART:20260108T200000Z\nEND:VEVENT\n",
            {fifth, sixth, seventh, "2026-01-08T20:00:00Z/2026-01-08T20:00:00Z c", ninth}},
        {"with another exception to its own",
            hours + "END:VEVENT\n" + moved +
                "BEGIN:VEVENT\nUID:s\nSUMMARY:c\nRECURRENCE-ID:20260107T100000Z\n"
                "DTSTART:20260107T200000Z\nEND:VEVENT\n",
            {fifth, sixth, "2026-01-07T20:00:00Z/2026-01-07T20:00:00Z c", eighth, ninth}},
        {"followed by another",
            hours + "END:VEVENT\n" +
                later(":20260109T100000Z", "SUMMARY:c\nDTSTART:20260109T090000Z\n") + moved,
            {fifth, sixth, seventh, eighth, "2026-01-09T09:00:00Z/2026-01-09T09:00:00Z c"}},
        {"beside an older revision",
            hours + "END:VEVENT\n" +
                later(":20260107T100000Z", "SUMMARY:old\nDTSTART:20260107T090000Z\n") +
                later(":20260107T100000Z",
                    "SUMMARY:b\nSEQUENCE:1\nDTSTART:20260107T120000Z\nDTEND:20260107T140000Z\n"),
            {fifth, sixth, seventh, eighth, ninth}},
        {"to earlier days",
            hours + "END:VEVENT\n" +
                later(":20260108T100000Z", "SUMMARY:b\nDTSTART:20260103T090000Z\n"),
            {"2026-01-03T09:00:00Z/2026-01-03T09:00:00Z b",
                "2026-01-04T09:00:00Z/2026-01-04T09:00:00Z b", fifth, sixth,
                "2026-01-07T10:00:00Z/2026-01-07T11:00:00Z a"}},
        {"over a change of the clocks",
            zoned + later(";TZID=Europe/Berlin:20260328T100000",
                        "SUMMARY:b\nDTSTART;TZID=Europe/Berlin:20260328T110000\n"),
            {"2026-03-27T09:00:00Z/2026-03-27T09:00:00Z a",
                "2026-03-28T10:00:00Z/2026-03-28T10:00:00Z b",
                "2026-03-29T09:00:00Z/2026-03-29T09:00:00Z b",
                "2026-03-30T09:00:00Z/2026-03-30T09:00:00Z b"}},
        {"in another zone",
            zoned +
                later(":20260328T090000Z", "SUMMARY:b\nDTSTART:20260329T090000Z\nDURATION:P1D\n"),
            {"2026-03-27T09:00:00Z/2026-03-27T09:00:00Z a",
                "2026-03-29T09:00:00Z/2026-03-30T09:00:00Z b",
                "2026-03-30T09:00:00Z/2026-03-31T09:00:00Z b",
                "2026-03-31T09:00:00Z/2026-04-01T09:00:00Z b"}},
        {"of whole days",
            days + later(";VALUE=DATE:20260106", "SUMMARY:b\nDTSTART;VALUE=DATE:20260107\n"
                                                 "DTEND;VALUE=DATE:20260109\n"),
            {"2026-01-04T23:00:00Z/2026-01-05T22:59:59Z a",
                "2026-01-06T23:00:00Z/2026-01-08T22:59:59Z b",
                "2026-01-07T23:00:00Z/2026-01-09T22:59:59Z b",
                "2026-01-08T23:00:00Z/2026-01-10T22:59:59Z b"}},
        {"from days to times",
            days + later(";VALUE=DATE:20260107", "SUMMARY:b\nDTSTART:20260107T150000Z\n"),
            {"2026-01-04T23:00:00Z/2026-01-05T22:59:59Z a",
                "2026-01-05T23:00:00Z/2026-01-06T22:59:59Z a",
                "2026-01-07T15:00:00Z/2026-01-07T15:00:00Z b",
                "2026-01-08T15:00:00Z/2026-01-08T15:00:00Z b"}},
        {"from times to days, named by a day",
            zoned + later(";VALUE=DATE:20260329", "SUMMARY:b\nDTSTART;VALUE=DATE:20260330\n"),
            {"2026-03-27T09:00:00Z/2026-03-27T09:00:00Z a",
                "2026-03-28T09:00:00Z/2026-03-28T09:00:00Z a",
                "2026-03-29T22:00:00Z/2026-03-30T21:59:59Z b",
                "2026-03-30T22:00:00Z/2026-03-31T21:59:59Z b"}},
        {"of nothing", moved, {seventh}},
        {"beyond all years",
            hours + "END:VEVENT\n" + later(":20260107T100000Z", "DTSTART:99991231T100000Z\n"),
            {fifth, sixth}},
    };
    const support::ScopedTimeZone local("Europe/Berlin");
    for (const LaterCase& row : cases) {
        const std::string text = stream(row.lines);
        EXPECT_EQ(seenIn(text, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"), row.seen)
            << row.description;
        // Each is found when it is asked for alone, too.
        for (const std::string& one : row.seen) {
            const std::string start = one.substr(0, 20);
            const auto alone =
                seenIn(text, start, test::written(at(start) + std::chrono::seconds(1)));
            EXPECT_EQ(std::count(alone.begin(), alone.end(), one), 1) << row.description << one;
        }
    }
}

TEST(ThisAndFuture, IsFoundFarFromWhereItsSeriesEnded) {
    const std::string text = stream(
        "BEGIN:VEVENT\nUID:s\nDTSTART:20200105T100000Z\nRRULE:FREQ=DAILY;UNTIL=20200110T100000Z\n"
        "END:VEVENT\n" +
        exception(";RANGE=THISANDFUTURE:20200107T100000Z", "20260107T100000Z"));
    EXPECT_EQ(spansIn(text, "2026-01-08T00:00:00Z", "2026-02-01T00:00:00Z"),
        mornings({"08", "09", "10"}));
}

// They must not be gone through for each occurrence.
TEST(LargeSeries, OfManyThatSpeakOfTheFutureComeToAnEnd) {
    std::string lines =
        "BEGIN:VEVENT\nUID:s\nDTSTART:20260101T000000Z\nRRULE:FREQ=MINUTELY\nEND:VEVENT\n";
    const auto digits = [](std::chrono::sys_seconds time) {
        std::string text = test::written(time);
        std::erase_if(text, [](char c) { return c == '-' || c == ':'; });
        return text;
    };
    const auto start = at("2026-01-01T00:00:00Z");
    for (int i = 0; i < 20'000; ++i) {
        const auto from = start + std::chrono::minutes(10 * i);
        lines += exception(
            ";RANGE=THISANDFUTURE:" + digits(from), digits(from + std::chrono::seconds(i % 50)));
    }
    const auto spans = spansIn(stream(lines), "2026-02-01T00:00:00Z", "2026-02-01T01:00:00Z");
    EXPECT_EQ(spans.size(), 60u);
}

TEST(Exceptions, DoNotRecurByThemselves) {
    const std::string text =
        stream(threeMornings + "BEGIN:VEVENT\nUID:s\nRECURRENCE-ID:20260106T100000Z\n"
                               "DTSTART:20260120T100000Z\nRRULE:FREQ=DAILY\n"
                               "RDATE:20260125T100000Z\nEND:VEVENT\n");
    EXPECT_EQ(spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
        mornings({"05", "07", "20"}));
}

TEST(Events, WithoutUidOrStartAreNoneAndHideNoOther) {
    for (const std::string broken : {"DTSTART:20260105T100000Z\n", "UID:x\n",
             "UID:\nDTSTART:20260105T100000Z\n", "UID:x\nDTSTART:20260230T100000Z\n",
             "UID:x\nDTSTART:\n", "UID:x\nDTSTART:20260105T100000Z\nBEGIN:VALARM\nEND:VFOO\n"}) {
        const std::string text = stream("BEGIN:VEVENT\n" + broken + "END:VEVENT\n" + threeMornings);
        EXPECT_EQ(spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
            mornings({"05", "06", "07"}))
            << broken;
    }
}

struct RangeCase {
    std::string lines;
    std::string from;
    std::string until;
    bool isIn;
};

TEST(Ranges, HoldWhatSharesTimeWithThem) {
    const std::string hour = "DTSTART:20260105T100000Z\nDTEND:20260105T110000Z\n";
    const std::string point = "DTSTART:20260105T100000Z\n";
    const std::vector<RangeCase> cases{
        {hour, "2026-01-05T09:00:00Z", "2026-01-05T10:00:00Z", false},
        {hour, "2026-01-05T09:00:00Z", "2026-01-05T10:00:01Z", true},
        {hour, "2026-01-05T10:00:00Z", "2026-01-05T11:00:00Z", true},
        {hour, "2026-01-05T10:30:00Z", "2026-01-05T10:30:00Z", true},
        {hour, "2026-01-05T10:59:59Z", "2026-01-05T12:00:00Z", true},
        {hour, "2026-01-05T11:00:00Z", "2026-01-05T12:00:00Z", false},
        {hour, "2026-01-05T12:00:00Z", "2026-01-05T09:00:00Z", false},
        {hour, "0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z", true},
        {point, "2026-01-05T09:00:00Z", "2026-01-05T10:00:00Z", false},
        {point, "2026-01-05T10:00:00Z", "2026-01-05T10:00:00Z", false},
        {point, "2026-01-05T10:00:00Z", "2026-01-05T10:00:01Z", true},
        {point, "2026-01-05T10:00:01Z", "2026-01-05T11:00:00Z", false},
    };
    for (const RangeCase& row : cases) {
        EXPECT_EQ(spansIn(eventStream(row.lines), row.from, row.until).size(), row.isIn ? 1u : 0u)
            << row.lines << row.from << row.until;
    }
}

TEST(Ranges, ReachAsFarAsYearsDo) {
    const std::string text =
        eventStream("DTSTART;TZID=Europe/Berlin:00010105T100000\nDURATION:PT1H\n"
                    "RRULE:FREQ=YEARLY;BYMONTH=7\n");
    EXPECT_EQ(spansIn(text, "9999-01-01T00:00:00Z", "9999-12-31T23:59:59Z"),
        std::vector<std::string>{"9999-07-05T08:00:00Z/9999-07-05T09:00:00Z"});
    EXPECT_EQ(spansIn(eventStream("DTSTART:99991231T230000Z\nDTEND:99991231T235959Z\n"),
                  "9999-12-31T00:00:00Z", "9999-12-31T23:59:59Z")
                  .size(),
        1u);
}

// A series of one UID, read as it is.
class SeriesOf {
  public:
    explicit SeriesOf(const std::string& lines)
        : text_(stream(lines))
        , stream_(text_)
        , series_(stream_.series("s")) {}

    const Series* operator->() const { return series_.get(); }

  private:
    std::string text_;
    CalendarStream stream_;
    std::unique_ptr<const Series> series_;
};

struct FirstCase {
    std::string description;
    std::string lines;
    // Original start and start; empty when nothing stands.
    std::string original;
    std::string start;
};

std::string with(const std::string& properties) {
    return "BEGIN:VEVENT\nUID:s\nDTSTART:20260105T100000Z\n" + properties + "END:VEVENT\n";
}

TEST(TheFirstStandingOccurrence, IsTheFirstByOriginalStart) {
    const std::string rule = "RRULE:FREQ=DAILY;COUNT=3\n";
    const std::vector<FirstCase> cases{
        {"a single event", with(""), "2026-01-05T10:00:00Z", "2026-01-05T10:00:00Z"},
        {"a series", with(rule), "2026-01-05T10:00:00Z", "2026-01-05T10:00:00Z"},
        {"the first excluded", with(rule + "EXDATE:20260105T100000Z\n"), "2026-01-06T10:00:00Z",
            "2026-01-06T10:00:00Z"},
        {"the first two excluded", with(rule + "EXDATE:20260105T100000Z,20260106T100000Z\n"),
            "2026-01-07T10:00:00Z", "2026-01-07T10:00:00Z"},
        {"all excluded", with(rule + "EXDATE:20260105T100000Z,20260106T100000Z,20260107T100000Z\n"),
            "", ""},
        {"the first moved behind the others",
            with(rule) + exception(":20260105T100000Z", "20260201T100000Z"), "2026-01-05T10:00:00Z",
            "2026-02-01T10:00:00Z"},
        {"the second moved before the first",
            with(rule) + exception(":20260106T100000Z", "20260101T100000Z"), "2026-01-05T10:00:00Z",
            "2026-01-05T10:00:00Z"},
        {"the first excluded, the second moved",
            with(rule + "EXDATE:20260105T100000Z\n") +
                exception(":20260106T100000Z", "20260201T100000Z"),
            "2026-01-06T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"all replaced",
            exception(":20260106T100000Z", "20260202T100000Z") + with("") +
                exception(":20260105T100000Z", "20260201T100000Z"),
            "2026-01-05T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"only exceptions",
            exception(":20260106T100000Z", "20260101T100000Z") +
                exception(":20260105T100000Z", "20260201T100000Z"),
            "2026-01-05T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"an added date before the start", with("RDATE:20260101T100000Z\n"), "2026-01-01T10:00:00Z",
            "2026-01-01T10:00:00Z"},
        {"an exception to nothing before the start",
            with(rule) + exception(":20260101T100000Z", "20260301T100000Z"), "2026-01-01T10:00:00Z",
            "2026-03-01T10:00:00Z"},
        {"all excluded but an exception",
            with("EXDATE:20260105T100000Z\n") + exception(":20260106T100000Z", "20260201T100000Z"),
            "2026-01-06T10:00:00Z", "2026-02-01T10:00:00Z"},
    };
    for (const FirstCase& row : cases) {
        const auto first = SeriesOf(row.lines)->firstStanding();
        EXPECT_EQ(first ? test::written(first->originalStart.instant()) : "", row.original)
            << row.description;
        EXPECT_EQ(first ? test::written(first->span.start) : "", row.start) << row.description;
    }
}

struct StandingCase {
    std::string description;
    std::string lines;
    std::string original;
    std::string start;
};

TEST(TheOccurrenceOfAnOriginalStart, IsFoundWhereItStands) {
    const std::string rule = "RRULE:FREQ=DAILY;COUNT=3\n";
    const std::vector<StandingCase> cases{
        {"a single event", with(""), "2026-01-05T10:00:00Z", "2026-01-05T10:00:00Z"},
        {"of the rule", with(rule), "2026-01-06T10:00:00Z", "2026-01-06T10:00:00Z"},
        {"after the end of the rule", with(rule), "2026-01-08T10:00:00Z", ""},
        {"before the start", with(rule), "2026-01-04T10:00:00Z", ""},
        {"between two", with(rule), "2026-01-06T10:00:01Z", ""},
        {"excluded", with(rule + "EXDATE:20260106T100000Z\n"), "2026-01-06T10:00:00Z", ""},
        {"excluded by its day", with(rule + "EXDATE;VALUE=DATE:20260106\n"), "2026-01-06T10:00:00Z",
            ""},
        {"replaced", with(rule) + exception(":20260106T100000Z", "20260201T100000Z"),
            "2026-01-06T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"replaced by its day", with(rule) + exception(";VALUE=DATE:20260106", "20260201T100000Z"),
            "2026-01-06T10:00:00Z", ""},
        {"where the exception was moved to",
            with(rule) + exception(":20260106T100000Z", "20260201T100000Z"), "2026-02-01T10:00:00Z",
            ""},
        {"an exception to nothing", with(rule) + exception(":20260301T100000Z", "20260201T100000Z"),
            "2026-03-01T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"an added date", with("RDATE:20260301T100000Z\n"), "2026-03-01T10:00:00Z",
            "2026-03-01T10:00:00Z"},
    };
    const support::ScopedTimeZone local("UTC");
    for (const StandingCase& row : cases) {
        const auto found = SeriesOf(row.lines)->standingAt(at(row.original));
        EXPECT_EQ(found ? test::written(found->span.start) : "", row.start) << row.description;
    }
}

// The one that firstStanding gives is the one that its original start leads back to.
TEST(TheOccurrenceOfAnOriginalStart, IsOfTheFirstOfTwoEventsAlike) {
    const SeriesOf series(
        "BEGIN:VEVENT\nUID:s\nDTSTART:20260105T100000Z\nSUMMARY:one\nEND:VEVENT\n"
        "BEGIN:VEVENT\nUID:s\nDTSTART:20260105T100000Z\nSUMMARY:two\nEND:VEVENT\n");
    const auto first = series->firstStanding();
    const auto found = series->standingAt(at("2026-01-05T10:00:00Z"));
    ASSERT_TRUE(first && found);
    EXPECT_EQ(first->component->component->first("SUMMARY")->value, "one");
    EXPECT_EQ(found->component->component->first("SUMMARY")->value, "one");
}

std::string master(const std::string& start, const std::string& lines) {
    return "BEGIN:VEVENT\nUID:s\nDTSTART" + start + "\n" + lines + "END:VEVENT\n";
}

std::vector<std::string> titlesIn(const std::string& text) {
    std::vector<std::string> titles;
    for (const FoundEvent& found :
        RangeQuery(at("2026-01-01T00:00:00Z"), at("2027-01-01T00:00:00Z")).eventsIn(text)) {
        titles.push_back(found.event.title.value_or(""));
    }
    std::sort(titles.begin(), titles.end());
    return titles;
}

TEST(SeveralMasters, OfOneStartLeaveTheLatestRevision) {
    struct Case {
        std::string description;
        std::string lines;
        std::vector<std::string> titles;
    };
    const std::string time = ":20260105T100000Z";
    const std::vector<Case> cases{
        {"a higher SEQUENCE",
            master(time, "SEQUENCE:2\nSUMMARY:two\nDTSTAMP:20260101T000000Z\n") +
                master(time, "SEQUENCE:10\nSUMMARY:ten\nDTSTAMP:20250101T000000Z\n") +
                master(time, "SUMMARY:none\nDTSTAMP:20270101T000000Z\n"),
            {"ten"}},
        {"a later DTSTAMP",
            master(time, "SEQUENCE:2\nSUMMARY:late\nDTSTAMP:20260101T000001Z\n") +
                master(time, "SEQUENCE:2\nSUMMARY:early\nDTSTAMP:20260101T000000Z\n") +
                master(time, "SEQUENCE:2\nSUMMARY:without\n"),
            {"late"}},
        {"equal ones", master(time, "SUMMARY:first\n") + master(time, "SUMMARY:second\n"),
            {"first"}},
        {"one start in two zones",
            master(";TZID=Europe/Berlin:20260105T110000", "SUMMARY:old\n") +
                master(time, "SUMMARY:new\nSEQUENCE:1\n"),
            {"new"}},
        {"a series and an event",
            master(time, "SUMMARY:old\nRRULE:FREQ=DAILY;COUNT=3\n") +
                master(time, "SUMMARY:new\nSEQUENCE:1\n"),
            {"new"}},
        {"other starts",
            master(time, "SUMMARY:a\n") + master(":20260106T100000Z", "SUMMARY:b\nSEQUENCE:4\n"),
            {"a", "b"}},
        {"a day and its midnight",
            master(":20260105T000000Z", "SUMMARY:a\n") +
                master(";VALUE=DATE:20260105", "SUMMARY:b\nSEQUENCE:4\n"),
            {"a", "b"}},
    };
    const support::ScopedTimeZone local("UTC");
    for (const Case& row : cases) {
        EXPECT_EQ(titlesIn(stream(row.lines)), row.titles) << row.description;
    }
}

// An exception hides the occurrence of one master only.
TEST(SeveralMasters, HaveEachTheirOwnExceptions) {
    const support::ScopedTimeZone local("Europe/Berlin");
    const std::string mornings =
        master(":20260105T100000Z", "RRULE:FREQ=DAILY;COUNT=3\nSUMMARY:a\n");
    const std::string odd = master(":20260105T120000Z", "RDATE:20260106T100000Z\nSUMMARY:b\n");
    const std::string days =
        master(";VALUE=DATE:20260105", "RRULE:FREQ=DAILY;COUNT=3\nSUMMARY:d\n");
    const auto moved = [](const std::string& id) {
        return "BEGIN:VEVENT\nUID:s\nSUMMARY:x\nRECURRENCE-ID" + id +
               "\nDTSTART:20260301T100000Z\nEND:VEVENT\n";
    };
    using Titles = std::vector<std::string>;
    EXPECT_EQ(titlesIn(stream(mornings + odd + moved(":20260106T100000Z"))),
        (Titles{"a", "a", "b", "b", "x"}));
    EXPECT_EQ(titlesIn(stream(odd + mornings + moved(":20260106T100000Z"))),
        (Titles{"a", "a", "a", "b", "x"}));
    EXPECT_EQ(titlesIn(stream(days + mornings + moved(":20260106T100000Z"))),
        (Titles{"a", "a", "d", "d", "d", "x"}));
    EXPECT_EQ(titlesIn(stream(mornings + days + moved(";VALUE=DATE:20260106"))),
        (Titles{"a", "a", "a", "d", "d", "x"}));
    EXPECT_EQ(titlesIn(stream(days + odd + moved(":20260107T000000Z"))),
        (Titles{"b", "b", "d", "d", "x"}));
    EXPECT_EQ(titlesIn(stream(days + odd + moved(":20260120T000000Z"))),
        (Titles{"b", "b", "d", "d", "d", "x"}));
}

TEST(LargeSeries, OfManyMastersAndExceptionsComeToAnEnd) {
    std::string lines;
    for (int i = 0; i < 4'000; ++i) {
        const std::string second = std::to_string(100 + i % 60).substr(1);
        const std::string minute = std::to_string(100 + i / 60 % 60).substr(1);
        lines += master(":2026010" + std::to_string(1 + i / 3600) + "T10" + minute + second,
            "RRULE:FREQ=SECONDLY\n");
        lines += exception(";VALUE=DATE:20260105", "20260210T120000Z");
    }
    lines += "BEGIN:VEVENT\nUID:f\nDTSTART:20260105T100000Z\nEND:VEVENT\n";
    const auto spans = spansIn(stream(lines), "2026-01-05T00:00:00Z", "2026-01-05T12:00:00Z");
    EXPECT_GT(std::count(spans.begin(), spans.end(), mornings({"05"}).front()), 0);
}

TEST(LargeSeries, KeepEveryOneOf100000Exclusions) {
    std::string lines = "DTSTART:20260105T100000Z\nRRULE:FREQ=MINUTELY;COUNT=100010\n";
    for (int i = 0; i < 100'000; ++i) {
        const auto minute = at("2026-01-05T10:00:00Z") + std::chrono::minutes(i);
        std::string digits;
        for (const char c : test::written(minute)) {
            if (c != '-' && c != ':') {
                digits += c;
            }
        }
        lines += "EXDATE:" + digits + "\n";
    }
    const std::string text = eventStream(lines);
    const auto first = at("2026-01-05T10:00:00Z") + std::chrono::minutes(100'000);
    const auto spans = spansIn(text, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z");
    ASSERT_EQ(spans.size(), 10u);
    EXPECT_EQ(spans.front(), test::written(first) + "/" + test::written(first));
    const auto found = findEvent(text, "e");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->event.start, first);
}

// What is not known to stay must not be listed.
TEST(LargeSeries, EndWhereARuleThatExcludesIsGivenUp) {
    const std::string start = "DTSTART:20260105T100000Z\n";
    EXPECT_EQ(spansIn(eventStream(start + "RRULE:FREQ=DAILY\nRDATE:20270101T100000Z\n"
                                          "EXRULE:FREQ=SECONDLY;BYSETPOS=2\n"),
                  "2026-01-01T00:00:00Z", "2028-01-01T00:00:00Z"),
        (std::vector<std::string>{
            mornings({"05"}).front(), "2027-01-01T10:00:00Z/2027-01-01T10:00:00Z"}));
    std::string rules;
    for (int i = 0; i < 20'000; ++i) {
        rules += "EXRULE:FREQ=SECONDLY\n";
    }
    const std::string text =
        stream("BEGIN:VEVENT\nUID:e\n" + start + "RRULE:FREQ=SECONDLY\n" + rules + "END:VEVENT\n" +
               "BEGIN:VEVENT\nUID:f\n" + start + "END:VEVENT\n");
    EXPECT_EQ(spansIn(text, "2026-01-05T00:00:00Z", "2026-01-07T00:00:00Z").front(),
        mornings({"05"}).front());
}

TEST(LargeSeries, KeepEveryOneOf20000Exceptions) {
    std::string lines =
        "BEGIN:VEVENT\nUID:s\nDTSTART:20000101T100000Z\nRRULE:FREQ=DAILY\nEND:VEVENT\n";
    const auto start = at("2000-01-01T10:00:00Z");
    for (int i = 0; i < 20'000; ++i) {
        std::string digits;
        for (const char c : test::written(start + std::chrono::days(i))) {
            if (c != '-' && c != ':') {
                digits += c;
            }
        }
        lines += "BEGIN:VEVENT\nUID:s\nRECURRENCE-ID:" + digits + "\nDTSTART:" + digits +
                 "\nDURATION:PT1H\nEND:VEVENT\n";
    }
    const auto spans = spansIn(stream(lines), "2026-01-01T00:00:00Z", "2026-01-03T00:00:00Z");
    EXPECT_EQ(spans, (std::vector<std::string>{"2026-01-01T10:00:00Z/2026-01-01T11:00:00Z",
                         "2026-01-02T10:00:00Z/2026-01-02T11:00:00Z"}));
}

TEST(LargeSeries, AreCutAfter100000Occurrences) {
    EXPECT_EQ(spansIn(eventStream("DTSTART:20260101T000000Z\nRRULE:FREQ=SECONDLY\n"),
                  "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z")
                  .size(),
        100'000u);
}

// A zone that skips and repeats without end puts nothing in order.
TEST(LargeSeries, InAZoneOfNothingButGapsComeToAnEnd) {
    const std::string zone = "BEGIN:VTIMEZONE\nTZID:Own\nBEGIN:STANDARD\nDTSTART:20260101T000000\n"
                             "RRULE:FREQ=HOURLY;INTERVAL=2\nTZOFFSETFROM:-2359\n"
                             "TZOFFSETTO:+2359\nEND:STANDARD\nBEGIN:DAYLIGHT\n"
                             "DTSTART:20260101T010000\nRRULE:FREQ=HOURLY;INTERVAL=2\n"
                             "TZOFFSETFROM:+2359\nTZOFFSETTO:-2359\nEND:DAYLIGHT\nEND:VTIMEZONE\n";
    const std::string text = stream(zone + "BEGIN:VEVENT\nUID:e\nDTSTART;TZID=Own:20260101T000000\n"
                                           "RRULE:FREQ=SECONDLY\nEND:VEVENT\nBEGIN:VEVENT\nUID:f\n"
                                           "DTSTART:20260105T100000Z\nEND:VEVENT\n");
    const auto spans = spansIn(text, "2026-01-05T00:00:00Z", "2026-01-06T00:00:00Z");
    EXPECT_GT(std::count(spans.begin(), spans.end(), mornings({"05"}).front()), 0);
    EXPECT_LE(spans.size(), 100'001u);
}

// Rules that never match must not be searched for through all years, each of them.
TEST(LargeSeries, OfManyRulesThatNeverMatchAreFound) {
    std::string lines = "DTSTART:20260105T100000Z\n";
    for (int i = 0; i < 2'000; ++i) {
        lines += "RRULE:FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30\n";
    }
    const std::string text = eventStream(lines);
    EXPECT_EQ(spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"), mornings({"05"}));
    EXPECT_TRUE(spansIn(text, "2026-02-01T00:00:00Z", "2026-03-01T00:00:00Z").empty());
}

} // namespace
} // namespace quenbrook::platform::icalendar
