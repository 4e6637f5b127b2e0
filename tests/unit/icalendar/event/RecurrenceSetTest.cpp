#include "icalendar/event/RecurrenceSet.h"

#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"
#include "tests/unit/icalendar/event/SeriesText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace quenbrook::icalendar {
namespace {

using test::at;
using test::eventStream;
using test::expectSpans;
using test::InstanceCase;
using test::mornings;
using test::spansIn;
using test::stream;

// Both times of a pair that the gap puts together are one instance (RFC 5545 section 3.3.10).
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

// Whether the rule that excludes takes a start out cannot be told once the budget is spent.
TEST(RecurrenceSets, HaveNoStartOfARuleThatMayBeExcluded) {
    using std::chrono::days;
    const std::string text = "BEGIN:VEVENT\nDTSTART:20260105T100000Z\nRRULE:FREQ=DAILY\n"
                             "EXRULE:FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR\nEND:VEVENT\n";
    TimeZones zones(Zone::utc(), text, {});
    const auto event = readEventComponent(text, {0, text.size()}, zones);
    ASSERT_TRUE(event);
    const std::chrono::sys_seconds first = event->start.instant();
    std::size_t most = 0;
    for (std::int64_t steps = 1; steps < 1'000; ++steps) {
        WorkBudget budget(steps);
        RecurrenceSet set(*event, first, first + days(60), budget);
        std::size_t count = 0;
        for (auto start = set.next(); start; start = set.next()) {
            const std::chrono::weekday weekday(std::chrono::floor<days>(start->instant));
            EXPECT_TRUE(start->instant == first || weekday.iso_encoding() > 5)
                << (start->instant - first) / days(1) << " days, with steps: " << steps;
            ++count;
        }
        most = std::max(most, count);
    }
    EXPECT_GT(most, 10U);
}

// Exchange, Google and Apple all write such exclusions and additions.
TEST(RecurrenceSets, OfWholeDaysGoByTheDatesThatAreWritten) {
    const std::string days = "DTSTART;VALUE=DATE:20260105\nRRULE:FREQ=DAILY;COUNT=3\n";
    const std::string fifth = "2026-01-05T08:00:00Z/2026-01-06T07:59:59Z";
    const std::string seventh = "2026-01-07T08:00:00Z/2026-01-08T07:59:59Z";
    const std::string tenth = "2026-01-10T08:00:00Z/2026-01-11T07:59:59Z";
    std::vector<InstanceCase> cases;
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
    for (InstanceCase& row : cases) {
        row.description += " of " + row.lines;
        row.localZone = "America/Los_Angeles";
    }
    expectSpans(cases);
}

// RFC 5545 section 3.3.10: what a rule says of times is ignored there.
TEST(RecurrenceSets, OfWholeDaysHaveNoTimes) {
    const std::string fifth = "2026-01-05T00:00:00Z/2026-01-05T23:59:59Z";
    const std::string sixth = "2026-01-06T00:00:00Z/2026-01-06T23:59:59Z";
    std::vector<InstanceCase> cases;
    for (const char* rule : {"FREQ=DAILY;COUNT=2;BYHOUR=9,17", "FREQ=DAILY;COUNT=2;BYMINUTE=30",
             "FREQ=DAILY;COUNT=2;BYSECOND=1,2,3", "FREQ=HOURLY;INTERVAL=20;COUNT=3",
             "FREQ=HOURLY;COUNT=30", "FREQ=MINUTELY;UNTIL=20260106", "FREQ=SECONDLY;UNTIL=20260106",
             "FREQ=HOURLY;BYHOUR=9;UNTIL=20260106"}) {
        InstanceCase row{
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
    std::vector<InstanceCase> cases;
    for (const char* local : {"Europe/Berlin", "Asia/Tokyo", "America/Los_Angeles"}) {
        const auto add = [&](std::string lines, std::vector<std::string> spans) {
            InstanceCase row{lines + " in " + local, lines, std::move(spans)};
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

struct UntilCase {
    std::string start;
    std::string until;
    // Of the days from the 5th on.
    std::size_t instances;
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
            spansIn(text, "2026-01-01T00:00:00Z", "2026-03-01T00:00:00Z").size(), row.instances)
            << row.start << " " << row.until;
    }
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
} // namespace quenbrook::icalendar
