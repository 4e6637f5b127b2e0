#include "icalendar/CalendarEdit.h"
#include "icalendar/stream/StreamScan.h"
#include "icalendar/time/Zone.h"
#include "tests/support/ScopedVariable.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/icalendar/CalendarText.h"
#include "tests/unit/icalendar/Edits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <vector>

namespace quenbrook::icalendar {
namespace {

using test::alarming;
using test::anHour;
using test::at;
using test::changedLines;
using test::differences;
using test::eventAt;
using test::eventStream;
using test::expectUpdates;
using test::keyOf;
using test::lunch;
using test::newEvent;
using test::now;
using test::repeating;
using test::sorted;
using test::starting;
using test::stream;
using test::timesIn;
using test::titled;
using test::updated;
using test::wholeDays;

TEST(Updates, DefineAZoneThatTheFileDidNotName) {
    const support::ScopedTimeZone local("Europe/Berlin");
    const std::string text = eventStream("DTSTART;VALUE=DATE:20260105\n");
    const auto once = updated(text, wholeDays(false));
    ASSERT_TRUE(once);
    EXPECT_NE(once->find("DTSTART;TZID=Europe/Berlin:20260105T000000\r\n"), std::string::npos);
    EXPECT_EQ(timesIn(*once, "BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\n"), 1u);
    EXPECT_EQ(scanStream(*once).timeZones.size(), 1u);
    const auto again = updated(*updated(*once, wholeDays(true)), wholeDays(false));
    ASSERT_TRUE(again);
    EXPECT_EQ(scanStream(*again).timeZones.size(), 1u);
}

TEST(Updates, DefineAZoneThatOnlyTheEndNames) {
    const support::ScopedTimeZone local("Europe/Berlin");
    model::EventChanges changes = wholeDays(false);
    // The second pass of a repeated hour is written in UTC.
    changes.start = at("2026-10-25T01:30:00Z");
    changes.end = at("2026-10-25T05:00:00Z");
    const auto after = updated(eventStream("DTSTART;VALUE=DATE:20260105\n"), changes);
    ASSERT_TRUE(after);
    EXPECT_NE(after->find("DTSTART:20261025T013000Z\r\n"), std::string::npos);
    EXPECT_NE(after->find("DTEND;TZID=Europe/Berlin:20261025T060000\r\n"), std::string::npos);
    EXPECT_EQ(scanStream(*after).timeZones.size(), 1u);
}

// Everything that this program does not know, broken neighbours included.
constexpr std::string_view surroundings = R"(X-WR-CALNAME:Mine
junk without a colon
BEGIN:VTIMEZONE
TZID:Own
BEGIN:STANDARD
DTSTART:19700101T000000
TZOFFSETFROM:+0900
TZOFFSETTO:+0900
END:STANDARD
END:VTIMEZONE
BEGIN:VEVENT
UID:broken
BEGIN:VTODO
UID:todo
SUMMARY:fold
 ed
END:VTODO
@BEGIN:VEVENT
UID:other
SUMMARY:other
DTSTART:20260105T100000Z
END:VEVENT
)";
constexpr std::string_view rich = R"(BEGIN:VEVENT
X-FIRST;X-P="a;b":kept
UID:e
ATTENDEE;CN="Doe: Jane";X-ROLE=x;PARTSTAT=ACCEPTED:mailto:j@example.org
DTSTART;TZID=Own:20260105T190000
 
DTEND;TZID=Own:20260105T200000
SUMMARY:old
more junk
GEO:1;2
BEGIN:VALARM
ACTION:AUDIO
TRIGGER:-PT5M
X-ALARM:kept
END:VALARM
BEGIN:X-UNKNOWN
X-IN:kept
END:X-UNKNOWN
X-LAST:kept
END:VEVENT
)";

std::string richStream() {
    std::string lines(surroundings);
    lines.replace(lines.find('@'), 1, rich);
    return stream(lines);
}

TEST(Updates, LeaveAllElseOfTheFileAsItIs) {
    const std::string text = richStream();
    model::EventChanges changes = titled("new");
    changes.start = at("2026-01-05T10:30:00Z");
    const auto after = updated(text, changes);
    ASSERT_TRUE(after);
    EXPECT_EQ(changedLines(text, *after),
        sorted({"-SUMMARY:old", "+SUMMARY:new", "-DTSTART;TZID=Own:20260105T190000", "- ",
            "+DTSTART;TZID=Own:20260105T193000"}));
}

TEST(Updates, KeepTheLineEndsOfTheFile) {
    const std::string text = richStream();
    std::string feeds = text;
    std::erase(feeds, '\r');
    const auto after = updated(feeds, titled("a new title"));
    ASSERT_TRUE(after);
    EXPECT_EQ(after->find('\r'), std::string::npos);
    EXPECT_EQ(changedLines(feeds, *after), sorted({"-SUMMARY:old", "+SUMMARY:a new title"}));
    const auto withReturns = updated(text, titled("a new title"));
    ASSERT_TRUE(withReturns);
    for (const std::string& line : test::linesOf(*withReturns)) {
        EXPECT_TRUE(line.ends_with("\r\n")) << line;
    }
    // The lines of a file with both keep theirs.
    std::string mixed = text;
    mixed.erase(mixed.find("\r\nGEO"), 1);
    const auto afterMixed = updated(mixed, titled("a new title"));
    ASSERT_TRUE(afterMixed);
    EXPECT_EQ(changedLines(mixed, *afterMixed), sorted({"-SUMMARY:old", "+SUMMARY:a new title"}));
}

TEST(Updates, OfAFileWithoutFinalLineEndDoNotRunLinesTogether) {
    const support::ScopedTimeZone local("UTC");
    std::string text = eventStream(anHour + "RRULE:FREQ=DAILY;COUNT=3\n");
    text.erase(text.find("END:VCALENDAR"));
    text.erase(text.size() - 2);
    ASSERT_TRUE(text.ends_with("END:VEVENT"));
    const auto after = updated(text, titled("first"));
    ASSERT_TRUE(after);
    EXPECT_EQ(scanStream(*after).events.size(), 2u);
    EXPECT_EQ(scanStream(*after).broken, 0u);
    EXPECT_EQ(findEvent(*after, "e")->event.title, "first");
}

TEST(Updates, GiveASingleEventRulesAndTakeThem) {
    const model::RecurrenceRule weekly{
        .frequency = 1, .interval = 2, .end = model::RecurrenceEnd::withOccurrenceCount(3)};
    const auto until = [](std::string_view date) {
        return model::RecurrenceRule{
            .frequency = 0, .interval = 1, .end = model::RecurrenceEnd::withEndDate(at(date))};
    };
    const model::RecurrenceRule all{.frequency = 3,
        .interval = 1,
        .daysOfTheWeek = {1, 7},
        .daysOfTheMonth = {1, -1},
        .monthsOfTheYear = {2, 1}};
    expectUpdates({
        {"a rule", anHour, repeating({weekly}), {"+RRULE:FREQ=WEEKLY;INTERVAL=2;COUNT=3"}},
        {"none", anHour, repeating({}), {}},
        {"every part", anHour, repeating({all}),
            {"+RRULE:FREQ=YEARLY;BYMONTH=2,1;BYMONTHDAY=1,-1;BYDAY=SU,SA"}},
        {"an end in UTC", anHour, repeating({until("2026-01-10T10:00:00Z")}),
            {"+RRULE:FREQ=DAILY;UNTIL=20260110T100000Z"}},
        {"an end of an event with a zone", "DTSTART;TZID=America/New_York:20260105T100000\n",
            repeating({until("2026-01-10T15:00:00Z")}),
            {"+RRULE:FREQ=DAILY;UNTIL=20260110T150000Z"}},
        {"an end of a floating event", "DTSTART:20260105T100000\n",
            repeating({until("2026-01-10T09:00:00Z")}),
            {"+RRULE:FREQ=DAILY;UNTIL=20260110T100000"}},
        {"an end of whole days", "DTSTART;VALUE=DATE:20260105\n",
            repeating({until("2026-01-09T23:00:00Z")}), {"+RRULE:FREQ=DAILY;UNTIL=20260110"}},
    });
}

const std::string dailySeries =
    "DTSTART;TZID=Europe/Berlin:20260105T100000\nDURATION:PT1H\n"
    "SUMMARY;LANGUAGE=de:Reihe\nX-OWN:kept\n"
    "RRULE:FREQ=DAILY;COUNT=4\nRDATE;TZID=Europe/Berlin:20260201T100000\n"
    "EXDATE;TZID=Europe/Berlin:20260106T100000\n"
    "BEGIN:VALARM\nACTION:AUDIO\nTRIGGER:-PT5M\nEND:VALARM\n";

TEST(UpdatesOfASeries, MakeAnExceptionOfTheOccurrence) {
    const std::string text = eventStream(dailySeries);
    model::EventChanges changes = titled("Einmal");
    changes.end = at("2026-01-05T11:00:00Z");
    const auto after = updated(text, changes);
    ASSERT_TRUE(after);
    EXPECT_EQ(changedLines(text, *after),
        sorted({"+BEGIN:VEVENT", "+UID:e", "+DTSTART;TZID=Europe/Berlin:20260105T100000",
            "+DTEND;TZID=Europe/Berlin:20260105T120000", "+SUMMARY;LANGUAGE=de:Einmal",
            "+X-OWN:kept", "+RECURRENCE-ID;TZID=Europe/Berlin:20260105T100000", "+BEGIN:VALARM",
            "+ACTION:AUDIO", "+TRIGGER:-PT5M", "+END:VALARM", "+END:VEVENT"}));
    EXPECT_EQ(test::spansIn(*after, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"),
        (std::vector<std::string>{"2026-01-05T09:00:00Z/2026-01-05T11:00:00Z",
            "2026-01-07T09:00:00Z/2026-01-07T10:00:00Z",
            "2026-01-08T09:00:00Z/2026-01-08T10:00:00Z",
            "2026-02-01T09:00:00Z/2026-02-01T10:00:00Z"}));
    // The master keeps its stamps.
    EXPECT_EQ(timesIn(*after, "DTSTAMP:20260101T000000Z"), 1u);
    EXPECT_EQ(timesIn(*after, "SEQUENCE:1\r\n"), 1u);
}

TEST(UpdatesOfASeries, ChangeAnExceptionThatIsThere) {
    const std::string text = eventStream(dailySeries);
    const auto once = updated(text, titled("Einmal"));
    ASSERT_TRUE(once);
    const auto twice = updated(*once, starting("2026-01-05T09:15:00Z"));
    ASSERT_TRUE(twice);
    EXPECT_EQ(changedLines(*once, *twice), sorted({"-DTSTART;TZID=Europe/Berlin:20260105T100000",
                                               "+DTSTART;TZID=Europe/Berlin:20260105T101500"}));
    EXPECT_EQ(findEvent(*twice, "e")->event.title, "Einmal");
}

TEST(UpdatesOfASeries, MakeAnExceptionOfAnyOccurrence) {
    const std::string text = eventStream(dailySeries);
    for (const std::string_view original :
        {"2026-01-07T09:00:00Z", "2026-01-08T09:00:00Z", "2026-02-01T09:00:00Z"}) {
        const auto after = updatedStream(text, {"e", at(original)}, titled("Einmal"), now);
        ASSERT_TRUE(after) << original;
        for (const auto& found :
            RangeQuery(at("2026-01-01T00:00:00Z"), at("2027-01-01T00:00:00Z")).eventsIn(*after)) {
            EXPECT_EQ(
                found.event.title, found.key.originalStart == at(original) ? "Einmal" : "Reihe");
        }
    }
    for (const std::string_view gone :
        {"2026-01-06T09:00:00Z", "2026-01-09T09:00:00Z", "2026-01-05T09:00:01Z"}) {
        EXPECT_FALSE(updatedStream(text, {"e", at(gone)}, titled("Einmal"), now)) << gone;
    }
}

// Such a component counts as the series itself; its copy must not.
TEST(UpdatesOfASeries, WithARecurrenceIdThatIsNoneMakeAnException) {
    const support::ScopedTimeZone local("UTC");
    const std::string text =
        eventStream(anHour + "RECURRENCE-ID;X=y:2\nRRULE:FREQ=DAILY;COUNT=2\n");
    const auto after = updated(text, titled("first"));
    ASSERT_TRUE(after);
    EXPECT_NE(after->find("RECURRENCE-ID:20260105T100000Z\r\n"), std::string::npos);
    EXPECT_EQ(test::spansIn(*after, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z"),
        (std::vector<std::string>{"2026-01-05T10:00:00Z/2026-01-05T11:00:00Z",
            "2026-01-06T10:00:00Z/2026-01-06T11:00:00Z"}));
}

TEST(UpdatesOfASeries, OfWholeDaysNameTheDay) {
    const support::ScopedTimeZone local("Australia/Lord_Howe");
    const std::string text = eventStream("DTSTART;VALUE=DATE:20260105\nRRULE:FREQ=DAILY;COUNT=2\n");
    const auto after = updated(text, titled("first"));
    ASSERT_TRUE(after);
    EXPECT_NE(after->find("RECURRENCE-ID;VALUE=DATE:20260105\r\n"), std::string::npos);
    EXPECT_EQ(test::spansIn(*after, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z").size(), 2u);
    EXPECT_EQ(findEvent(*after, "e")->event.title, "first");
}

TEST(UpdatesOfASeries, WithTheSameRulesLeaveTheRules) {
    const std::string text = eventStream("DTSTART:20260105T100000Z\nRRULE:INTERVAL=2;FREQ=DAILY\n");
    model::EventChanges changes = titled("first");
    changes.recurrenceRules = {{.frequency = 0, .interval = 2}};
    const auto after = updated(text, changes);
    ASSERT_TRUE(after);
    EXPECT_EQ(scanStream(*after).events.size(), 2u);
    for (const std::string& line : changedLines(text, *after)) {
        EXPECT_TRUE(line.starts_with('+')) << line;
    }
}

struct RewriteCase {
    std::string description;
    std::vector<model::RecurrenceRule> rules;
    std::vector<std::string> starts;
};

TEST(UpdatesOfASeries, WithOtherRulesRewriteItFromItsFirstStandingOccurrence) {
    const support::ScopedTimeZone local("UTC");
    const std::string text = stream(
        "BEGIN:VEVENT\nUID:other\nDTSTART:20260101T100000Z\nEND:VEVENT\n"
        "BEGIN:VEVENT\nUID:e\nX-OWN:kept\nDTSTART:20260105T100000Z\nRRULE:FREQ=DAILY;COUNT=4\n"
        "EXDATE:20260105T100000Z\nRDATE:20260301T100000Z\nEND:VEVENT\n"
        "BEGIN:VEVENT\nUID:e\nRECURRENCE-ID:20260107T100000Z\nDTSTART:20260120T100000Z\nEND:"
        "VEVENT\n");
    const std::vector<RewriteCase> cases{
        {"none", {}, {"2026-01-06T10:00:00Z"}},
        {"weekly",
            {{.frequency = 1, .interval = 1, .end = model::RecurrenceEnd::withOccurrenceCount(2)}},
            {"2026-01-06T10:00:00Z", "2026-01-13T10:00:00Z"}},
    };
    for (const RewriteCase& row : cases) {
        const auto after = updated(text, repeating(row.rules));
        ASSERT_TRUE(after) << row.description;
        std::vector<std::string> starts;
        for (const auto& found :
            RangeQuery(at("2026-01-05T00:00:00Z"), at("2027-01-01T00:00:00Z")).eventsIn(*after)) {
            starts.push_back(test::written(found.event.start));
        }
        EXPECT_EQ(starts, row.starts) << row.description;
        EXPECT_NE(after->find("X-OWN:kept\r\n"), std::string::npos);
        EXPECT_EQ(scanStream(*after).events.size(), 2u) << row.description;
        EXPECT_EQ(timesIn(*after, "EXDATE") + timesIn(*after, "RDATE"), 0u);
    }
}

TEST(UpdatesOfASeries, WithOtherRulesBeginWithAnExceptionThatStandsFirst) {
    const std::string text = stream(
        "BEGIN:VEVENT\nUID:e\nDTSTART:20260105T100000Z\nRRULE:FREQ=DAILY;COUNT=4\nEND:VEVENT\n"
        "BEGIN:VEVENT\nUID:e\nRECURRENCE-ID:20260105T100000Z\nDTSTART:20260120T120000Z\n"
        "SUMMARY:moved\nEND:VEVENT\n");
    const auto after = updated(text, repeating({}));
    ASSERT_TRUE(after);
    EXPECT_EQ(test::spansIn(*after, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"),
        std::vector<std::string>{"2026-01-20T12:00:00Z/2026-01-20T12:00:00Z"});
    EXPECT_EQ(findEvent(*after, "e")->event.title, "moved");
    EXPECT_EQ(timesIn(*after, "RECURRENCE-ID"), 0u);
}

// Invitations to single instances of a series that is not there.
TEST(UpdatesOfASeries, WithoutItsMasterLeaveTheOtherExceptions) {
    const std::string text =
        stream("BEGIN:VEVENT\nUID:e\nRECURRENCE-ID:20260105T100000Z\nDTSTART:20260105T100000Z\n"
               "END:VEVENT\nBEGIN:VEVENT\nUID:e\nRECURRENCE-ID:20260106T100000Z\n"
               "DTSTART:20260106T100000Z\nEND:VEVENT\n");
    model::EventChanges changes = titled("new");
    changes.recurrenceRules.emplace();
    const auto after = updated(text, changes);
    ASSERT_TRUE(after);
    EXPECT_EQ(
        sorted(differences(text, *after)), sorted({"+SUMMARY:new", "+DTSTAMP:20260601T120000Z",
                                               "+LAST-MODIFIED:20260601T120000Z", "+SEQUENCE:1"}));
}

TEST(Updates, OfOneOfTwoEventsAlikeAreSeen) {
    const std::string one = "BEGIN:VEVENT\nUID:e\nDTSTART:20260105T100000Z\nEND:VEVENT\n";
    const std::string text = stream(one + one);
    const auto after = updated(text, titled("new"));
    ASSERT_TRUE(after);
    EXPECT_EQ(findEvent(*after, "e")->event.title, "new");
    EXPECT_EQ(changedLines(text, *after), std::vector<std::string>{"+SUMMARY:new"});
}

// What readers find must be what writers change.
TEST(Updates, FindAnEventByTheFirstOfTwoUids) {
    const std::string text =
        stream("BEGIN:VEVENT\nUID:e\nUID:f\nDTSTART:20260105T100000Z\nEND:VEVENT\n");
    const auto after = updated(text, titled("new"));
    ASSERT_TRUE(after);
    EXPECT_EQ(changedLines(text, *after), std::vector<std::string>{"+SUMMARY:new"});
}

struct RemovalCase {
    std::string description;
    std::string before;
    // Nothing: the file has to go.
    std::optional<std::vector<std::string>> differences;
};

std::string single(const std::string& uid) {
    return "BEGIN:VEVENT\nUID:" + uid + "\nDTSTART:20260105T100000Z\nEND:VEVENT\n";
}
std::string daily(const std::string& lines) {
    return "BEGIN:VEVENT\nUID:e\nDTSTART:20260105T100000Z\nRRULE:FREQ=DAILY;COUNT=2\n" + lines +
           "END:VEVENT\n";
}
const std::string movedFirst =
    "BEGIN:VEVENT\nUID:e\nRECURRENCE-ID:20260105T100000Z\nDTSTART:20260201T100000Z\nEND:VEVENT\n";

std::vector<std::string> goneLines(std::string_view lines) {
    std::vector<std::string> gone;
    for (const std::string& line : test::linesOf(lines)) {
        gone.push_back("-" + line.substr(0, line.size() - 1));
    }
    return gone;
}

std::vector<std::string> joined(
    std::vector<std::string> left, const std::vector<std::string>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST(Removals, TakeTheEventOrItsOccurrenceAndNothingElse) {
    const support::ScopedTimeZone local("UTC");
    const std::string todo = "BEGIN:VTODO\nUID:t\nEND:VTODO\n";
    const std::string broken = "BEGIN:VEVENT\nUID:b\nBEGIN:VALARM\nEND:VEVENT\n";
    const std::string zone = "BEGIN:VTIMEZONE\nTZID:x\nEND:VTIMEZONE\n";
    const std::vector<std::string> excludedFirst{"+EXDATE:20260105T100000Z"};
    const std::vector<RemovalCase> cases{
        {"the only event", stream(single("e")), std::nullopt},
        {"the only event, with its zone", stream(zone + single("e")), std::nullopt},
        {"one of two", stream(single("e") + single("f")), goneLines(single("e"))},
        {"beside a VTODO", stream(single("e") + todo), goneLines(single("e"))},
        {"beside a component that is broken", stream(single("e") + broken), goneLines(single("e"))},
        {"beside a component outside of the calendar",
            stream(single("e")) + test::crlf(single("f")), goneLines(single("e"))},
        {"beside a VTODO outside of the calendar", test::crlf(todo) + stream(single("e")),
            goneLines(single("e"))},
        {"the first of a series", stream(daily("")), excludedFirst},
        {"the first of a series with exclusions", stream(daily("EXDATE:20260105T100000Z\n")),
            std::nullopt},
        {"the last of a series beside another event",
            stream(single("f") + daily("EXDATE:20260106T100000Z\n")),
            goneLines(daily("EXDATE:20260106T100000Z\n"))},
        {"an exception that stands first", stream(daily("") + movedFirst),
            joined(goneLines(movedFirst), excludedFirst)},
        {"an exception that is the last", stream(daily("EXDATE:20260106T100000Z\n") + movedFirst),
            std::nullopt},
        {"an exception to an event that does not recur", stream(single("e") + movedFirst),
            std::nullopt},
        {"an exception to nothing", stream(movedFirst + single("f")), goneLines(movedFirst)},
        {"one of two overrides to nothing",
            stream(movedFirst + "BEGIN:VEVENT\nUID:e\nRECURRENCE-ID:20260106T100000Z\n"
                                "DTSTART:20260106T100000Z\nEND:VEVENT\n"),
            goneLines(movedFirst)},
    };
    for (const RemovalCase& row : cases) {
        const auto after = streamWithout(row.before, keyOf(row.before), now);
        ASSERT_TRUE(after) << row.description;
        EXPECT_EQ(after->empty(), !row.differences) << row.description;
        if (row.differences && !after->empty()) {
            EXPECT_EQ(changedLines(row.before, *after), sorted(*row.differences))
                << row.description;
        }
    }
}

// What was written as a time is a day all the same, and stays one.
TEST(Edits, OfASeriesOfWholeDaysGoByTheDatesThatAreWritten) {
    const support::ScopedTimeZone local("America/Los_Angeles");
    const std::string moved = "BEGIN:VEVENT\nUID:e\nRECURRENCE-ID;TZID=Europe/Berlin:"
                              "20260105T000000\nDTSTART;VALUE=DATE:20260110\nEND:VEVENT\n";
    const std::string text =
        stream("BEGIN:VEVENT\nUID:e\nDTSTART;VALUE=DATE:20260105\nRRULE:FREQ=WEEKLY;COUNT=2\n"
               "RDATE:20260107T020000Z\nEND:VEVENT\n" +
               moved);
    const auto cancelled = streamWithout(text, keyOf(text), now);
    ASSERT_TRUE(cancelled);
    EXPECT_EQ(changedLines(text, *cancelled),
        sorted(joined(goneLines(moved), {"+EXDATE;VALUE=DATE:20260105"})));
    EXPECT_EQ(test::spansIn(*cancelled, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"),
        (std::vector<std::string>{"2026-01-07T08:00:00Z/2026-01-08T07:59:59Z",
            "2026-01-12T08:00:00Z/2026-01-13T07:59:59Z"}));
    const auto renamed = updated(*cancelled, titled("new"));
    ASSERT_TRUE(renamed);
    EXPECT_EQ(findEvent(*renamed, "e")->event.title, "new");
    EXPECT_EQ(test::spansIn(*renamed, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"),
        test::spansIn(*cancelled, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"));
}

// The day and the time that fall on one day are two instances.
TEST(Edits, OfADayInASeriesOfTimesLeaveTheTimeOfThatDay) {
    const support::ScopedTimeZone local("Europe/Berlin");
    const std::string text =
        eventStream("DTSTART:20260105T100000Z\nDTEND:20260105T110000Z\nRRULE:FREQ=DAILY;COUNT=3\n"
                    "RDATE;VALUE=DATE:20260106\n");
    const EventKey day{"e", at("2026-01-05T23:00:00Z")};
    const EventKey time{"e", at("2026-01-06T10:00:00Z")};
    const std::string wholeDay = "2026-01-05T23:00:00Z/2026-01-06T22:59:59Z";
    const std::vector<std::string> times{"2026-01-05T10:00:00Z/2026-01-05T11:00:00Z",
        "2026-01-06T10:00:00Z/2026-01-06T11:00:00Z", "2026-01-07T10:00:00Z/2026-01-07T11:00:00Z"};
    const auto spans = [](const std::optional<std::string>& after) {
        return test::spansIn(after.value(), "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z");
    };
    EXPECT_EQ(spans(text), sorted(joined(times, {wholeDay})));

    const auto without = streamWithout(text, day, now);
    EXPECT_EQ(spans(without), times);
    EXPECT_EQ(
        changedLines(text, *without), std::vector<std::string>{"+EXDATE;VALUE=DATE:20260106"});
    EXPECT_EQ(spans(streamWithout(text, time, now)), sorted({times[0], times[2], wholeDay}));

    const auto renamed = updatedStream(text, day, titled("new"), now);
    EXPECT_EQ(spans(renamed), spans(text));
    for (const FoundEvent& found :
        RangeQuery(at("2026-01-01T00:00:00Z"), at("2027-01-01T00:00:00Z")).eventsIn(*renamed)) {
        EXPECT_EQ(found.event.title.has_value(), found.key.originalStart == day.originalStart);
        EXPECT_EQ(found.event.isAllDay, found.key.originalStart == day.originalStart);
    }
    EXPECT_EQ(spans(streamWithout(*renamed, day, now)), times);
    EXPECT_EQ(spans(updatedStream(*renamed, time, titled("new"), now)), spans(text));
}

TEST(SeveralMasters, OfOneStartAreChangedInTheLatestRevision) {
    const std::string old = eventAt("20260105T100000Z", "SUMMARY:old\nX-OLD:1\n");
    const std::string latest = eventAt("20260105T100000Z", "SUMMARY:latest\nSEQUENCE:3\n");
    const std::string text = stream(old + latest);
    const auto renamed = updated(text, titled("new"));
    ASSERT_TRUE(renamed);
    EXPECT_EQ(changedLines(text, *renamed), sorted({"-SUMMARY:latest", "+SUMMARY:new"}));
    EXPECT_EQ(findEvent(*renamed, "e")->event.title, "new");
    // Without the latest in its place the old one would stand again.
    const auto moved = updated(text, starting("2026-01-05T09:00:00Z"));
    ASSERT_TRUE(moved);
    EXPECT_EQ(test::spansIn(*moved, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"),
        std::vector<std::string>{"2026-01-05T09:00:00Z/2026-01-05T10:00:00Z"});
    EXPECT_EQ(streamWithout(text, keyOf(text), now), "");
}

std::vector<std::string> titlesAndStartsIn(std::string_view text) {
    std::vector<std::string> lines;
    for (const FoundEvent& found :
        RangeQuery(at("2026-01-01T00:00:00Z"), at("2027-01-01T00:00:00Z")).eventsIn(text)) {
        lines.push_back(found.event.title.value_or("") + " " + test::written(found.event.start));
    }
    return sorted(std::move(lines));
}

// With an older revision left behind, that one would stand where the instance was.
TEST(SeveralOverrides, OfOneOccurrenceAreChangedAndGoTogether) {
    const std::string series =
        eventAt("20260105T100000Z", "SUMMARY:series\nRRULE:FREQ=DAILY;COUNT=3\n");
    for (const std::string range : {"", ";RANGE=THISANDFUTURE"}) {
        const std::string id = "RECURRENCE-ID" + range + ":20260106T100000Z\n";
        const std::string old = eventAt("20260106T110000Z", "SUMMARY:old\nX-OLD:1\n" + id);
        const std::string latest = eventAt("20260106T120000Z", "SUMMARY:latest\nSEQUENCE:3\n" + id);
        for (const std::string& lines : {series + old + latest, latest + old + series,
                 old + series + latest, series + latest + latest, old + latest}) {
            const std::string text = stream(lines);
            const EventKey key{"e", at("2026-01-06T10:00:00Z")};
            const std::vector<std::string> before = titlesAndStartsIn(text);
            std::vector<std::string> others = before;
            std::erase(others, "latest 2026-01-06T12:00:00Z");
            ASSERT_EQ(others.size() + 1, before.size()) << text;

            const auto renamed = updatedStream(text, key, titled("new"), now);
            ASSERT_TRUE(renamed) << text;
            EXPECT_EQ(
                titlesAndStartsIn(*renamed), sorted(joined(others, {"new 2026-01-06T12:00:00Z"})));

            model::EventChanges later = starting("2026-03-01T10:00:00Z");
            later.end = at("2026-03-01T11:00:00Z");
            const auto moved = updatedStream(text, key, later, now);
            ASSERT_TRUE(moved) << text;
            EXPECT_EQ(
                titlesAndStartsIn(*moved), sorted(joined(others, {"latest 2026-03-01T10:00:00Z"})));

            const auto without = streamWithout(text, key, now);
            ASSERT_TRUE(without) << text;
            EXPECT_EQ(titlesAndStartsIn(*without), others);

            const auto rewritten = updatedStream(text, key,
                repeating({{.frequency = 1, .end = model::RecurrenceEnd::withOccurrenceCount(1)}}),
                now);
            ASSERT_TRUE(rewritten) << text;
            EXPECT_EQ(titlesAndStartsIn(*rewritten),
                std::vector<std::string>{"latest 2026-01-06T12:00:00Z"});
        }
    }
}

TEST(SeveralMasters, AreEachChangedAlone) {
    const std::string first = eventAt("20260105T100000Z", "RRULE:FREQ=DAILY;COUNT=3\nSUMMARY:a\n");
    const std::string second = eventAt("20260105T120000Z", "RDATE:20260106T100000Z\nSUMMARY:b\n");
    const std::string text = stream(first + second);
    const auto seen = [](const std::string& changed) {
        std::vector<std::string> lines;
        for (const FoundEvent& found :
            RangeQuery(at("2026-01-01T00:00:00Z"), at("2027-01-01T00:00:00Z")).eventsIn(changed)) {
            lines.push_back(
                found.event.title.value_or("") + " " + test::written(found.event.start));
        }
        return sorted(std::move(lines));
    };
    const std::vector<std::string> all{"a 2026-01-05T10:00:00Z", "a 2026-01-06T10:00:00Z",
        "a 2026-01-07T10:00:00Z", "b 2026-01-05T12:00:00Z", "b 2026-01-06T10:00:00Z"};
    ASSERT_EQ(seen(text), all);
    const EventKey shared{"e", at("2026-01-06T10:00:00Z")};
    const auto renamed = updatedStream(text, shared, titled("new"), now);
    ASSERT_TRUE(renamed);
    EXPECT_EQ(seen(*renamed),
        (std::vector<std::string>{all[0], all[2], all[3], all[4], "new 2026-01-06T10:00:00Z"}));
    const auto without = streamWithout(text, shared, now);
    ASSERT_TRUE(without);
    EXPECT_EQ(seen(*without), (std::vector<std::string>{all[0], all[2], all[3], all[4]}));
    // Other rules are those of one master.
    const auto weekly = updatedStream(text, {"e", at("2026-01-05T12:00:00Z")},
        repeating({{.frequency = 1, .end = model::RecurrenceEnd::withOccurrenceCount(2)}}), now);
    ASSERT_TRUE(weekly);
    EXPECT_EQ(seen(*weekly),
        (std::vector<std::string>{all[0], all[1], all[2], all[3], "b 2026-01-12T12:00:00Z"}));
}

// What speaks of later instances stays for them.
TEST(ThisAndFuture, StaysForTheOthersWhenOneIsChanged) {
    const std::string text = stream(
        eventAt(
            "20260105T100000Z", "DTEND:20260105T110000Z\nRRULE:FREQ=DAILY;COUNT=5\nSUMMARY:a\n") +
        "BEGIN:VEVENT\nUID:e\nRECURRENCE-ID;RANGE=THISANDFUTURE:20260107T100000Z\nSUMMARY:b\n"
        "DTSTART:20260107T120000Z\nDTEND:20260107T140000Z\nEND:VEVENT\n");
    const auto seen = [](std::string_view changed) {
        std::vector<std::string> lines;
        for (const FoundEvent& found :
            RangeQuery(at("2026-01-01T00:00:00Z"), at("2027-01-01T00:00:00Z")).eventsIn(changed)) {
            lines.push_back(test::spanOf(found.event) + " " + found.event.title.value_or(""));
        }
        return sorted(std::move(lines));
    };
    const std::vector<std::string> all = seen(text);
    ASSERT_EQ(all.size(), 5u);
    ASSERT_EQ(all[4], "2026-01-09T12:00:00Z/2026-01-09T14:00:00Z b");
    for (std::size_t i = 0; i < all.size(); ++i) {
        const EventKey key{"e", at("2026-01-05T10:00:00Z") + std::chrono::days(i)};
        std::vector<std::string> others = all;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));

        const auto without = streamWithout(text, key, now);
        ASSERT_TRUE(without) << i;
        EXPECT_EQ(seen(*without), others) << i;

        const auto renamed = updatedStream(text, key, titled("new"), now);
        ASSERT_TRUE(renamed) << i;
        EXPECT_EQ(
            seen(*renamed), sorted(joined(others, {all[i].substr(0, all[i].size() - 1) + "new"})))
            << i;

        model::EventChanges later = starting("2026-01-20T10:00:00Z");
        later.end = at("2026-01-20T10:30:00Z");
        const auto moved = updatedStream(*renamed, key, later, now);
        ASSERT_TRUE(moved) << i;
        EXPECT_EQ(
            seen(*moved), sorted(joined(others, {"2026-01-20T10:00:00Z/2026-01-20T10:30:00Z new"})))
            << i;
        const auto gone = streamWithout(*moved, key, now);
        ASSERT_TRUE(gone) << i;
        EXPECT_EQ(seen(*gone), others) << i;
    }
    std::string rest = text;
    for (std::size_t left = all.size(); left > 0; --left) {
        ASSERT_EQ(seen(rest).size(), left);
        const auto after = streamWithout(rest, keyOf(rest), now);
        ASSERT_TRUE(after);
        rest = *after;
    }
    EXPECT_EQ(rest, "");
}

TEST(Removals, OneByOneEndASeriesWithItsFile) {
    const support::ScopedTimeZone local("Australia/Lord_Howe");
    std::string text =
        stream("BEGIN:VEVENT\nUID:e\nDTSTART;TZID=Australia/Lord_Howe:20260403T014500\n"
               "RRULE:FREQ=DAILY;COUNT=3\nRDATE;TZID=Europe/Berlin:20260410T100000\nEND:VEVENT\n"
               "BEGIN:VEVENT\nUID:e\nRECURRENCE-ID;TZID=Australia/Lord_Howe:20260404T014500\n"
               "DTSTART:20260501T100000Z\nEND:VEVENT\n");
    for (std::size_t left = 4; left > 0; --left) {
        ASSERT_EQ(test::spansIn(text, "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z").size(), left);
        const auto after = streamWithout(text, keyOf(text), now);
        ASSERT_TRUE(after);
        text = *after;
    }
    EXPECT_EQ(text, "");
}

TEST(Removals, AreRefusedWhenTheNextOccurrenceCostsTooMuchToFind) {
    const support::ScopedTimeZone local("UTC");
    std::string manyRules;
    for (int i = 0; i < 50'000; ++i) {
        manyRules += "RRULE:FREQ=SECONDLY\n";
    }
    std::string manyExclusions = "RRULE:FREQ=SECONDLY\n";
    for (int day = 5; day < 20; ++day) {
        manyExclusions += "EXDATE;VALUE=DATE:202601" + std::string(day < 10 ? "0" : "") +
                          std::to_string(day) + "\n";
    }
    const std::vector<std::string> cases{anHour + manyRules,
        // A rule that no second fulfils.
        anHour + "RRULE:FREQ=SECONDLY;BYSETPOS=2\n",
        anHour + "RDATE:20260101T100000Z\n" + manyExclusions};
    for (const std::string& lines : cases) {
        const std::string text = eventStream(lines);
        ASSERT_TRUE(keyOf(text).originalStart);
        EXPECT_FALSE(streamWithout(text, keyOf(text), now)) << lines.substr(0, 200);
    }
}

// Beyond all years there is nothing, and a search comes to that end.
TEST(Removals, TakeASeriesThatIsFoundToBeFinished) {
    const support::ScopedTimeZone local("UTC");
    for (const char* rule : {"FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30", "FREQ=YEARLY;COUNT=1"}) {
        const std::string text = eventStream(anHour + "RRULE:" + rule + "\n");
        EXPECT_EQ(streamWithout(text, keyOf(text), now), "") << rule;
    }
}

TEST(Removals, OfWhatIsGoneAreRefused) {
    const std::string text = stream(daily("EXDATE:20260105T100000Z\n"));
    EXPECT_FALSE(streamWithout(text, {"f", std::nullopt}, now));
    EXPECT_FALSE(streamWithout(text, {"", std::nullopt}, now));
    EXPECT_FALSE(streamWithout(text, {"e", at("2026-01-05T10:00:00Z")}, now));
    EXPECT_FALSE(streamWithout("", {"e", std::nullopt}, now));
}

TEST(Removals, CannotBeMisledByTheNameOfAZone) {
    const std::string text =
        eventStream("DTSTART:20260105T100000Z\nRDATE;TZID=a^nX-INJECTED:20260101T100000\n");
    const auto after = streamWithout(text, keyOf(text), now);
    ASSERT_TRUE(after);
    for (const std::string& line : test::linesOf(*after)) {
        EXPECT_FALSE(line.starts_with("X-INJECTED")) << line;
    }
    EXPECT_EQ(keyOf(*after).originalStart, at("2026-01-05T10:00:00Z"));
}

TEST(NewStreams, AreWholeCalendars) {
    const support::ScopedTimeZone local("UTC");
    model::EventChanges changes = lunch();
    changes.location = "Caf\xC3\xA9, back";
    changes.alarms = {-900};
    changes.recurrenceRules = {{.frequency = 1, .interval = 1}};
    const auto text = newStream("ABC", changes, now);
    ASSERT_TRUE(text);
    EXPECT_EQ(*text,
        test::crlf("BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:-//Quenbrook//Quenbrook//EN\n"
                   "BEGIN:VEVENT\nUID:ABC\nDTSTAMP:20260601T120000Z\nCREATED:20260601T120000Z\n"
                   "LAST-MODIFIED:20260601T120000Z\nSEQUENCE:0\nDTSTART:20260701T100000Z\n"
                   "DTEND:20260701T110000Z\nSUMMARY:Lunch\nLOCATION:Caf\xC3\xA9\\, back\n"
                   "RRULE:FREQ=WEEKLY\nBEGIN:VALARM\nACTION:DISPLAY\nDESCRIPTION:Reminder\n"
                   "TRIGGER:-PT15M\nEND:VALARM\nEND:VEVENT\nEND:VCALENDAR\n"));
}

TEST(NewStreams, CarryTheMachinesZone) {
    const support::ScopedTimeZone local("Europe/Berlin");
    model::EventChanges changes = lunch();
    changes.recurrenceRules = {
        {.frequency = 2, .interval = 6, .end = model::RecurrenceEnd::withOccurrenceCount(2)}};
    const auto text = newStream("ABC", changes, now);
    ASSERT_TRUE(text);
    EXPECT_NE(text->find("DTSTART;TZID=Europe/Berlin:20260701T120000\r\n"), std::string::npos);
    EXPECT_EQ(scanStream(*text).timeZones.size(), 1u);
    EXPECT_EQ(test::spansIn(*text, "2026-01-01T00:00:00Z", "2028-01-01T00:00:00Z"),
        (std::vector<std::string>{"2026-07-01T10:00:00Z/2026-07-01T11:00:00Z",
            "2027-01-01T11:00:00Z/2027-01-01T12:00:00Z"}));
}

// A zone that has no name in the zone data: a rule, and a copy of a file of the data.
TEST(NewStreams, CarryAZoneWithoutAName) {
    const support::TemporaryFolder folder;
    const std::filesystem::path copy = folder.path() / "berlin";
    std::filesystem::copy_file("/usr/share/zoneinfo/Europe/Berlin", copy);
    for (const std::string& variable : {std::string("EST5EDT4,M3.2.0,M11.1.0"),
             std::string("<+0330>-3:30"), std::string("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0"),
             std::string("IST-1GMT0,M10.5.0,M3.5.0/1"), std::string("XXX0YYY,J60/0,J300"),
             std::string("XXX0YYY,59/0,300"), std::string("IST-2IDT,M3.4.4/26,M10.5.0"),
             copy.string(), ":" + copy.string()}) {
        model::EventChanges changes =
            newEvent("x", at("2026-02-02T15:00:00Z"), at("2026-02-02T16:00:00Z"));
        changes.recurrenceRules = {
            {.frequency = 1, .interval = 5, .end = model::RecurrenceEnd::withOccurrenceCount(200)}};
        std::vector<std::string> expected;
        std::optional<std::string> text;
        {
            const support::ScopedTimeZone local(variable);
            const Zone zone = Zone::local();
            LocalTime wall = zone.wallClockAt(at("2026-02-02T15:00:00Z"));
            for (int i = 0; i < 200; ++i, wall += std::chrono::weeks(5)) {
                expected.push_back(test::written(zone.instantOf(wall)) + "/" +
                                   test::written(zone.instantOf(wall) + std::chrono::hours(1)));
            }
            text = newStream("ABC", changes, now);
        }
        ASSERT_TRUE(text);
        EXPECT_EQ(scanStream(*text).timeZones.size(), 1u) << *text;
        for (const char* reader : {"Asia/Tokyo", "America/Santiago", "UTC"}) {
            const support::ScopedTimeZone elsewhere(reader);
            EXPECT_EQ(
                test::spansIn(*text, "2026-01-01T00:00:00Z", "2060-01-01T00:00:00Z"), expected)
                << variable << "\n"
                << *text;
        }
    }
}

TEST(Refusals, AreOfMoreAlarmsThanAreReadOfOneEvent) {
    const std::string text = eventStream(anHour);
    EXPECT_TRUE(updated(text, alarming(std::vector<double>(1'000, -60.0))));
    EXPECT_FALSE(updated(text, alarming(std::vector<double>(60'000, -60.0))));
}

TEST(Refusals, AreOfEventsThatAreNotThere) {
    EXPECT_FALSE(updatedStream("", {"e", std::nullopt}, titled("x"), now));
    EXPECT_FALSE(updatedStream(eventStream(anHour), {"f", std::nullopt}, titled("x"), now));
    EXPECT_FALSE(updatedStream(eventStream(anHour), {"", std::nullopt}, titled("x"), now));
    EXPECT_FALSE(updatedStream(eventStream(""), {"e", std::nullopt}, titled("x"), now));
}

// They keep their bytes while others around them change, and cannot be changed themselves.
TEST(Edits, LeaveEventsWithoutUidAsTheyAre) {
    const std::string nameless = "BEGIN:VEVENT\nDTSTART:20260105T100000Z\nSUMMARY:x\nEND:VEVENT\n";
    const std::string text =
        stream(nameless + eventAt("20260105T100000Z", "SUMMARY:old\n") + nameless);
    const auto renamed = updated(text, titled("new"));
    ASSERT_TRUE(renamed);
    EXPECT_EQ(changedLines(text, *renamed), sorted({"-SUMMARY:old", "+SUMMARY:new"}));
    EXPECT_EQ(streamWithout(text, keyOf(text), now), stream(nameless + nameless));
    EXPECT_FALSE(updatedStream(text, {"", std::nullopt}, titled("new"), now));
    EXPECT_FALSE(streamWithout(text, {"", std::nullopt}, now));
    EXPECT_FALSE(streamWithout(stream(nameless), {"", at("2026-01-05T10:00:00Z")}, now));
}

// What stands before the first line stays where it is.
TEST(Edits, KeepWhatStandsBeforeTheCalendar) {
    const std::string mark = "\xEF\xBB\xBF";
    for (const std::string& before :
        {mark, std::string(" "), std::string("\t \t"), std::string("\r\n"), std::string("\n\n"),
            std::string(" \n \n  "), mark + "\r\n ", "\n" + mark, mark + mark, " " + mark + " "}) {
        for (const std::string lineEnd : {"\r\n", "\n"}) {
            std::string calendar = stream(eventAt("20260105T100000Z", "SUMMARY:old\n") +
                                          eventAt("20260105T100000Z", "SUMMARY:other\nX-UID:1\n"));
            calendar.replace(calendar.find("UID:e", calendar.find("SUMMARY:old")), 5, "UID:f");
            if (lineEnd == "\n") {
                std::erase(calendar, '\r');
            }
            const std::string text = before + calendar;
            const auto renamed = updated(text, titled("new"));
            ASSERT_TRUE(renamed) << before;
            ASSERT_TRUE(renamed->starts_with(before + "BEGIN:VCALENDAR" + lineEnd)) << before;
            EXPECT_EQ(renamed->substr(before.size()), *updated(calendar, titled("new"))) << before;
            const auto without = streamWithout(text, keyOf(text), now);
            ASSERT_TRUE(without) << before;
            EXPECT_EQ(*without, before + *streamWithout(calendar, keyOf(calendar), now)) << before;
        }
    }
}

// Files that were joined to one.
TEST(Edits, ReachACalendarBehindAMarkInTheMiddle) {
    const std::string other = eventStream("DTSTART:20260105T100000Z\n");
    std::string first = other;
    first.replace(first.find("UID:e"), 5, "UID:f");
    const std::string text = first + "\xEF\xBB\xBF" + other;
    const auto renamed = updated(text, titled("new"));
    ASSERT_TRUE(renamed);
    EXPECT_EQ(*renamed, first + "\xEF\xBB\xBF" + *updated(other, titled("new")));
}

TEST(Refusals, AreOfEventsOutsideOfACalendar) {
    const std::string bare = test::crlf("BEGIN:VEVENT\nUID:e\n" + anHour + "END:VEVENT\n");
    const std::string exception = test::crlf(
        "BEGIN:VEVENT\nUID:e\n" + anHour + "RECURRENCE-ID:20260105T090000Z\nEND:VEVENT\n");
    model::EventChanges changes;
    changes.title = "new";
    for (const std::string& text :
        {bare, bare + stream(""), stream("") + bare, eventStream(anHour) + exception}) {
        EXPECT_TRUE(findEvent(text, "e"));
        EXPECT_FALSE(updated(text, changes)) << text;
        EXPECT_FALSE(streamWithout(text, {"e", std::nullopt}, now)) << text;
    }
    // They keep nobody from changing what stands in one.
    const std::string beside = test::crlf("BEGIN:VEVENT\nUID:b\n" + anHour + "END:VEVENT\n");
    const auto changed = updated(eventStream(anHour) + beside, changes);
    ASSERT_TRUE(changed);
    EXPECT_TRUE(changed->ends_with("END:VCALENDAR\r\n" + beside));
    EXPECT_EQ(
        streamWithout(eventStream(anHour) + beside, {"e", std::nullopt}, now), stream("") + beside);
}

TEST(Edits, OfOneFieldAfterAnotherKeepBoth) {
    model::EventChanges notes;
    notes.notes = "notes";
    const auto first = updated(eventStream(anHour), titled("title"));
    ASSERT_TRUE(first);
    const auto second = updated(*first, notes);
    ASSERT_TRUE(second);
    const model::Event event = findEvent(*second, "e")->event;
    EXPECT_EQ(event.title, "title");
    EXPECT_EQ(event.notes, "notes");
    EXPECT_EQ(timesIn(*second, "SEQUENCE:2\r\n"), 1u);
}

// An END with parameters ends nothing: the copy that becomes an exception must hold the real one.
TEST(Edits, CopyAnEventToItsEnd) {
    const std::string text =
        eventStream(anHour + "RRULE:FREQ=DAILY;COUNT=2\nEND;X=Y:VEVENT\nX-A:b\n");
    const auto after = updated(text, titled("new"));
    ASSERT_TRUE(after);
    EXPECT_EQ(findEvent(*after, "e")->event.title, "new");
    EXPECT_EQ(scanStream(*after).broken, 0u);
    EXPECT_EQ(timesIn(*after, "X-A:b"), 2u);
}

} // namespace
} // namespace quenbrook::icalendar
