#include "icalendar/event/ThisAndFuture.h"

#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"
#include "tests/unit/icalendar/event/SeriesText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace quenbrook::icalendar {
namespace {

using test::at;
using test::mornings;
using test::overrideOf;
using test::spansIn;
using test::stream;

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
        overrideOf(";RANGE=THISANDFUTURE:20200107T100000Z", "20260107T100000Z"));
    EXPECT_EQ(spansIn(text, "2026-01-08T00:00:00Z", "2026-02-01T00:00:00Z"),
        mornings({"08", "09", "10"}));
}

// They must not be gone through for each instance.
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
        lines += overrideOf(
            ";RANGE=THISANDFUTURE:" + digits(from), digits(from + std::chrono::seconds(i % 50)));
    }
    const auto spans = spansIn(stream(lines), "2026-02-01T00:00:00Z", "2026-02-01T01:00:00Z");
    EXPECT_EQ(spans.size(), 60u);
}

} // namespace
} // namespace quenbrook::icalendar
