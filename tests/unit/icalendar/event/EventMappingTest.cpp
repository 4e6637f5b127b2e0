#include "icalendar/event/EventMapping.h"

#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <vector>

namespace quenbrook::icalendar {
namespace {

using test::at;

model::Event eventWith(const std::string& lines) {
    const auto found = findEvent(test::eventStream("DTSTART:20260105T100000Z\n" + lines), "e");
    if (!found) {
        throw std::invalid_argument(lines);
    }
    return found->event;
}

TEST(MappedEvents, HaveTheirTexts) {
    const model::Event event =
        eventWith("SUMMARY;LANGUAGE=de:Essen\\, lange\nLOCATION:Caf\xC3\xA9\\; back\n"
                  "DESCRIPTION:one\\ntwo \\\\ three\xFF\n");
    EXPECT_EQ(event.title, "Essen, lange");
    EXPECT_EQ(event.location, "Caf\xC3\xA9; back");
    EXPECT_EQ(event.notes, "one\ntwo \\ three\xEF\xBF\xBD");
    EXPECT_FALSE(event.identifier);
    EXPECT_FALSE(event.calendar);
    EXPECT_FALSE(event.handle);
}

TEST(MappedEvents, TellAbsentTextsFromEmptyOnes) {
    const model::Event without = eventWith("");
    EXPECT_FALSE(without.title || without.location || without.notes);
    const model::Event empty = eventWith("SUMMARY:\nLOCATION:\nDESCRIPTION:\n");
    EXPECT_EQ(empty.title, "");
    EXPECT_EQ(empty.location, "");
    EXPECT_EQ(empty.notes, "");
}

TEST(MappedEvents, KeepTheWhiteSpaceOfTextsOnly) {
    const model::Event event = eventWith("SUMMARY: a \nLOCATION:b\t\nDESCRIPTION: \n"
                                         "ATTENDEE;CN=Jane :mailto:j@example.org \n"
                                         "LAST-MODIFIED:20260105T100000Z \n");
    EXPECT_EQ(event.title, " a ");
    EXPECT_EQ(event.location, "b\t");
    EXPECT_EQ(event.notes, " ");
    EXPECT_EQ(event.participants,
        (std::vector<model::Participant>{{"mailto:j@example.org", "Jane ", 1}}));
    EXPECT_EQ(event.lastModified, at("2026-01-05T10:00:00Z"));
}

TEST(MappedEvents, DoNotTakeTheTextsOfTheirAlarms) {
    const model::Event event = eventWith(
        "BEGIN:VALARM\nSUMMARY:alarm\nDESCRIPTION:alarm\nATTENDEE:mailto:a@b\nEND:VALARM\n");
    EXPECT_FALSE(event.title || event.notes);
    EXPECT_TRUE(event.participants.empty());
}

struct StatusCase {
    std::string_view parameters;
    std::int64_t status;
};
constexpr StatusCase statusCases[] = {
    {"", 1},
    {";PARTSTAT=NEEDS-ACTION", 1},
    {";PARTSTAT=ACCEPTED", 2},
    {";PARTSTAT=DECLINED", 3},
    {";PARTSTAT=TENTATIVE", 4},
    {";PARTSTAT=DELEGATED", 5},
    {";PARTSTAT=COMPLETED", 6},
    {";PARTSTAT=IN-PROCESS", 7},
    {";partstat=accepted", 2},
    {";PARTSTAT=\"ACCEPTED\"", 2},
    {";PARTSTAT=X-MAYBE", 0},
    {";PARTSTAT=", 0},
    {";PARTSTAT=ACCEPTED ", 2},
};

TEST(MappedParticipants, HaveTheNumberOfTheirStatus) {
    for (const StatusCase& row : statusCases) {
        const model::Event event =
            eventWith("ATTENDEE" + std::string(row.parameters) + ":mailto:j@example.org\n");
        ASSERT_EQ(event.participants.size(), 1u);
        EXPECT_EQ(event.participants[0].status, row.status) << row.parameters;
    }
}

TEST(MappedParticipants, KeepTheirOrderUrlAndName) {
    const model::Event event = eventWith("ATTENDEE;CN=\"Doe: Jane; x\":mailto:j@example.org\n"
                                         "ORGANIZER;CN=Boss:mailto:boss@example.org\n"
                                         "attendee:tel:+49-30-1\nATTENDEE;CN=^'Al^':\n");
    EXPECT_EQ(event.participants,
        (std::vector<model::Participant>{{"mailto:j@example.org", "Doe: Jane; x", 1},
            {"tel:+49-30-1", std::nullopt, 1}, {"", "\"Al\"", 1}}));
}

struct AvailabilityCase {
    std::string_view lines;
    std::int64_t availability;
};
constexpr AvailabilityCase availabilityCases[] = {
    {"", 0},
    {"TRANSP:OPAQUE\n", 0},
    {"TRANSP:TRANSPARENT\n", 1},
    {"transp:transparent\n", 1},
    {"TRANSP:X-GLASS\n", 0},
    {"X-MICROSOFT-CDO-BUSYSTATUS:BUSY\n", 0},
    {"X-MICROSOFT-CDO-BUSYSTATUS:FREE\n", 1},
    {"X-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE\n", 2},
    {"X-MICROSOFT-CDO-BUSYSTATUS:OOF\n", 3},
    {"X-MICROSOFT-CDO-BUSYSTATUS:oof\n", 3},
    {"X-MICROSOFT-CDO-BUSYSTATUS:OOF \n", 3},
    {"TRANSP:TRANSPARENT\t\n", 1},
    {"TRANSP:TRANSPARENT\nX-MICROSOFT-CDO-BUSYSTATUS:OOF\n", 3},
    {"X-MICROSOFT-CDO-BUSYSTATUS:BUSY\nTRANSP:TRANSPARENT\n", 0},
};

TEST(MappedEvents, HaveTheNumberOfTheirAvailability) {
    for (const AvailabilityCase& row : availabilityCases) {
        EXPECT_EQ(eventWith(std::string(row.lines)).availability, row.availability) << row.lines;
    }
}

TEST(MappedEvents, CountTheirAlarms) {
    EXPECT_EQ(eventWith("").alarmCount, 0u);
    EXPECT_EQ(eventWith("BEGIN:VALARM\nEND:VALARM\nBEGIN:X-OTHER\nEND:X-OTHER\n"
                        "BEGIN:valarm\nBEGIN:VALARM\nEND:VALARM\nEND:valarm\n")
                  .alarmCount,
        2u);
    EXPECT_EQ(eventWith("BEGIN:VALARM\nACTION:NONE\nTRIGGER;VALUE=DATE-TIME:19760401T005545Z\n"
                        "END:VALARM\nBEGIN:VALARM\naction:none\nEND:VALARM\n")
                  .alarmCount,
        0u);
    EXPECT_EQ(eventWith("BEGIN:VALARM\nACTION:NONE\nEND:VALARM\nBEGIN:VALARM\n"
                        "ACTION:DISPLAY\nEND:VALARM\n")
                  .alarmCount,
        1u);
}

struct ModifiedCase {
    std::string_view lines;
    std::optional<std::string_view> instant;
};
constexpr ModifiedCase modifiedCases[] = {
    {"", std::nullopt},
    {"LAST-MODIFIED:20260102T030405Z\n", "2026-01-02T03:04:05Z"},
    {"LAST-MODIFIED:20260102T030405\n", "2026-01-02T03:04:05Z"},
    {"DTSTAMP:20250102T030405Z\nLAST-MODIFIED:20260102T030405Z\n", "2026-01-02T03:04:05Z"},
    {"LAST-MODIFIED:20260102\n", std::nullopt},
    {"LAST-MODIFIED:yesterday\n", std::nullopt},
    {"LAST-MODIFIED:\n", std::nullopt},
};

TEST(MappedEvents, TellWhenTheyWereLastModified) {
    const support::ScopedTimeZone local("Europe/Berlin");
    for (const ModifiedCase& row : modifiedCases) {
        const auto modified = eventWith(std::string(row.lines)).lastModified;
        EXPECT_EQ(modified ? std::optional(test::written(*modified)) : std::nullopt, row.instant)
            << row.lines;
    }
}

struct RuleCase {
    std::string rule;
    model::RecurrenceRule mapped;
};

TEST(MappedRules, KeepWhatThePlatformKnows) {
    const std::vector<RuleCase> cases{
        {"FREQ=DAILY", {.frequency = 0, .interval = 1}},
        {"FREQ=WEEKLY;INTERVAL=2", {.frequency = 1, .interval = 2}},
        {"FREQ=MONTHLY;COUNT=10",
            {.frequency = 2, .end = model::RecurrenceEnd::withOccurrenceCount(10)}},
        {"FREQ=YEARLY;UNTIL=20300105T100000Z",
            {.frequency = 3, .end = model::RecurrenceEnd::withEndDate(at("2030-01-05T10:00:00Z"))}},
        {"FREQ=WEEKLY;BYDAY=SU,MO,TU,WE,TH,FR,SA",
            {.frequency = 1, .daysOfTheWeek = {1, 2, 3, 4, 5, 6, 7}}},
        {"FREQ=WEEKLY;BYDAY=FR,MO,SU", {.frequency = 1, .daysOfTheWeek = {6, 2, 1}}},
        {"FREQ=MONTHLY;BYDAY=-1FR,2MO", {.frequency = 2, .daysOfTheWeek = {6, 2}}},
        {"FREQ=MONTHLY;BYMONTHDAY=31,-1,15", {.frequency = 2, .daysOfTheMonth = {31, -1, 15}}},
        {"FREQ=YEARLY;BYMONTH=12,1", {.frequency = 3, .monthsOfTheYear = {12, 1}}},
    };
    for (const RuleCase& row : cases) {
        const model::Event event = eventWith("RRULE:" + row.rule + "\n");
        ASSERT_EQ(event.recurrenceRules.size(), 1u) << row.rule;
        EXPECT_EQ(event.recurrenceRules[0], row.mapped) << row.rule;
    }
}

TEST(MappedRules, FinerThanDailyAreOutsideOfTheTable) {
    for (const char* frequency : {"HOURLY", "MINUTELY", "SECONDLY"}) {
        const model::Event event = eventWith("RRULE:FREQ=" + std::string(frequency) + ";COUNT=2\n");
        ASSERT_EQ(event.recurrenceRules.size(), 1u);
        EXPECT_TRUE(
            event.recurrenceRules[0].frequency < 0 || event.recurrenceRules[0].frequency > 3)
            << frequency;
    }
}

TEST(MappedRules, AreAllThereInTheirOrder) {
    const model::Event event =
        eventWith("RRULE:FREQ=YEARLY\nRRULE:FREQ=NEVER\nRRULE:FREQ=DAILY;COUNT=2\n");
    ASSERT_EQ(event.recurrenceRules.size(), 2u);
    EXPECT_EQ(event.recurrenceRules[0].frequency, 3);
    EXPECT_EQ(event.recurrenceRules[1].frequency, 0);
}

struct EndCase {
    std::string_view start;
    std::string_view until;
    // The machine's zone is Europe/Berlin.
    std::string_view end;
};
// The last instance starts at or before it.
constexpr EndCase endCases[] = {
    {";TZID=America/New_York:20260105T100000", "20260110T150000Z", "2026-01-10T15:00:00Z"},
    {";TZID=America/New_York:20260105T100000", "20260110T100000", "2026-01-10T15:00:00Z"},
    {";TZID=America/New_York:20260105T100000", "20260110", "2026-01-11T04:59:59Z"},
    {":20260105T100000", "20260110T100000", "2026-01-10T09:00:00Z"},
    {":20260105T100000", "20260110T100000Z", "2026-01-10T09:00:00Z"},
    {":20260105T100000", "20260110", "2026-01-10T22:59:59Z"},
    {":20260105T100000Z", "20260110", "2026-01-10T23:59:59Z"},
    {";VALUE=DATE:20260105", "20260110", "2026-01-09T23:00:00Z"},
    {";VALUE=DATE:20260105", "20260110T000000Z", "2026-01-09T23:00:00Z"},
    {";VALUE=DATE:20260105", "20260110T120000", "2026-01-09T23:00:00Z"},
};

TEST(MappedRules, EndNoSoonerThanTheirLastOccurrence) {
    const support::ScopedTimeZone local("Europe/Berlin");
    for (const EndCase& row : endCases) {
        const std::string text =
            test::eventStream("DTSTART" + std::string(row.start) +
                              "\nRRULE:FREQ=DAILY;UNTIL=" + std::string(row.until) + "\n");
        const auto found = findEvent(text, "e");
        ASSERT_TRUE(found);
        ASSERT_EQ(found->event.recurrenceRules.size(), 1u);
        const auto& end = found->event.recurrenceRules[0].end;
        ASSERT_TRUE(end && end->endDate) << row.until;
        EXPECT_EQ(end->occurrenceCount, 0);
        EXPECT_EQ(test::written(*end->endDate), row.end) << row.start << " " << row.until;
        const auto spans = test::spansIn(text, "2026-01-01T00:00:00Z", "2026-02-01T00:00:00Z");
        EXPECT_EQ(spans.size(), 6u) << row.start << " " << row.until;
        EXPECT_LE(spans.back().substr(0, 20), row.end);
    }
}

TEST(MappedRules, AreThoseOfTheSeriesForExceptionsToo) {
    const std::string text =
        test::stream("BEGIN:VEVENT\nUID:e\nDTSTART:20260105T100000Z\nRRULE:FREQ=DAILY;COUNT=2\n"
                     "SUMMARY:series\nEND:VEVENT\nBEGIN:VEVENT\nUID:e\n"
                     "RECURRENCE-ID:20260105T100000Z\nDTSTART:20260105T120000Z\n"
                     "SUMMARY:exception\nEND:VEVENT\n");
    const auto found = findEvent(text, "e");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->event.title, "exception");
    ASSERT_EQ(found->event.recurrenceRules.size(), 1u);
    EXPECT_EQ(found->event.recurrenceRules[0].end, model::RecurrenceEnd::withOccurrenceCount(2));
}

TEST(MappedEvents, AreAllDayByTheirDates) {
    const auto isAllDay = [](std::string_view lines) {
        return findEvent(test::eventStream(lines), "e")->event.isAllDay;
    };
    EXPECT_TRUE(isAllDay("DTSTART;VALUE=DATE:20260105\n"));
    EXPECT_TRUE(isAllDay("DTSTART:20260105\n"));
    EXPECT_FALSE(isAllDay("DTSTART:20260105T000000\nDTEND:20260106T000000\n"));
    EXPECT_FALSE(isAllDay("DTSTART:20260105T000000Z\nDURATION:P1D\n"));
}

} // namespace
} // namespace quenbrook::icalendar
