#include "icalendar/stream/StreamScan.h"

#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <vector>

namespace quenbrook::icalendar {
namespace {

using test::crlf;

constexpr std::string_view good = "BEGIN:VEVENT\nUID:good\nDTSTART:20260101T100000Z\nEND:VEVENT\n";

struct ScanCase {
    std::string_view description;
    // @ stands for the good event.
    std::string_view text;
    std::vector<std::string> uids;
    std::size_t timeZones = 0;
    std::size_t others = 0;
    std::size_t broken = 0;
};

const std::vector<ScanCase> scanCases{
    {"nothing", "", {}},
    {"only the wrapping", "BEGIN:VCALENDAR\nEND:VCALENDAR\n", {}},
    {"two events", "BEGIN:VCALENDAR\n@BEGIN:VEVENT\nUID:2\nEND:VEVENT\nEND:VCALENDAR\n",
        {"good", "2"}},
    {"an event without UID", "BEGIN:VCALENDAR\nBEGIN:VEVENT\nEND:VEVENT\n@END:VCALENDAR\n",
        {"", "good"}},
    {"every kind of component",
        "BEGIN:VCALENDAR\nBEGIN:VTIMEZONE\nBEGIN:STANDARD\nEND:STANDARD\nEND:VTIMEZONE\n"
        "BEGIN:VTODO\nUID:t\nEND:VTODO\nBEGIN:VJOURNAL\nEND:VJOURNAL\nBEGIN:X-OWN\nEND:X-OWN\n"
        "BEGIN:VFREEBUSY\nEND:VFREEBUSY\n@END:VCALENDAR\n",
        {"good"}, 1, 4},
    {"lower case",
        "begin:vcalendar\nbegin:vevent\nuid:1\nend:vevent\nBegin:vTodo\nEnd:VtOdO\nend:vcalendar\n",
        {"1"}, 0, 1},
    {"an event without its END before a good one",
        "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:bad\n@END:VCALENDAR\n", {"good"}, 0, 0, 1},
    {"an event without its END at the end",
        "BEGIN:VCALENDAR\n@BEGIN:VEVENT\nUID:bad\nEND:VCALENDAR\n", {"good"}, 0, 0, 1},
    {"a file cut short", "BEGIN:VCALENDAR\n@BEGIN:VEVENT\nUID:bad\nDTSTA", {"good"}, 0, 0, 1},
    {"a file cut short after a good event", "BEGIN:VCALENDAR\n@", {"good"}},
    {"an event within an event",
        "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:outer\n@UID:outer\nEND:VEVENT\nEND:VCALENDAR\n",
        {"good"}, 0, 0, 1},
    {"an alarm without its END",
        "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:bad\nBEGIN:VALARM\nEND:VEVENT\n@END:VCALENDAR\n",
        {"good"}, 0, 0, 1},
    {"an END too many", "BEGIN:VCALENDAR\nEND:VEVENT\n@END:VALARM\nEND:VEVENT\n@END:VCALENDAR\n",
        {"good", "good"}},
    {"an END of another component",
        "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:bad\nEND:VTODO\nEND:VEVENT\n@END:VCALENDAR\n", {"good"},
        0, 0, 1},
    {"two calendars", "BEGIN:VCALENDAR\n@END:VCALENDAR\nBEGIN:VCALENDAR\n@END:VCALENDAR\n",
        {"good", "good"}},
    {"two calendars of which the first has no END",
        "BEGIN:VCALENDAR\n@BEGIN:VCALENDAR\n@END:VCALENDAR\n", {"good", "good"}},
    {"a component outside of the calendar",
        "BEGIN:VEVENT\nUID:before\nEND:VEVENT\nBEGIN:VCALENDAR\n@END:VCALENDAR\n"
        "BEGIN:VEVENT\nUID:after\nEND:VEVENT\nBEGIN:VTODO\nEND:VTODO\n",
        {"before", "good", "after"}, 0, 1},
    {"events without any calendar", "@BEGIN:VTIMEZONE\nEND:VTIMEZONE\n@", {"good", "good"}, 1},
    {"an event without its END outside of the calendar",
        "BEGIN:VEVENT\nUID:bad\nBEGIN:VCALENDAR\n@END:VCALENDAR\nBEGIN:X-OWN\nBEGIN:VALARM\n",
        {"good"}, 0, 0, 2},
    {"a calendar without its BEGIN", "VERSION:2.0\n@END:VCALENDAR\n", {"good"}},
    {"lines that are none",
        "hello\n\nBEGIN:VCALENDAR\nBEGIN\nEND\nBEGIN:\nU\nD\n\n "
        "\n:\n;\n@END:\nEND:VCALENDAR\nbye\n",
        {"good"}},
    {"the UID of an alarm",
        "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:1\nBEGIN:VALARM\nUID:alarm\nEND:VALARM\nEND:VEVENT\n"
        "END:VCALENDAR\n",
        {"1"}},
    {"the UID after an alarm",
        "BEGIN:VCALENDAR\nBEGIN:VEVENT\nBEGIN:VALARM\nEND:VALARM\nUID:1\nEND:VEVENT\nEND:"
        "VCALENDAR\n",
        {"1"}},
    {"two UIDs, of which the first counts",
        "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:1\nUID:2\nEND:VEVENT\nEND:VCALENDAR\n", {"1"}},
    {"a UID with parameter and escapes",
        "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID;X-A=\"b:c\":1\\,2\nEND:VEVENT\nEND:VCALENDAR\n",
        {"1,2"}},
    {"folded lines",
        "BEG\n IN:VCAL\n\tENDAR\nB\n EGIN:VEVENT\nU\n ID:\n fo\n lded\nEND:\n "
        "VEVENT\nEND:VCALENDAR\n",
        {"folded"}},
    {"a folded line whose rest looks like a property",
        "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:1\nSUMMARY:x\n UID:2\n "
        "END:VEVENT\nEND:VEVENT\nEND:VCALENDAR\n",
        {"1"}},
    {"no end of the last line", "BEGIN:VCALENDAR\n@END:VCALENDAR", {"good"}},
    {"a byte order mark",
        "\xEF\xBB\xBF"
        "BEGIN:VCALENDAR\n@END:VCALENDAR\n",
        {"good"}},
};

std::string filledIn(std::string_view text) {
    std::string filled;
    for (const char c : text) {
        filled += c == '@' ? std::string(good) : std::string(1, c);
    }
    return filled;
}

TEST(StreamScans, KeepWhatIsGoodBesideWhatIsBroken) {
    for (const ScanCase& row : scanCases) {
        for (const std::string& text : {filledIn(row.text), crlf(filledIn(row.text))}) {
            const StreamScan scan = scanStream(text);
            std::vector<std::string> uids;
            for (const EventSummary& event : scan.events) {
                uids.push_back(uidOf(text, event));
            }
            EXPECT_EQ(uids, row.uids) << row.description;
            EXPECT_EQ(scan.timeZones.size(), row.timeZones) << row.description;
            EXPECT_EQ(scan.others, row.others) << row.description;
            EXPECT_EQ(scan.broken, row.broken) << row.description;
        }
    }
}

TEST(StreamScans, TellWhichEventsStandOutsideOfACalendar) {
    const std::string event(good);
    const std::string text = event + "BEGIN:VCALENDAR\n" + event + "END:VCALENDAR\n" + event +
                             "BEGIN:VCALENDAR\n" + event;
    std::vector<bool> inCalendar;
    for (const EventSummary& each : scanStream(text).events) {
        inCalendar.push_back(each.isInCalendar);
    }
    EXPECT_EQ(inCalendar, (std::vector<bool>{false, true, false, true}));
}

TEST(StreamScans, KnowThePlaceOfEveryComponent) {
    const std::string zone = crlf("BEGIN:VTIMEZONE\nTZID:a\n b\nEND:VTIMEZONE\n");
    const std::string event = crlf("BEGIN:VEVENT\nUID:1\nSUMMARY:x\n y\nEND:VEV\n ENT\n");
    const std::string text = test::stream("").substr(0, 17) + zone + event + "END:VCALENDAR\r\n";
    const StreamScan scan = scanStream(text);
    const auto bytes = [&](TextRange range) {
        return text.substr(range.begin, range.end - range.begin);
    };
    ASSERT_EQ(scan.timeZones.size(), 1u);
    EXPECT_EQ(bytes(scan.timeZones[0]), zone);
    ASSERT_EQ(scan.events.size(), 1u);
    EXPECT_EQ(bytes(scan.events[0].range), event);
}

TEST(StreamScans, SurviveNulBytesAndBinaryGarbage) {
    std::string text = "BEGIN:VCALENDAR\r\n";
    for (int byte = 0; byte < 256; ++byte) {
        text += std::string(1, static_cast<char>(byte)) + std::string("\0:\r\n", 4);
    }
    text += crlf(good) + "END:VCALENDAR\r\n";
    const StreamScan scan = scanStream(text);
    ASSERT_EQ(scan.events.size(), 1u);
    EXPECT_EQ(uidOf(text, scan.events[0]), "good");
}

TEST(StreamScans, OfDeepNestingComeToAnEnd) {
    std::string text = "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:deep\n";
    for (int i = 0; i < 200'000; ++i) {
        text += "BEGIN:X\n";
    }
    text += std::string(good) + "END:VCALENDAR\n";
    const StreamScan scan = scanStream(text);
    ASSERT_EQ(scan.events.size(), 1u);
    EXPECT_EQ(uidOf(text, scan.events[0]), "good");
    EXPECT_EQ(scan.broken, 1u);
}

using std::chrono::sys_days;

constexpr sys_days day(int year, unsigned month, unsigned dayOfMonth) {
    return sys_days(
        std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(dayOfMonth));
}

struct WindowCase {
    std::string_view description;
    std::string_view lines;
    bool touchesJanuary;
    bool touchesFebruary;
    bool touchesMarch;
};
// Each month is asked for as a whole, without room for zones.
constexpr WindowCase windowCases[] = {
    {"a date in February", "DTSTART:20260210T100000Z\n", false, true, false},
    {"from January to February", "DTSTART:20260120T100000Z\nDTEND:20260201T100000Z\n", true, true,
        false},
    {"whole days", "DTSTART;VALUE=DATE:20260210\nDTEND;VALUE=DATE:20260220\n", false, true, false},
    {"the end first", "DTEND:20260220T100000Z\nDTSTART:20260210T100000Z\n", false, true, false},
    {"a zone with a colon", "DTSTART;TZID=\"a:b\":20260210T100000\n", false, true, false},
    {"a folded date", "DTSTART:2026\n 0210T100000Z\n", false, true, false},
    {"a rule", "DTSTART:20260210T100000Z\nRRULE:FREQ=DAILY\n", false, true, true},
    {"a rule that ends in February",
        "DTSTART:20260110T100000Z\nRRULE:FREQ=DAILY;UNTIL=20260210T100000Z\n", true, true, false},
    {"a duration", "DTSTART:20260110T100000Z\nDURATION:P40D\n", true, true, false},
    {"a duration before the start", "DURATION:P6W\nDTSTART:20260110T100000Z\n", true, true, false},
    {"a duration in hours", "DTSTART:20260131T235900Z\nDURATION:PT1H\n", true, true, false},
    {"a duration into the past", "DTSTART:20260210T100000Z\nDURATION:-P40D\n", false, true, false},
    {"a duration that cannot be read", "DTSTART:20260110T100000Z\nDURATION:long\n", true, true,
        true},
    {"an end and a duration, of which the end may not be readable",
        "DTSTART:20260110T100000Z\nDTEND:20260111T1\nDURATION:P40D\n", true, true, false},
    {"a rule that ends in January, of events that last",
        "DTSTART:20260101T100000Z\nDURATION:P20D\nRRULE:FREQ=DAILY;UNTIL=20260120T100000Z\n", true,
        true, false},
    {"added dates, which must be read", "DTSTART:20260110T100000Z\nRDATE:20260310T100000Z\n", true,
        true, true},
    {"an exception", "RECURRENCE-ID:20260110T100000Z\nDTSTART:20260210T100000Z\n", false, true,
        false},
    {"an exception for all later ones",
        "RECURRENCE-ID;range=ThisAndFuture:20260110T100000Z\nDTSTART:20260210T100000Z\n", true,
        true, true},
    {"no date that can be read", "DTSTART:tomorrow\n", true, true, true},
    {"two rules of which one ends",
        "DTSTART:20260110T100000Z\nRRULE:FREQ=DAILY;UNTIL=20260210T100000Z\nRRULE:FREQ=WEEKLY\n",
        true, true, true},
    {"a rule that ends before the event begins",
        "DTSTART:20260210T100000Z\nRRULE:FREQ=DAILY;UNTIL=20200101T000000Z\n", false, true, false},
    {"two starts, of which the first counts",
        "DTSTART:20260210T100000Z\nDTSTART:20260310T100000Z\n", false, true, false},
    {"two starts, of which the first cannot be read",
        "DTSTART:tomorrow\nDTSTART:20260210T100000Z\n", true, true, true},
    {"two ends, of which the first cannot be read",
        "DTSTART:20260110T100000Z\nDTEND:later\nDTEND:20260111T100000Z\n", true, true, true},
    {"two ends, of which the first counts",
        "DTSTART:20260110T100000Z\nDTEND:20260210T100000Z\nDTEND:20260111T100000Z\n", true, true,
        false},
};

TEST(StreamScans, TellWhichDaysAnEventMayOverlap) {
    for (const WindowCase& row : windowCases) {
        const std::string text = test::eventStream(row.lines);
        const StreamScan scan = scanStream(text);
        ASSERT_EQ(scan.events.size(), 1u);
        const auto touches = [&](unsigned month, unsigned last) {
            return scan.events[0].mayOverlap({day(2026, month, 1), day(2026, month, last)});
        };
        EXPECT_EQ(touches(1, 31), row.touchesJanuary) << row.description;
        EXPECT_EQ(touches(2, 28), row.touchesFebruary) << row.description;
        EXPECT_EQ(touches(3, 31), row.touchesMarch) << row.description;
    }
}

} // namespace
} // namespace quenbrook::icalendar
