#include "icalendar/event/EventWriting.h"

#include "icalendar/CalendarEdit.h"
#include "icalendar/stream/StreamScan.h"
#include "icalendar/text/Component.h"
#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"
#include "tests/unit/icalendar/Edits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace quenbrook::icalendar {
namespace {

using test::alarming;
using test::anHour;
using test::at;
using test::changedLines;
using test::differences;
using test::ending;
using test::eventStream;
using test::expectUpdates;
using test::keyOf;
using test::lunch;
using test::now;
using test::repeating;
using test::sorted;
using test::starting;
using test::timesIn;
using test::titled;
using test::updated;

TEST(Updates, OfTextsChangeTheirLinesAndNoOther) {
    model::EventChanges notes;
    notes.notes = "one\ntwo, three; \\";
    model::EventChanges location;
    location.location = "";
    expectUpdates({
        {"nothing", anHour + "SUMMARY:old\n", {}, {}},
        {"a title", anHour + "SUMMARY:old\nLOCATION:there\n", titled("new"),
            {"-SUMMARY:old", "+SUMMARY:new"}},
        {"a title with parameters", anHour + "SUMMARY;LANGUAGE=de;X-P=\"a:b;c\":alt\n",
            titled("neu"),
            {"-SUMMARY;LANGUAGE=de;X-P=\"a:b;c\":alt", "+SUMMARY;LANGUAGE=de;X-P=\"a:b;c\":neu"}},
        {"a title that was not there", anHour, titled("new"), {"+SUMMARY:new"}},
        {"a title that is there twice", anHour + "SUMMARY:one\nSUMMARY:two\n", titled("new"),
            {"-SUMMARY:one", "-SUMMARY:two", "+SUMMARY:new"}},
        {"a title in small letters", anHour + "summary:old\n", titled("new"),
            {"-summary:old", "+summary:new"}},
        {"a folded title", anHour + "SUMM\n ARY;LANG\n UAGE=de:o\n ld\nX-NEXT:kept\n",
            titled("new"),
            {"-SUMM", "- ARY;LANG", "- UAGE=de:o", "- ld", "+SUMMARY;LANGUAGE=de:new"}},
        {"notes of several lines", anHour, notes, {R"(+DESCRIPTION:one\ntwo\, three\; \\)"}},
        {"an emptied location", anHour + "LOCATION:there\n", location,
            {"-LOCATION:there", "+LOCATION:"}},
        {"the text of an alarm is another",
            anHour + "BEGIN:VALARM\nSUMMARY:alarm\nDESCRIPTION:alarm\nEND:VALARM\n", titled("new"),
            {"+SUMMARY:new"}},
        {"a long title", anHour, titled(std::string(70, 'x')),
            {"+SUMMARY:" + std::string(67, 'x'), "+ xxx"}},
    });
}

TEST(Updates, ReplaceAllAlarmsAndNoOtherComponent) {
    const std::string others = "BEGIN:X-OWN\nBEGIN:VALARM\nX:1\nEND:VALARM\nEND:X-OWN\n";
    const std::string alarm = "BEGIN:VALARM\nACTION:AUDIO\nTRIGGER:-PT5M\nEND:VALARM\n";
    const std::vector<std::string> gone{
        "-BEGIN:VALARM", "-ACTION:AUDIO", "-TRIGGER:-PT5M", "-END:VALARM"};
    expectUpdates({
        {"none", anHour + alarm + others, alarming({}), gone},
        {"not carried", anHour + alarm + others, titled("new"), {"+SUMMARY:new"}},
    });
    const std::string text = eventStream(anHour + others);
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
    EXPECT_EQ(timesIn(*after, "ACTION:DISPLAY\r\n"), 4u);
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
        const std::string text = eventStream(anHour + row.lines);
        const auto after = updated(text, {});
        ASSERT_TRUE(after);
        EXPECT_EQ(sorted(differences(text, *after)), sorted(row.differences)) << row.lines;
    }
}

TEST(Updates, HoldEveryEndOfARuleInTheYearsThatCanBeWritten) {
    for (const std::string zone : {"UTC", "Europe/Berlin", "America/St_Johns"}) {
        const support::ScopedTimeZone local(zone);
        for (const std::string start : {"DTSTART:20260105T100000Z\n", "DTSTART:20260105T100000\n",
                 "DTSTART;VALUE=DATE:20260105\n", "DTSTART;TZID=Asia/Tokyo:20260105T100000\n"}) {
            for (const std::string_view date : {"9999-12-31T23:59:59Z", "2026-01-05T10:00:00Z"}) {
                const auto after = updated(eventStream(start),
                    repeating(
                        {{.frequency = 3, .end = model::RecurrenceEnd::withEndDate(at(date))}}));
                ASSERT_TRUE(after) << start << date;
                const auto rules = findEvent(*after, "e")->event.recurrenceRules;
                ASSERT_EQ(rules.size(), 1u) << *after;
                EXPECT_TRUE(rules[0].end && rules[0].end->endDate) << *after;
            }
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
        EXPECT_EQ(timesIn(*after, "SEQUENCE:1\r\n"), 1u);
        EXPECT_EQ(keyOf(*after).originalStart, *keyOf(text).originalStart + std::chrono::days(1));
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
        model::EventChanges changes = lunch();
        changes.title = changes.location = changes.notes = text;
        const auto created = newStream("e", changes, now);
        ASSERT_TRUE(created) << text;
        model::EventChanges again = titled(text);
        again.location = again.notes = text;
        const auto changed = updated(eventStream(anHour + "SUMMARY;X-P=\"a:b\":x\n"), again);
        ASSERT_TRUE(changed) << text;
        for (const std::string& written : {*created, *changed}) {
            const StreamScan scan = scanStream(written);
            ASSERT_EQ(scan.events.size(), 1u) << text;
            EXPECT_EQ(scan.broken, 0u) << text;
            const auto event = ParsedComponent::parse(written, scan.events[0].range);
            ASSERT_TRUE(event);
            for (const Property& property : (*event)->properties) {
                EXPECT_TRUE(property.name != "ATTENDEE" && property.name != "X-EVIL") << text;
            }
            const model::Event read = findEvent(written, "e")->event;
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
    const std::string text = eventStream(anHour + "SUMMARY:old\n");
    for (const std::string& bad :
        {std::string("a\0b", 3), std::string("a\r\n\x01"), std::string("\x1B[0m"),
            std::string("\x7F"), std::string("\x0B"), std::string(1, '\0')}) {
        for (const auto member : {&model::EventChanges::title, &model::EventChanges::location,
                 &model::EventChanges::notes}) {
            model::EventChanges changes;
            changes.*member = bad;
            EXPECT_FALSE(updated(text, changes));
            model::EventChanges creation = lunch();
            creation.*member = bad;
            EXPECT_FALSE(newStream("e", creation, now));
        }
    }
}

TEST(Refusals, AreOfEveryNumberThatCannotBeHeld) {
    const std::string text = eventStream(anHour);
    std::vector<model::EventChanges> refused;
    for (const double alarm : {2147483648.0, -2147483648.0, 1e300, std::nan(""),
             std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        refused.push_back(alarming({0, alarm}));
    }
    const model::Instant tooLate = at("9999-12-31T23:59:59Z") + std::chrono::days(2);
    for (const model::RecurrenceRule& rule : std::vector<model::RecurrenceRule>{
             {.frequency = 4},
             {.frequency = -1},
             {.frequency = 0, .interval = 0},
             {.frequency = 0, .interval = -1},
             {.frequency = 0, .interval = std::int64_t{1} << 40},
             {.frequency = 0, .end = model::RecurrenceEnd::withOccurrenceCount(0)},
             {.frequency = 0, .end = model::RecurrenceEnd::withOccurrenceCount(-1)},
             {.frequency = 0,
             .end = model::RecurrenceEnd::withOccurrenceCount(std::int64_t{1} << 40)},
             {.frequency = 1, .daysOfTheWeek = {0}},
             {.frequency = 1, .daysOfTheWeek = {8}},
             {.frequency = 2, .daysOfTheMonth = {0}},
             {.frequency = 2, .daysOfTheMonth = {32}},
             {.frequency = 2, .daysOfTheMonth = {-32}},
             {.frequency = 3, .monthsOfTheYear = {0}},
             {.frequency = 3, .monthsOfTheYear = {13}},
             {.frequency = 0, .end = model::RecurrenceEnd::withEndDate(tooLate)},
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
        model::EventChanges creation = refused[i];
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

} // namespace
} // namespace quenbrook::icalendar
