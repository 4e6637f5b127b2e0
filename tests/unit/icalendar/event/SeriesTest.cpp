#include "icalendar/event/Series.h"

#include "icalendar/stream/ParsedStream.h"
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
using test::master;
using test::mornings;
using test::overrideOf;
using test::spansIn;
using test::stream;
using test::threeMornings;
using test::titlesIn;

TEST(Exceptions, TakeThePlaceOfTheirOccurrence) {
    const std::string text =
        stream(threeMornings + overrideOf(":20260106T100000Z", "20260210T120000Z"));
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
        const std::string text = stream(overrideOf(id, "20260120T100000Z") + threeMornings);
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
            const std::string text = stream(overrideOf(id, "20260120T100000Z") + days);
            const auto spans = spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z");
            EXPECT_EQ(spans.size(), 3u) << zone << id;
            EXPECT_EQ(spans.back(), mornings({"20"}).front()) << zone << id;
            EXPECT_EQ(ParsedStream(text).series("s")->overrides()[0].recurrenceId->kind,
                DateTime::Kind::date);
        }
    }
}

TEST(Exceptions, WithoutAZoneGoByTheClockOfTheirSeries) {
    const std::string series =
        "BEGIN:VEVENT\nUID:s\nDTSTART;TZID=America/New_York:20260105T100000\n"
        "RRULE:FREQ=DAILY;COUNT=3\nEND:VEVENT\n";
    for (const char* zone : {"America/Los_Angeles", "UTC", "Pacific/Auckland"}) {
        const support::ScopedTimeZone local(zone);
        EXPECT_EQ(spansIn(stream(overrideOf(":20260106T100000", "20260120T100000Z") + series),
                      "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
            (std::vector<std::string>{"2026-01-05T15:00:00Z/2026-01-05T15:00:00Z",
                "2026-01-07T15:00:00Z/2026-01-07T15:00:00Z", mornings({"20"}).front()}))
            << zone;
    }
}

TEST(Exceptions, ToNothingStandForThemselves) {
    EXPECT_EQ(spansIn(stream(overrideOf(":20260106T100000Z", "20260120T100000Z")),
                  "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
        mornings({"20"}));
    EXPECT_EQ(spansIn(stream(threeMornings + overrideOf(":20260115T100000Z", "20260120T100000Z")),
                  "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
        mornings({"05", "06", "07", "20"}));
}

TEST(Exceptions, DoNotRecurByThemselves) {
    const std::string text =
        stream(threeMornings + "BEGIN:VEVENT\nUID:s\nRECURRENCE-ID:20260106T100000Z\n"
                               "DTSTART:20260120T100000Z\nRRULE:FREQ=DAILY\n"
                               "RDATE:20260125T100000Z\nEND:VEVENT\n");
    EXPECT_EQ(spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
        mornings({"05", "07", "20"}));
}

struct RangeCase {
    std::string lines;
    std::string from;
    std::string until;
    bool isIn;
};

TEST(Ranges, HoldWhatSharesTimeWithThem) {
    const std::string oneHour = "DTSTART:20260105T100000Z\nDTEND:20260105T110000Z\n";
    const std::string point = "DTSTART:20260105T100000Z\n";
    const std::vector<RangeCase> cases{
        {oneHour, "2026-01-05T09:00:00Z", "2026-01-05T10:00:00Z", false},
        {oneHour, "2026-01-05T09:00:00Z", "2026-01-05T10:00:01Z", true},
        {oneHour, "2026-01-05T10:00:00Z", "2026-01-05T11:00:00Z", true},
        {oneHour, "2026-01-05T10:30:00Z", "2026-01-05T10:30:00Z", true},
        {oneHour, "2026-01-05T10:59:59Z", "2026-01-05T12:00:00Z", true},
        {oneHour, "2026-01-05T11:00:00Z", "2026-01-05T12:00:00Z", false},
        {oneHour, "2026-01-05T12:00:00Z", "2026-01-05T09:00:00Z", false},
        {oneHour, "0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z", true},
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
    ParsedStream stream_;
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
            with(rule) + overrideOf(":20260105T100000Z", "20260201T100000Z"),
            "2026-01-05T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"the second moved before the first",
            with(rule) + overrideOf(":20260106T100000Z", "20260101T100000Z"),
            "2026-01-05T10:00:00Z", "2026-01-05T10:00:00Z"},
        {"the first excluded, the second moved",
            with(rule + "EXDATE:20260105T100000Z\n") +
                overrideOf(":20260106T100000Z", "20260201T100000Z"),
            "2026-01-06T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"all replaced",
            overrideOf(":20260106T100000Z", "20260202T100000Z") + with("") +
                overrideOf(":20260105T100000Z", "20260201T100000Z"),
            "2026-01-05T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"only overrides",
            overrideOf(":20260106T100000Z", "20260101T100000Z") +
                overrideOf(":20260105T100000Z", "20260201T100000Z"),
            "2026-01-05T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"an added date before the start", with("RDATE:20260101T100000Z\n"), "2026-01-01T10:00:00Z",
            "2026-01-01T10:00:00Z"},
        {"an exception to nothing before the start",
            with(rule) + overrideOf(":20260101T100000Z", "20260301T100000Z"),
            "2026-01-01T10:00:00Z", "2026-03-01T10:00:00Z"},
        {"all excluded but an exception",
            with("EXDATE:20260105T100000Z\n") + overrideOf(":20260106T100000Z", "20260201T100000Z"),
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
        {"replaced", with(rule) + overrideOf(":20260106T100000Z", "20260201T100000Z"),
            "2026-01-06T10:00:00Z", "2026-02-01T10:00:00Z"},
        {"replaced by its day", with(rule) + overrideOf(";VALUE=DATE:20260106", "20260201T100000Z"),
            "2026-01-06T10:00:00Z", ""},
        {"where the exception was moved to",
            with(rule) + overrideOf(":20260106T100000Z", "20260201T100000Z"),
            "2026-02-01T10:00:00Z", ""},
        {"an exception to nothing",
            with(rule) + overrideOf(":20260301T100000Z", "20260201T100000Z"),
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

struct OverrideRevisionsCase {
    std::string description;
    // The lines of each.
    std::vector<std::string> overrides;
    std::vector<std::string> titles;
};

std::string overriding(const std::string& lines) {
    return "BEGIN:VEVENT\nUID:s\nDTSTART:20260106T120000Z\n" + lines + "END:VEVENT\n";
}

TEST(Overrides, OfOneOccurrenceLeaveTheLatestRevision) {
    const std::string id = "RECURRENCE-ID:20260106T100000Z\n";
    const std::vector<OverrideRevisionsCase> cases{
        {"a higher SEQUENCE",
            {id + "SUMMARY:one\nSEQUENCE:1\nDTSTAMP:20270101T000000Z\n",
                id + "SUMMARY:ten\nSEQUENCE:10\nDTSTAMP:20250101T000000Z\n",
                id + "SUMMARY:none\nDTSTAMP:20270101T000000Z\n"},
            {"ten"}},
        {"a later DTSTAMP",
            {id + "SUMMARY:early\nDTSTAMP:20260101T000000Z\n",
                id + "SUMMARY:late\nDTSTAMP:20260101T000001Z\n", id + "SUMMARY:without\n"},
            {"late"}},
        {"equal ones", {id + "SUMMARY:first\n", id + "SUMMARY:second\n"}, {"first"}},
        {"to the byte", {id + "SUMMARY:x\n", id + "SUMMARY:x\n"}, {"x"}},
        {"one original start in two zones",
            {"RECURRENCE-ID;TZID=Europe/Berlin:20260106T110000\nSUMMARY:old\n",
                id + "SUMMARY:new\nSEQUENCE:1\n"},
            {"new"}},
        {"other original starts",
            {id + "SUMMARY:a\n", "RECURRENCE-ID:20260107T100000Z\nSUMMARY:b\nSEQUENCE:4\n"},
            {"a", "b"}},
    };
    const support::ScopedTimeZone local("UTC");
    const std::string series =
        master(":20260105T100000Z", "RRULE:FREQ=DAILY;COUNT=2\nSUMMARY:series\n");
    for (const OverrideRevisionsCase& row : cases) {
        std::string overrides;
        for (const std::string& lines : row.overrides) {
            overrides += overriding(lines);
        }
        EXPECT_EQ(titlesIn(stream(overrides)), row.titles) << row.description;
        std::vector<std::string> withSeries = row.titles;
        withSeries.insert(
            std::upper_bound(withSeries.begin(), withSeries.end(), "series"), "series");
        EXPECT_EQ(titlesIn(stream(series + overrides)), withSeries) << row.description;
        EXPECT_EQ(titlesIn(stream(overrides + series)), withSeries) << row.description;
    }
}

TEST(Overrides, OfTheLaterOnesLeaveTheLatestRevision) {
    const std::string series =
        master(":20260105T100000Z", "RRULE:FREQ=DAILY;COUNT=4\nSUMMARY:series\n");
    const auto ranging = [](const std::string& id, const std::string& lines) {
        return overriding("RECURRENCE-ID;RANGE=THISANDFUTURE" + id + "\n" + lines);
    };
    const std::string time = ":20260106T100000Z";
    using Titles = std::vector<std::string>;
    const Titles expected{"new", "new", "new", "series"};
    const std::string old = ranging(time, "SUMMARY:old\n");
    EXPECT_EQ(
        titlesIn(stream(series + old + ranging(time, "SUMMARY:new\nSEQUENCE:1\n"))), expected);
    EXPECT_EQ(
        titlesIn(stream(ranging(time, "SUMMARY:new\nSEQUENCE:1\n") + old + series)), expected);
    // One that speaks of its instance alone is no revision of it.
    EXPECT_EQ(titlesIn(stream(series + ranging(time, "SUMMARY:new\nSEQUENCE:1\n") +
                              overriding("RECURRENCE-ID" + time + "\nSUMMARY:alone\n"))),
        (Titles{"alone", "new", "new", "series"}));
}

// An override hides the instance of one master only.
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
        lines += overrideOf(";VALUE=DATE:20260105", "20260210T120000Z");
    }
    lines += "BEGIN:VEVENT\nUID:f\nDTSTART:20260105T100000Z\nEND:VEVENT\n";
    const auto spans = spansIn(stream(lines), "2026-01-05T00:00:00Z", "2026-01-05T12:00:00Z");
    EXPECT_GT(std::count(spans.begin(), spans.end(), mornings({"05"}).front()), 0);
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

} // namespace
} // namespace quenbrook::icalendar
