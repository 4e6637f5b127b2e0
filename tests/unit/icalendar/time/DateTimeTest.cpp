#include "icalendar/time/DateTime.h"

#include "icalendar/text/Component.h"
#include "tests/support/ScopedVariable.h"
#include "tests/unit/icalendar/CalendarText.h"

#include <gtest/gtest.h>

#include <random>

namespace quenbrook::icalendar {
namespace {

using std::chrono::hours;
using test::at;
using test::wall;

struct ValueCase {
    std::string_view parameters;
    std::string_view value;
    DateTime::Kind kind;
    std::string_view zone;
    std::string_view instant;
};
// The machine's zone is Europe/Berlin.
constexpr ValueCase valueCases[] = {
    {"VALUE=DATE", "20260701", DateTime::Kind::date, "", "2026-06-30T22:00:00Z"},
    {"", "20260701", DateTime::Kind::date, "", "2026-06-30T22:00:00Z"},
    {"TZID=America/New_York", "20260701", DateTime::Kind::date, "", "2026-06-30T22:00:00Z"},
    {"", "20260701T120000", DateTime::Kind::floating, "", "2026-07-01T10:00:00Z"},
    {"TZID=", "20260701T120000", DateTime::Kind::floating, "", "2026-07-01T10:00:00Z"},
    {"", "20260701T120000Z", DateTime::Kind::utc, "", "2026-07-01T12:00:00Z"},
    {"VALUE=DATE-TIME", "20260701t120000z", DateTime::Kind::utc, "", "2026-07-01T12:00:00Z"},
    {"TZID=America/New_York", "20260701T120000Z", DateTime::Kind::utc, "", "2026-07-01T12:00:00Z"},
    {"TZID=America/New_York", "20260701T120000", DateTime::Kind::zoned, "America/New_York",
        "2026-07-01T16:00:00Z"},
    {"tzid=\"America/New_York\"", "20260701T120000", DateTime::Kind::zoned, "America/New_York",
        "2026-07-01T16:00:00Z"},
    {"VALUE=DATE", "20260701 ", DateTime::Kind::date, "", "2026-06-30T22:00:00Z"},
    {"", " 20260701T120000\t", DateTime::Kind::floating, "", "2026-07-01T10:00:00Z"},
    {"", "20260701T120000Z \r", DateTime::Kind::utc, "", "2026-07-01T12:00:00Z"},
    {"TZID=America/New_York ", "20260701T120000", DateTime::Kind::zoned, "America/New_York ",
        "2026-07-01T16:00:00Z"},
    {"TZID=Nowhere", "20260701T120000", DateTime::Kind::zoned, "Nowhere", "2026-07-01T10:00:00Z"},
};

class DateTimeValues : public testing::Test {
    support::ScopedTimeZone local_{"Europe/Berlin"};

  protected:
    TimeZones zones_{Zone::local(), "", {}};
};

TEST_F(DateTimeValues, MeanInstantsByTheirFormAndZone) {
    for (const ValueCase& row : valueCases) {
        const auto value = parseDateTimeValue({"DTSTART", row.parameters, ""}, row.value, zones_);
        ASSERT_TRUE(value) << row.parameters << ":" << row.value;
        EXPECT_EQ(value->kind, row.kind) << row.parameters << ":" << row.value;
        EXPECT_EQ(value->zoneIdentifier, row.zone) << row.parameters << ":" << row.value;
        EXPECT_EQ(value->instant(), at(row.instant)) << row.parameters << ":" << row.value;
    }
}

TEST_F(DateTimeValues, MeanAnotherInstantAtAnotherTime) {
    DateTime value = parseDateTimeValue({"DTSTART", "", ""}, "20260101T120000", zones_).value();
    EXPECT_EQ(value.instant(), at("2026-01-01T11:00:00Z"));
    const DateTime later = value.withTime(*parseDateTime("20260701T120000"));
    EXPECT_EQ(later.instant(), at("2026-07-01T10:00:00Z"));
    value.time += hours(1);
    EXPECT_EQ(value.instant(), at("2026-01-01T12:00:00Z"));
    EXPECT_EQ(later.instant(), at("2026-07-01T10:00:00Z"));
}

TEST_F(DateTimeValues, ThatCannotBeReadAreNone) {
    for (const std::string_view value :
        {"", "Z", "20260701T", "20260701T1200", "20260701T120000ZZ", "20260701T120000+0200",
            "20260701Z", " ", "20260701T120000 Z", "2026 0701", "20260230", "tomorrow"}) {
        EXPECT_FALSE(parseDateTimeValue({"DTSTART", "", ""}, value, zones_)) << value;
    }
}

struct PropertyCase {
    DateTime::Kind kind;
    std::string_view zone;
    std::string_view line;
};
constexpr PropertyCase propertyCases[] = {
    {DateTime::Kind::date, "", "DTSTART;VALUE=DATE:00070203"},
    {DateTime::Kind::floating, "", "DTSTART:00070203T040506"},
    {DateTime::Kind::utc, "", "DTSTART:00070203T040506Z"},
    {DateTime::Kind::zoned, "Europe/Berlin", "DTSTART;TZID=Europe/Berlin:00070203T040506"},
    {DateTime::Kind::zoned, "W. Europe", "DTSTART;TZID=W. Europe:00070203T040506"},
    {DateTime::Kind::zoned, "a:b", "DTSTART;TZID=\"a:b\":00070203T040506"},
    {DateTime::Kind::zoned, "a;b", "DTSTART;TZID=\"a;b\":00070203T040506"},
    {DateTime::Kind::zoned, "a,b", "DTSTART;TZID=\"a,b\":00070203T040506"},
    // What no parameter can hold is written as RFC 6868 has it.
    {DateTime::Kind::zoned, "a\"b^c", "DTSTART;TZID=a^'b^^c:00070203T040506"},
    {DateTime::Kind::zoned, "a\nX-B:c", "DTSTART;TZID=\"a^nX-B:c\":00070203T040506"},
};

TEST(DateTimeProperties, AreWrittenInTheirForm) {
    for (const PropertyCase& row : propertyCases) {
        const LocalTime time = row.kind == DateTime::Kind::date ? wall("0007-02-03T00:00:00Z")
                                                                : wall("0007-02-03T04:05:06Z");
        EXPECT_EQ(dateTimeProperty("DTSTART", {time, row.kind, Zone::utc(), std::string(row.zone)}),
            row.line);
    }
}

TEST(DateTimeProperties, ComeBackAsTheyWereWritten) {
    for (const PropertyCase& row : propertyCases) {
        const auto line = parseContentLine(row.line);
        ASSERT_TRUE(line);
        TimeZones zones(Zone::utc(), "", {});
        const auto value = parseDateTimeValue(*line, line->value, zones);
        ASSERT_TRUE(value) << row.line;
        EXPECT_EQ(value->kind, row.kind) << row.line;
        EXPECT_EQ(value->zoneIdentifier, row.zone) << row.line;
        EXPECT_EQ(dateTimeProperty("DTSTART", *value), row.line);
    }
}

} // namespace
} // namespace quenbrook::icalendar
