#include "platform/icalendar/CalendarEdit.h"

#include "platform/icalendar/Outline.h"
#include "platform/icalendar/text/Component.h"
#include "platform/icalendar/time/Zone.h"
#include "tests/support/ScopedVariable.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <random>

namespace quenbrook::platform::icalendar {
namespace {

using test::at;
using test::differences;
using test::eventStream;
using test::stream;

const Instant now = at("2026-06-01T12:00:00Z");

EventKey keyOf(std::string_view text) {
    const auto found = findEvent(text, "e");
    return found ? found->key : EventKey{"e", std::nullopt};
}

std::optional<std::string> updated(std::string_view text, const EventChanges& changes) {
    return updatedStream(text, keyOf(text), changes, now);
}

EventChanges starting(std::string_view start) {
    EventChanges changes;
    changes.start = at(start);
    return changes;
}

EventChanges ending(std::string_view end) {
    EventChanges changes;
    changes.end = at(end);
    return changes;
}

EventChanges titled(std::string title) {
    EventChanges changes;
    changes.title = std::move(title);
    return changes;
}

EventChanges repeating(std::vector<RecurrenceRule> rules) {
    EventChanges changes;
    changes.recurrenceRules = std::move(rules);
    return changes;
}

EventChanges wholeDays(bool isAllDay) {
    EventChanges changes;
    changes.isAllDay = isAllDay;
    return changes;
}

EventChanges alarming(std::vector<double> alarms) {
    EventChanges changes;
    changes.alarms = std::move(alarms);
    return changes;
}

bool isStamp(std::string_view difference) {
    const std::string_view line = difference.substr(1);
    return line.starts_with("DTSTAMP") || line.starts_with("LAST-MODIFIED") ||
           line.starts_with("SEQUENCE");
}

std::vector<std::string> sorted(std::vector<std::string> lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
}

// Without the stamps, which every change brings.
std::vector<std::string> changedLines(std::string_view before, std::string_view after) {
    std::vector<std::string> lines = differences(before, after);
    std::erase_if(lines, isStamp);
    return sorted(std::move(lines));
}

struct UpdateCase {
    std::string description;
    // What the event has besides UID and DTSTAMP.
    std::string lines;
    EventChanges changes;
    std::vector<std::string> differences;
    std::string localZone = "Europe/Berlin";
};

void expectUpdates(const std::vector<UpdateCase>& cases) {
    for (const UpdateCase& row : cases) {
        const support::ScopedTimeZone local(row.localZone);
        const std::string text = eventStream(row.lines);
        const auto after = updated(text, row.changes);
        ASSERT_TRUE(after) << row.description;
        EXPECT_EQ(changedLines(text, *after), sorted(row.differences)) << row.description;
    }
}

const std::string hour = "DTSTART:20260105T100000Z\nDTEND:20260105T110000Z\n";

TEST(Updates, OfTextsChangeTheirLinesAndNoOther) {
    EventChanges notes;
    notes.notes = "one\ntwo, three; \\";
    EventChanges location;
    location.location = "";
    expectUpdates({
        {"nothing", hour + "SUMMARY:old\n", {}, {}},
        {"a title", hour + "SUMMARY:old\nLOCATION:there\n", titled("new"),
            {"-SUMMARY:old", "+SUMMARY:new"}},
        {"a title with parameters", hour + "SUMMARY;LANGUAGE=de;X-P=\"a:b;c\":alt\n", titled("neu"),
            {"-SUMMARY;LANGUAGE=de;X-P=\"a:b;c\":alt", "+SUMMARY;LANGUAGE=de;X-P=\"a:b;c\":neu"}},
        {"a title that was not there", hour, titled("new"), {"+SUMMARY:new"}},
        {"a title that is there twice", hour + "SUMMARY:one\nSUMMARY:two\n", titled("new"),
            {"-SUMMARY:one", "-SUMMARY:two", "+SUMMARY:new"}},
        {"a title in small letters", hour + "summary:old\n", titled("new"),
            {"-summary:old", "+summary:new"}},
        {"a folded title", hour + "SUMM\n ARY;LANG\n UAGE=de:o\n ld\nX-NEXT:kept\n", titled("new"),
            {"-SUMM", "- ARY;LANG", "- UAGE=de:o", "- ld", "+SUMMARY;LANGUAGE=de:new"}},
        {"notes of several lines", hour, notes, {R"(+DESCRIPTION:one\ntwo\, three\; \\)"}},
        {"an emptied location", hour + "LOCATION:there\n", location,
            {"-LOCATION:there", "+LOCATION:"}},
        {"the text of an alarm is another",
            hour + "BEGIN:VALARM\nSUMMARY:alarm\nDESCRIPTION:alarm\nEND:VALARM\n", titled("new"),
            {"+SUMMARY:new"}},
        {"a long title", hour, titled(std::string(70, 'x')),
            {"+SUMMARY:" + std::string(67, 'x'), "+ xxx"}},
    });
}

TEST(Updates, OfDatesKeepFormZoneAndParameters) {
    const std::string zoned = "DTSTART;X-P=1;TZID=America/New_York:20260105T100000\n"
                              "DTEND;TZID=Europe/London:20260105T160000\n";
    const std::string floating = "DTSTART:20260705T100000\nDTEND:20260705T110000\n";
    const std::string allDay = "DTSTART;VALUE=DATE:20260105\nDTEND;VALUE=DATE:20260107\n";
    EventChanges both = starting("2026-01-08T10:00:00Z");
    both.end = at("2026-01-08T12:30:00Z");
    expectUpdates({
        {"start with DTEND", hour, starting("2026-01-05T10:30:00Z"),
            {"-DTSTART:20260105T100000Z", "+DTSTART:20260105T103000Z"}},
        {"start with DURATION", "DTSTART:20260105T100000Z\nDURATION:PT1H\n",
            starting("2026-01-05T10:30:00Z"),
            {"-DTSTART:20260105T100000Z", "+DTSTART:20260105T103000Z", "-DURATION:PT1H",
                "+DTEND:20260105T110000Z"}},
        {"start of an event without end", "DTSTART:20260105T100000Z\n",
            starting("2026-01-05T09:00:00Z"),
            {"-DTSTART:20260105T100000Z", "+DTSTART:20260105T090000Z", "+DTEND:20260105T100000Z"}},
        {"end with DTEND", hour, ending("2026-01-05T12:00:00Z"),
            {"-DTEND:20260105T110000Z", "+DTEND:20260105T120000Z"}},
        {"end with DURATION", "DTSTART:20260105T100000Z\nDURATION:PT1H\n",
            ending("2026-01-05T12:00:00Z"), {"-DURATION:PT1H", "+DTEND:20260105T120000Z"}},
        {"end of an event without end", "DTSTART:20260105T100000Z\n",
            ending("2026-01-05T12:00:00Z"), {"+DTEND:20260105T120000Z"}},
        {"end of an event without end, with a zone",
            "DTSTART;TZID=America/New_York:20260105T100000\n", ending("2026-01-05T16:00:00Z"),
            {"+DTEND;TZID=America/New_York:20260105T110000"}},
        {"end at the start", hour, ending("2026-01-05T10:00:00Z"), {"-DTEND:20260105T110000Z"}},
        {"end at the start with DURATION", "DTSTART:20260105T100000Z\nDURATION:PT1H\n",
            ending("2026-01-05T10:00:00Z"), {"-DURATION:PT1H"}},
        {"both", hour, both,
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
        {"parts of a second", hour,
            [] {
                EventChanges changes = starting("2026-01-05T10:30:00Z");
                *changes.start += std::chrono::milliseconds(999);
                return changes;
            }(),
            {"-DTSTART:20260105T100000Z", "+DTSTART:20260105T103000Z"}},
    });
}

TEST(Updates, TurnTimesIntoWholeDaysAndBack) {
    expectUpdates({
        {"already whole days", "DTSTART;VALUE=DATE:20260105\n", wholeDays(true), {}},
        {"already times", hour, wholeDays(false), {}},
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
                EventChanges changes = wholeDays(false);
                changes.start = changes.end = at("2026-01-05T09:00:00Z");
                return changes;
            }(),
            {"-DTSTART;VALUE=DATE:20260105", "+DTSTART:20260105T090000Z"}, "UTC"},
    });
}

std::size_t occurrences(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t i = text.find(part); i != std::string_view::npos; i = text.find(part, i + 1)) {
        ++count;
    }
    return count;
}

TEST(Updates, DefineAZoneThatTheFileDidNotName) {
    const support::ScopedTimeZone local("Europe/Berlin");
    const std::string text = eventStream("DTSTART;VALUE=DATE:20260105\n");
    const auto once = updated(text, wholeDays(false));
    ASSERT_TRUE(once);
    EXPECT_NE(once->find("DTSTART;TZID=Europe/Berlin:20260105T000000\r\n"), std::string::npos);
    EXPECT_EQ(occurrences(*once, "BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\n"), 1u);
    EXPECT_EQ(outlineOf(*once).timeZones.size(), 1u);
    const auto again = updated(*updated(*once, wholeDays(true)), wholeDays(false));
    ASSERT_TRUE(again);
    EXPECT_EQ(outlineOf(*again).timeZones.size(), 1u);
}

TEST(Updates, DefineAZoneThatOnlyTheEndNames) {
    const support::ScopedTimeZone local("Europe/Berlin");
    EventChanges changes = wholeDays(false);
    // The second pass of a repeated hour is written in UTC.
    changes.start = at("2026-10-25T01:30:00Z");
    changes.end = at("2026-10-25T05:00:00Z");
    const auto after = updated(eventStream("DTSTART;VALUE=DATE:20260105\n"), changes);
    ASSERT_TRUE(after);
    EXPECT_NE(after->find("DTSTART:20261025T013000Z\r\n"), std::string::npos);
    EXPECT_NE(after->find("DTEND;TZID=Europe/Berlin:20261025T060000\r\n"), std::string::npos);
    EXPECT_EQ(outlineOf(*after).timeZones.size(), 1u);
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
        EventChanges both = starting("2026-01-05T15:15:00Z");
        both.end = at("2026-01-05T17:00:00Z");
        EventChanges rules = both;
        rules.recurrenceRules = {
            {.frequency = 1, .interval = 1, .end = RecurrenceEnd::withOccurrenceCount(30)}};
        for (const EventChanges& changes :
            {starting("2026-01-05T15:15:00Z"), ending("2026-01-05T17:00:00Z"), both, rules}) {
            const auto after = updated(text, changes);
            ASSERT_TRUE(after) << lines;
            const Event event = findEvent(*after, "e")->event;
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
            EXPECT_EQ(occurrences(series, "TZID:America/New_York\r\n"), 1u) << series;
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
    // Its exception, too, is one to those who know the zone.
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
        EventChanges changes = starting(start);
        changes.end = changes.start;
        const auto after = updated(text, changes);
        ASSERT_TRUE(after);
        EXPECT_NE(after->find(line + "\r\n"), std::string::npos) << start << "\n" << *after;
        EXPECT_EQ(findEvent(*after, "e")->event.start, at(start));
    }
}

TEST(Updates, ReplaceAllAlarmsAndNoOtherComponent) {
    const std::string others = "BEGIN:X-OWN\nBEGIN:VALARM\nX:1\nEND:VALARM\nEND:X-OWN\n";
    const std::string alarm = "BEGIN:VALARM\nACTION:AUDIO\nTRIGGER:-PT5M\nEND:VALARM\n";
    const std::vector<std::string> gone{
        "-BEGIN:VALARM", "-ACTION:AUDIO", "-TRIGGER:-PT5M", "-END:VALARM"};
    expectUpdates({
        {"none", hour + alarm + others, alarming({}), gone},
        {"not carried", hour + alarm + others, titled("new"), {"+SUMMARY:new"}},
    });
    const std::string text = eventStream(hour + others);
    const auto after = updated(text, alarming({-900, 0, 90.9, -2147483647}));
    ASSERT_TRUE(after);
    std::vector<std::string> triggers;
    for (const std::string& line : changedLines(text, *after)) {
        if (line.starts_with("+TRIGGER")) {
            triggers.push_back(line);
        }
    }
    EXPECT_EQ(triggers, sorted({"+TRIGGER:-PT15M", "+TRIGGER:PT0S", "+TRIGGER:PT1M30S",
                            "+TRIGGER:-P24855DT3H14M7S"}));
    EXPECT_EQ(findEvent(*after, "e")->event.alarmCount, 4u);
    EXPECT_EQ(occurrences(*after, "ACTION:DISPLAY\r\n"), 4u);
    const auto without = updated(*after, alarming({}));
    ASSERT_TRUE(without);
    EXPECT_EQ(changedLines(text, *without), std::vector<std::string>{});
}

struct StampCase {
    std::string lines;
    std::vector<std::string> differences;
};

TEST(Updates, SetTheStampsAndCountTheSequence) {
    const std::vector<StampCase> cases{
        {"", {"-DTSTAMP:20260101T000000Z", "+DTSTAMP:20260601T120000Z",
                 "+LAST-MODIFIED:20260601T120000Z", "+SEQUENCE:1"}},
        {"SEQUENCE:41\nLAST-MODIFIED:20250101T000000Z\nCREATED:20250101T000000Z\n",
            {"-DTSTAMP:20260101T000000Z", "+DTSTAMP:20260601T120000Z",
                "-LAST-MODIFIED:20250101T000000Z", "+LAST-MODIFIED:20260601T120000Z",
                "-SEQUENCE:41", "+SEQUENCE:42"}},
        {"SEQUENCE:many\n",
            {"-DTSTAMP:20260101T000000Z", "+DTSTAMP:20260601T120000Z",
                "+LAST-MODIFIED:20260601T120000Z", "-SEQUENCE:many", "+SEQUENCE:1"}},
        {"SEQUENCE:2147483647\n", {"-DTSTAMP:20260101T000000Z", "+DTSTAMP:20260601T120000Z",
                                      "+LAST-MODIFIED:20260601T120000Z"}},
    };
    for (const StampCase& row : cases) {
        const std::string text = eventStream(hour + row.lines);
        const auto after = updated(text, {});
        ASSERT_TRUE(after);
        EXPECT_EQ(sorted(differences(text, *after)), sorted(row.differences)) << row.lines;
    }
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
    EventChanges changes = titled("new");
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
    std::string text = eventStream(hour + "RRULE:FREQ=DAILY;COUNT=3\n");
    text.erase(text.find("END:VCALENDAR"));
    text.erase(text.size() - 2);
    ASSERT_TRUE(text.ends_with("END:VEVENT"));
    const auto after = updated(text, titled("first"));
    ASSERT_TRUE(after);
    EXPECT_EQ(outlineOf(*after).events.size(), 2u);
    EXPECT_EQ(outlineOf(*after).broken, 0u);
    EXPECT_EQ(findEvent(*after, "e")->event.title, "first");
}

TEST(Updates, GiveASingleEventRulesAndTakeThem) {
    const RecurrenceRule weekly{
        .frequency = 1, .interval = 2, .end = RecurrenceEnd::withOccurrenceCount(3)};
    const auto until = [](std::string_view date) {
        return RecurrenceRule{
            .frequency = 0, .interval = 1, .end = RecurrenceEnd::withEndDate(at(date))};
    };
    const RecurrenceRule all{.frequency = 3,
        .interval = 1,
        .daysOfTheWeek = {1, 7},
        .daysOfTheMonth = {1, -1},
        .monthsOfTheYear = {2, 1}};
    expectUpdates({
        {"a rule", hour, repeating({weekly}), {"+RRULE:FREQ=WEEKLY;INTERVAL=2;COUNT=3"}},
        {"none", hour, repeating({}), {}},
        {"every part", hour, repeating({all}),
            {"+RRULE:FREQ=YEARLY;BYMONTH=2,1;BYMONTHDAY=1,-1;BYDAY=SU,SA"}},
        {"an end in UTC", hour, repeating({until("2026-01-10T10:00:00Z")}),
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

TEST(Updates, HoldEveryEndOfARuleInTheYearsThatCanBeWritten) {
    for (const std::string zone : {"UTC", "Europe/Berlin", "America/St_Johns"}) {
        const support::ScopedTimeZone local(zone);
        for (const std::string start : {"DTSTART:20260105T100000Z\n", "DTSTART:20260105T100000\n",
                 "DTSTART;VALUE=DATE:20260105\n", "DTSTART;TZID=Asia/Tokyo:20260105T100000\n"}) {
            for (const std::string_view date : {"9999-12-31T23:59:59Z", "2026-01-05T10:00:00Z"}) {
                const auto after = updated(eventStream(start),
                    repeating({{.frequency = 3, .end = RecurrenceEnd::withEndDate(at(date))}}));
                ASSERT_TRUE(after) << start << date;
                const auto rules = findEvent(*after, "e")->event.recurrenceRules;
                ASSERT_EQ(rules.size(), 1u) << *after;
                EXPECT_TRUE(rules[0].end && rules[0].end->endDate) << *after;
            }
        }
    }
}

const std::string dailySeries =
    "DTSTART;TZID=Europe/Berlin:20260105T100000\nDURATION:PT1H\n"
    "SUMMARY;LANGUAGE=de:Reihe\nX-OWN:kept\n"
    "RRULE:FREQ=DAILY;COUNT=4\nRDATE;TZID=Europe/Berlin:20260201T100000\n"
    "EXDATE;TZID=Europe/Berlin:20260106T100000\n"
    "BEGIN:VALARM\nACTION:AUDIO\nTRIGGER:-PT5M\nEND:VALARM\n";

TEST(UpdatesOfASeries, MakeAnExceptionOfTheOccurrence) {
    const std::string text = eventStream(dailySeries);
    EventChanges changes = titled("Einmal");
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
    EXPECT_EQ(occurrences(*after, "DTSTAMP:20260101T000000Z"), 1u);
    EXPECT_EQ(occurrences(*after, "SEQUENCE:1\r\n"), 1u);
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
    const std::string text = eventStream(hour + "RECURRENCE-ID;X=y:2\nRRULE:FREQ=DAILY;COUNT=2\n");
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
    EventChanges changes = titled("first");
    changes.recurrenceRules = {{.frequency = 0, .interval = 2}};
    const auto after = updated(text, changes);
    ASSERT_TRUE(after);
    EXPECT_EQ(outlineOf(*after).events.size(), 2u);
    for (const std::string& line : changedLines(text, *after)) {
        EXPECT_TRUE(line.starts_with('+')) << line;
    }
}

struct RewriteCase {
    std::string description;
    std::vector<RecurrenceRule> rules;
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
        {"weekly", {{.frequency = 1, .interval = 1, .end = RecurrenceEnd::withOccurrenceCount(2)}},
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
        EXPECT_EQ(outlineOf(*after).events.size(), 2u) << row.description;
        EXPECT_EQ(occurrences(*after, "EXDATE") + occurrences(*after, "RDATE"), 0u);
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
    EXPECT_EQ(occurrences(*after, "RECURRENCE-ID"), 0u);
}

// Invitations to single occurrences of a series that is not there.
TEST(UpdatesOfASeries, WithoutItsMasterLeaveTheOtherExceptions) {
    const std::string text =
        stream("BEGIN:VEVENT\nUID:e\nRECURRENCE-ID:20260105T100000Z\nDTSTART:20260105T100000Z\n"
               "END:VEVENT\nBEGIN:VEVENT\nUID:e\nRECURRENCE-ID:20260106T100000Z\n"
               "DTSTART:20260106T100000Z\nEND:VEVENT\n");
    EventChanges changes = titled("new");
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
        {"one of two exceptions to nothing",
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

struct ExclusionCase {
    std::string start;
    std::string line;
};

TEST(Removals, ExcludeInTheFormOfTheStart) {
    const support::ScopedTimeZone local("Europe/Berlin");
    const std::vector<ExclusionCase> cases{
        {"DTSTART:20260105T100000Z\n", "+EXDATE:20260105T100000Z"},
        {"DTSTART:20260105T100000\n", "+EXDATE:20260105T100000"},
        {"DTSTART;VALUE=DATE:20260105\n", "+EXDATE;VALUE=DATE:20260105"},
        {"DTSTART;TZID=America/New_York:20260105T100000\n",
            "+EXDATE;TZID=America/New_York:20260105T100000"},
        {"DTSTART;TZID=\"x:y\":20260105T100000\n", "+EXDATE;TZID=\"x:y\":20260105T100000"},
        {"DTSTART;VALUE=DATE-TIME;TZID=Nowhere:20260105T100000\n",
            "+EXDATE;VALUE=DATE-TIME;TZID=Nowhere:20260105T100000"},
    };
    for (const ExclusionCase& row : cases) {
        const std::string text = eventStream(row.start + "RRULE:FREQ=DAILY\n");
        const auto after = streamWithout(text, keyOf(text), now);
        ASSERT_TRUE(after) << row.start;
        EXPECT_EQ(changedLines(text, *after), std::vector<std::string>{row.line});
        EXPECT_EQ(occurrences(*after, "SEQUENCE:1\r\n"), 1u);
        EXPECT_EQ(keyOf(*after).originalStart, *keyOf(text).originalStart + std::chrono::days(1));
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

// The day and the time that fall on one day are two occurrences.
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

std::string eventAt(const std::string& start, const std::string& lines) {
    return "BEGIN:VEVENT\nUID:e\nDTSTART:" + start + "\n" + lines + "END:VEVENT\n";
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
        repeating({{.frequency = 1, .end = RecurrenceEnd::withOccurrenceCount(2)}}), now);
    ASSERT_TRUE(weekly);
    EXPECT_EQ(seen(*weekly),
        (std::vector<std::string>{all[0], all[1], all[2], all[3], "b 2026-01-12T12:00:00Z"}));
}

// What speaks of later occurrences stays for them.
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

        EventChanges later = starting("2026-01-20T10:00:00Z");
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

// It would hide that one, or be hidden by it.
TEST(SeveralMasters, AreNotMovedOntoEachOther) {
    const std::string text =
        stream(eventAt("20260105T100000Z", "") + eventAt("20260106T100000Z", "SEQUENCE:7\n"));
    EXPECT_FALSE(updatedStream(
        text, {"e", at("2026-01-05T10:00:00Z")},
        [] {
            EventChanges changes = starting("2026-01-06T10:00:00Z");
            changes.end = changes.start;
            return changes;
        }(),
        now));
}

TEST(Refusals, AreOfAStartThatIsExcluded) {
    const std::string text =
        stream(eventAt("20260105T100000Z", "DTEND:20260105T110000Z\nEXDATE:20260105T090000Z\n"));
    EXPECT_FALSE(updated(text, starting("2026-01-05T09:00:00Z")));
    EXPECT_TRUE(updated(text, starting("2026-01-05T09:00:01Z")));
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
    const std::vector<std::string> cases{hour + manyRules,
        // A rule that no second fulfils.
        hour + "RRULE:FREQ=SECONDLY;BYSETPOS=2\n",
        hour + "RDATE:20260101T100000Z\n" + manyExclusions};
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
        const std::string text = eventStream(hour + "RRULE:" + rule + "\n");
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

EventChanges newEvent(std::string title, Instant start, Instant end) {
    EventChanges changes = titled(std::move(title));
    changes.start = start;
    changes.end = end;
    changes.isAllDay = false;
    return changes;
}

EventChanges lunch() {
    return newEvent("Lunch", at("2026-07-01T10:00:00Z"), at("2026-07-01T11:00:00Z"));
}

TEST(NewStreams, AreWholeCalendars) {
    const support::ScopedTimeZone local("UTC");
    EventChanges changes = lunch();
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
    EventChanges changes = lunch();
    changes.recurrenceRules = {
        {.frequency = 2, .interval = 6, .end = RecurrenceEnd::withOccurrenceCount(2)}};
    const auto text = newStream("ABC", changes, now);
    ASSERT_TRUE(text);
    EXPECT_NE(text->find("DTSTART;TZID=Europe/Berlin:20260701T120000\r\n"), std::string::npos);
    EXPECT_EQ(outlineOf(*text).timeZones.size(), 1u);
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
        EventChanges changes =
            newEvent("x", at("2026-02-02T15:00:00Z"), at("2026-02-02T16:00:00Z"));
        changes.recurrenceRules = {
            {.frequency = 1, .interval = 5, .end = RecurrenceEnd::withOccurrenceCount(200)}};
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
        EXPECT_EQ(outlineOf(*text).timeZones.size(), 1u) << *text;
        for (const char* reader : {"Asia/Tokyo", "America/Santiago", "UTC"}) {
            const support::ScopedTimeZone elsewhere(reader);
            EXPECT_EQ(
                test::spansIn(*text, "2026-01-01T00:00:00Z", "2060-01-01T00:00:00Z"), expected)
                << variable << "\n"
                << *text;
        }
    }
}

TEST(NewStreams, AreInUtcWhereTheMachineIs) {
    for (const char* variable : {"", ":", "UTC", "UTC0", "nonsense", "<ABC>0", "Etc/UTC",
             "AAA0BBB0,M3.2.0,M11.1.0", "/nowhere"}) {
        const support::ScopedTimeZone local(variable);
        const auto text = newStream("ABC", lunch(), now);
        ASSERT_TRUE(text);
        EXPECT_NE(text->find("DTSTART:20260701T100000Z\r\n"), std::string::npos) << variable;
        EXPECT_EQ(outlineOf(*text).timeZones.size(), 0u) << variable;
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
        EventChanges changes = newEvent("x", at(row.start), at(row.end));
        changes.isAllDay = true;
        const auto text = newStream("e", changes, now);
        ASSERT_TRUE(text);
        EXPECT_NE(text->find("DTSTART;VALUE=DATE:" + row.first + "\r\n"), std::string::npos)
            << *text;
        EXPECT_NE(text->find("DTEND;VALUE=DATE:" + row.afterLast + "\r\n"), std::string::npos)
            << *text;
        EXPECT_EQ(outlineOf(*text).timeZones.size(), 0u);
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
        const Instant first = at("2026-01-01T00:00:00Z");
        for (int minutes = 0; minutes < 365 * 24 * 60; minutes += 15 * 37) {
            const Instant start = first + std::chrono::minutes(minutes);
            const auto text =
                newStream("e", newEvent("x", start, start + std::chrono::hours(5)), now);
            ASSERT_TRUE(text);
            const Event event = findEvent(*text, "e")->event;
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
            for (int minutes = -120; minutes < 120; minutes += 10) {
                const Instant start = change->at + std::chrono::minutes(minutes);
                const Instant end = start + std::chrono::minutes(30);
                const auto text = newStream("e", newEvent("x", start, end), now);
                ASSERT_TRUE(text);
                EXPECT_EQ(test::spanOf(findEvent(*text, "e")->event),
                    test::written(start) + "/" + test::written(end))
                    << zone;
                // Whatever zone a date names, the file defines it.
                EXPECT_EQ(outlineOf(*text).timeZones.size(),
                    text->find(";TZID=") == std::string::npos ? 0u : 1u);
            }
            change = Zone::local().changeAfter(change->at);
        }
    }
}

// A text that tries to be more than a text.
const std::vector<std::string> injections{
    "x\nEND:VEVENT\nBEGIN:VEVENT\nUID:evil",
    "x\nATTENDEE:mailto:evil@example.org",
    "\n X",
    "\\n\nEND:VCALENDAR",
    "\\",
    "\\;\\,\\n",
    "\"",
    "a;X-EVIL=1:b",
    "\xC2\x85"
    "END:VEVENT",
    "\xE2\x80\xA8"
    "END:VEVENT",
    std::string(74, 'x') + "\nEND:VEVENT",
    std::string(200, '\n'),
    std::string(63, '\t') + "END:VEVENT",
};

TEST(Texts, CannotBecomePropertiesOrComponents) {
    for (const std::string& text : injections) {
        EventChanges changes = lunch();
        changes.title = changes.location = changes.notes = text;
        const auto created = newStream("e", changes, now);
        ASSERT_TRUE(created) << text;
        EventChanges again = titled(text);
        again.location = again.notes = text;
        const auto changed = updated(eventStream(hour + "SUMMARY;X-P=\"a:b\":x\n"), again);
        ASSERT_TRUE(changed) << text;
        for (const std::string& written : {*created, *changed}) {
            const Outline outline = outlineOf(written);
            ASSERT_EQ(outline.events.size(), 1u) << text;
            EXPECT_EQ(outline.broken, 0u) << text;
            const auto event = ParsedComponent::parse(written, outline.events[0].range);
            ASSERT_TRUE(event);
            for (const Property& property : (*event)->properties) {
                EXPECT_TRUE(property.name != "ATTENDEE" && property.name != "X-EVIL") << text;
            }
            const Event read = findEvent(written, "e")->event;
            EXPECT_EQ(read.title, text);
            EXPECT_EQ(read.location, text);
            EXPECT_EQ(read.notes, text);
            EXPECT_TRUE(read.participants.empty());
            for (const std::string& line : test::linesOf(written)) {
                EXPECT_LE(line.size(), 77u) << line;
            }
        }
    }
}

TEST(Refusals, AreOfEveryTextThatCannotBeHeld) {
    const std::string text = eventStream(hour + "SUMMARY:old\n");
    for (const std::string& bad :
        {std::string("a\0b", 3), std::string("a\r\n\x01"), std::string("\x1B[0m"),
            std::string("\x7F"), std::string("\x0B"), std::string(1, '\0')}) {
        for (const auto member :
            {&EventChanges::title, &EventChanges::location, &EventChanges::notes}) {
            EventChanges changes;
            changes.*member = bad;
            EXPECT_FALSE(updated(text, changes));
            EventChanges creation = lunch();
            creation.*member = bad;
            EXPECT_FALSE(newStream("e", creation, now));
        }
    }
}

TEST(Refusals, AreOfEveryNumberThatCannotBeHeld) {
    const std::string text = eventStream(hour);
    std::vector<EventChanges> refused;
    for (const double alarm : {2147483648.0, -2147483648.0, 1e300, std::nan(""),
             std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        refused.push_back(alarming({0, alarm}));
    }
    const Instant tooLate = at("9999-12-31T23:59:59Z") + std::chrono::days(2);
    for (const RecurrenceRule& rule : std::vector<RecurrenceRule>{
             {.frequency = 4},
             {.frequency = -1},
             {.frequency = 0, .interval = 0},
             {.frequency = 0, .interval = -1},
             {.frequency = 0, .interval = std::int64_t{1} << 40},
             {.frequency = 0, .end = RecurrenceEnd::withOccurrenceCount(0)},
             {.frequency = 0, .end = RecurrenceEnd::withOccurrenceCount(-1)},
             {.frequency = 0, .end = RecurrenceEnd::withOccurrenceCount(std::int64_t{1} << 40)},
             {.frequency = 1, .daysOfTheWeek = {0}},
             {.frequency = 1, .daysOfTheWeek = {8}},
             {.frequency = 2, .daysOfTheMonth = {0}},
             {.frequency = 2, .daysOfTheMonth = {32}},
             {.frequency = 2, .daysOfTheMonth = {-32}},
             {.frequency = 3, .monthsOfTheYear = {0}},
             {.frequency = 3, .monthsOfTheYear = {13}},
             {.frequency = 0, .end = RecurrenceEnd::withEndDate(tooLate)},
         }) {
        refused.push_back(repeating({{.frequency = 0}, rule}));
    }
    refused.push_back(ending("2026-01-05T09:59:59Z"));
    refused.push_back(starting("2026-01-05T11:00:01Z"));
    refused.push_back(ending("9999-12-31T23:59:59Z"));
    *refused.back().end += std::chrono::days(2);
    refused.push_back(starting("0001-01-01T00:00:00Z"));
    *refused.back().start -= std::chrono::days(2);
    for (std::size_t i = 0; i < refused.size(); ++i) {
        EXPECT_FALSE(updated(text, refused[i])) << i;
        EventChanges creation = refused[i];
        creation.title = "x";
        creation.isAllDay = false;
        if (!creation.start) {
            creation.start = at("2026-01-05T10:00:00Z");
        }
        if (!creation.end) {
            creation.end = at("2026-01-05T11:00:00Z");
        }
        EXPECT_FALSE(newStream("e", creation, now)) << i;
    }
}

TEST(Refusals, AreOfMoreAlarmsThanAreReadOfOneEvent) {
    const std::string text = eventStream(hour);
    EXPECT_TRUE(updated(text, alarming(std::vector<double>(1'000, -60.0))));
    EXPECT_FALSE(updated(text, alarming(std::vector<double>(60'000, -60.0))));
}

TEST(Refusals, AreOfEventsThatAreNotThere) {
    EXPECT_FALSE(updatedStream("", {"e", std::nullopt}, titled("x"), now));
    EXPECT_FALSE(updatedStream(eventStream(hour), {"f", std::nullopt}, titled("x"), now));
    EXPECT_FALSE(updatedStream(eventStream(hour), {"", std::nullopt}, titled("x"), now));
    EXPECT_FALSE(updatedStream(eventStream(""), {"e", std::nullopt}, titled("x"), now));
}

TEST(Refusals, AreOfEventsOutsideOfACalendar) {
    const std::string bare = test::crlf("BEGIN:VEVENT\nUID:e\n" + hour + "END:VEVENT\n");
    const std::string exception =
        test::crlf("BEGIN:VEVENT\nUID:e\n" + hour + "RECURRENCE-ID:20260105T090000Z\nEND:VEVENT\n");
    EventChanges changes;
    changes.title = "new";
    for (const std::string& text :
        {bare, bare + stream(""), stream("") + bare, eventStream(hour) + exception}) {
        EXPECT_TRUE(findEvent(text, "e"));
        EXPECT_FALSE(updated(text, changes)) << text;
        EXPECT_FALSE(streamWithout(text, {"e", std::nullopt}, now)) << text;
    }
    // They keep nobody from changing what stands in one.
    const std::string beside = test::crlf("BEGIN:VEVENT\nUID:b\n" + hour + "END:VEVENT\n");
    const auto changed = updated(eventStream(hour) + beside, changes);
    ASSERT_TRUE(changed);
    EXPECT_TRUE(changed->ends_with("END:VCALENDAR\r\n" + beside));
    EXPECT_EQ(
        streamWithout(eventStream(hour) + beside, {"e", std::nullopt}, now), stream("") + beside);
}

TEST(Edits, OfOneFieldAfterAnotherKeepBoth) {
    EventChanges notes;
    notes.notes = "notes";
    const auto first = updated(eventStream(hour), titled("title"));
    ASSERT_TRUE(first);
    const auto second = updated(*first, notes);
    ASSERT_TRUE(second);
    const Event event = findEvent(*second, "e")->event;
    EXPECT_EQ(event.title, "title");
    EXPECT_EQ(event.notes, "notes");
    EXPECT_EQ(occurrences(*second, "SEQUENCE:2\r\n"), 1u);
}

} // namespace
} // namespace quenbrook::platform::icalendar
