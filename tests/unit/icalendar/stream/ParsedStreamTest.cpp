#include "icalendar/stream/ParsedStream.h"

#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <string>

namespace quenbrook::icalendar {
namespace {

using test::at;
using test::stream;

std::string lineEvent(const std::string& lines) {
    return "BEGIN:VEVENT\n" + lines + "END:VEVENT\n";
}

std::size_t instancesOf(const Series& series) {
    return series.instancesIn(at("2026-01-01T00:00:00Z"), at("2027-01-01T00:00:00Z")).size();
}

TEST(ParsedStreams, HaveASeriesOfEachUid) {
    const std::string text =
        stream(lineEvent("UID:weekly\nDTSTART:20260105T100000Z\nRRULE:FREQ=WEEKLY;COUNT=3\n") +
               lineEvent("UID:once\nDTSTART:20260105T100000Z\n") +
               lineEvent("UID:weekly\nRECURRENCE-ID:20260112T100000Z\nDTSTART:20270112T100000Z\n") +
               lineEvent("UID:startless\n") + lineEvent("DTSTART:20260105T100000Z\n"));
    ParsedStream parsed(text);
    EXPECT_EQ(instancesOf(*parsed.series("weekly")), 2u);
    EXPECT_EQ(instancesOf(*parsed.series("once")), 1u);
    EXPECT_FALSE(parsed.series("startless"));
    EXPECT_FALSE(parsed.series("other"));
    EXPECT_FALSE(parsed.series(""));
    EXPECT_FALSE(parsed.isExhausted());
}

TEST(ParsedStreams, HaveNoSeriesOfTooManyValues) {
    std::string lines = "UID:e\nDTSTART:20260105T100000Z\n";
    for (int i = 0; i < 201; ++i) {
        lines += "RDATE:20260105T100000Z";
        for (int j = 1; j < 1'000; ++j) {
            lines += ",20260105T100000Z";
        }
        lines += "\n";
    }
    const std::string text = stream(lineEvent(lines));
    EXPECT_FALSE(ParsedStream(text).series("e"));
}

TEST(ParsedStreams, TellWhetherAllOfAnEventStandsInACalendar) {
    const std::string inside = stream(lineEvent("UID:in\nDTSTART:20260105T100000Z\n") +
                                      lineEvent("UID:both\nDTSTART:20260105T100000Z\n"));
    const std::string text = inside + test::crlf(lineEvent("UID:out\nDTSTART:20260105T100000Z\n") +
                                                 lineEvent("UID:both\nDTSTART:20260106T100000Z\n"));
    const ParsedStream parsed(text);
    EXPECT_TRUE(parsed.holdsInCalendar("in"));
    EXPECT_FALSE(parsed.holdsInCalendar("out"));
    EXPECT_FALSE(parsed.holdsInCalendar("both"));
    EXPECT_TRUE(parsed.holdsInCalendar("other"));
}

TEST(ParsedStreams, AreExhaustedByARuleThatIsGivenUp) {
    const std::string text = stream(lineEvent(
        "UID:e\nDTSTART:00010101T000000Z\nRRULE:FREQ=SECONDLY;BYHOUR=1;COUNT=2147483647\n"));
    ParsedStream parsed(text);
    const auto series = parsed.series("e");
    EXPECT_FALSE(parsed.isExhausted());
    EXPECT_EQ(instancesOf(*series), 0u);
    EXPECT_TRUE(parsed.isExhausted());
}

} // namespace
} // namespace quenbrook::icalendar
