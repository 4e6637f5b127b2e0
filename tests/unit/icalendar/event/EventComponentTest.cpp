#include "icalendar/event/EventComponent.h"

#include "tests/unit/icalendar/CalendarText.h"
#include "tests/unit/icalendar/event/SeriesText.h"

#include <gtest/gtest.h>

#include <vector>

namespace quenbrook::icalendar {
namespace {

using test::at;
using test::expectSpans;
using test::InstanceCase;
using test::mornings;
using test::spansIn;
using test::stream;
using test::threeMornings;

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
    const auto wide = [](InstanceCase row, std::string zone) {
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

TEST(Events, WithoutStartAreNoneAndHideNoOther) {
    for (const std::string broken : {"UID:x\n", "", "UID:x\nDTSTART:20260230T100000Z\n",
             "UID:x\nDTSTART:\n", "UID:x\nDTSTART:20260105T100000Z\nBEGIN:VALARM\nEND:VFOO\n"}) {
        const std::string text = stream("BEGIN:VEVENT\n" + broken + "END:VEVENT\n" + threeMornings);
        EXPECT_EQ(spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
            mornings({"05", "06", "07"}))
            << broken;
    }
}

} // namespace
} // namespace quenbrook::icalendar
