#include "unicode/ISO8601DateFormatter.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace quenbrook::unicode {
namespace {

constexpr ISO8601DateFormatter wholeSeconds(ISO8601FormatOptions::internetDateTime);
constexpr ISO8601DateFormatter fractional(
    ISO8601FormatOptions::internetDateTimeWithFractionalSeconds);

TEST(ISO8601DateFormatter, HasThePlatformsOptionNumbers) {
    EXPECT_EQ(static_cast<unsigned>(ISO8601FormatOptions::internetDateTime), 1907U);
    EXPECT_EQ(
        static_cast<unsigned>(ISO8601FormatOptions::internetDateTimeWithFractionalSeconds), 3955U);
}

struct Accepted {
    std::string_view text;
    // Milliseconds since 1970-01-01T00:00:00Z, from date(1).
    std::int64_t milliseconds;
};

constexpr Accepted acceptedWhole[] = {
    {"1970-01-01T00:00:00Z", 0},
    {"2025-03-14T09:30:00Z", 1741944600000},
    {"2025-03-14T11:30:00+02:00", 1741944600000},
    {"2025-03-14T04:00:00-05:30", 1741944600000},
    {"2025-03-14T09:30:00+00:00", 1741944600000},
    {"2025-03-14T09:30:00-00:00", 1741944600000},
    {"2025-03-15T09:29:00+23:59", 1741944600000},
    {"2025-03-14T09:30:00z", 1741944600000},
    {"2025-03-14T11:30:00+0200", 1741944600000},
    {"2025-03-14T04:00:00-0530", 1741944600000},
    {"2025-03-14T11:30:00+02", 1741944600000},
    {"2025-03-14T04:30:00-05", 1741944600000},
    {"2025-03-14T24:00:00Z", 1741996800000},
    {"2025-03-15T02:00:00+0200", 1741996800000},
    {"2025-03-14T24:00:00-05:00", 1742014800000},
    {"2024-02-28T24:00:00Z", 1709164800000},
    {"2024-12-31T24:00:00Z", 1735689600000},
    {"9999-12-31T24:00:00+00:01", 253402300740000},
    {"1969-12-31T23:59:59Z", -1000},
    {"2000-02-29T00:00:00Z", 951782400000},
    {"2024-02-29T23:59:59Z", 1709251199000},
    {"0001-01-01T00:00:00Z", -62135596800000},
    {"9999-12-31T23:59:59Z", 253402300799000},
};

constexpr Accepted acceptedFractional[] = {
    {"2025-03-14T09:30:00.250Z", 1741944600250},
    {"2025-03-14T09:30:00.2Z", 1741944600200},
    {"2025-03-14T09:30:00.25Z", 1741944600250},
    {"2025-03-14T09:30:00.0009Z", 1741944600000},
    {"2025-03-14T09:30:00.999999999999999999999999999999Z", 1741944600999},
    {"2025-03-14T11:30:00.001+02:00", 1741944600001},
    {"2025-03-14T11:30:00.001+0200", 1741944600001},
    {"2025-03-14T11:30:00.001+02", 1741944600001},
    {"2025-03-14T09:30:00.001z", 1741944600001},
    {"2025-03-14T24:00:00.000Z", 1741996800000},
    {"1969-12-31T23:59:59.999Z", -1},
    {"9999-12-31T23:59:59.999Z", 253402300799999},
};

constexpr std::string_view refusedByBoth[] = {
    "",
    "2025-03-14",
    "2025-03-14T09:30:00",
    "2025-03-14T09:30Z",
    "2025-03-14 09:30:00Z",
    "2025-03-14t09:30:00Z",
    "20250314T093000Z",
    " 2025-03-14T09:30:00Z",
    "2025-03-14T09:30:00Z ",
    "2025-03-14T09:30:00Z\n",
    "2025-03-14T09:30:00ZZ",
    "2025-03-14T09:30:00zz",
    "2025-03-14T09:30:00+",
    "2025-03-14T09:30:00+2",
    "2025-03-14T09:30:00+02:",
    "2025-03-14T09:30:00+020",
    "2025-03-14T09:30:00+02000",
    "2025-03-14T09:30:00+02:00:00",
    "2025-03-14T09:30:00+0200Z",
    "2025-03-14T09:30:00+24",
    "2025-03-14T09:30:00+0260",
    "2025-03-14T09:30:00+02 ",
    "2025-03-14T09:30:00+0200 ",
    "2025-03-14T09:30:00+02:0",
    "2025-03-14T09:30:00+2:00",
    "2025-03-14T09:30:00+24:00",
    "2025-03-14T09:30:00+02:60",
    "2025-03-14T09:30:00+-2:00",
    "2025-03-14T09:30:00 +02:00",
    "2025-03-14T09:30:00,5Z",
    "2025-03-14T09:30:00.Z",
    "2025-03-14T09:30:00.+02:00",
    "2025-03-14T09:30:00.5",
    "2025-03-14T09:30:00.5x",
    "2025-02-29T00:00:00Z",
    "1900-02-29T00:00:00Z",
    "2025-02-30T00:00:00Z",
    "2025-04-31T00:00:00Z",
    "2025-00-10T00:00:00Z",
    "2025-13-10T00:00:00Z",
    "2025-01-00T00:00:00Z",
    "2025-01-32T00:00:00Z",
    "2025-01-01T24:00:01Z",
    "2025-01-01T24:01:00Z",
    "2025-01-01T24:00:00.001Z",
    "2025-01-01T25:00:00Z",
    "2025-02-29T24:00:00Z",
    "9999-12-31T24:00:00Z",
    "2025-01-01T23:60:00Z",
    "2025-01-01T23:59:60Z",
    "2025-1-01T00:00:00Z",
    "+2025-01-01T00:00:00Z",
    "-001-01-01T00:00:00Z",
    "0000-12-31T23:59:59Z",
    "10000-01-01T00:00:00Z",
    "0001-01-01T00:00:00+00:01",
    "9999-12-31T23:59:59-00:01",
    "9999-12-31T23:59:59.999-00:01",
    "２０２５-03-14T09:30:00Z",
    "2025‑03‑14T09:30:00Z",
    "tomorrow",
    "1741944600",
};

std::optional<std::int64_t> parsed(const ISO8601DateFormatter& formatter, std::string_view text) {
    const auto date = formatter.dateFromString(text);
    return date ? std::optional(date->time_since_epoch().count()) : std::nullopt;
}

TEST(ISO8601DateFormatter, ParsesWholeSecondsOnlyWithoutTheFractionalOption) {
    for (const auto& [text, milliseconds] : acceptedWhole) {
        SCOPED_TRACE(text);
        EXPECT_EQ(parsed(wholeSeconds, text), milliseconds);
        EXPECT_EQ(parsed(fractional, text), std::nullopt);
    }
}

TEST(ISO8601DateFormatter, ParsesFractionsOnlyWithTheFractionalOption) {
    for (const auto& [text, milliseconds] : acceptedFractional) {
        SCOPED_TRACE(text);
        EXPECT_EQ(parsed(fractional, text), milliseconds);
        EXPECT_EQ(parsed(wholeSeconds, text), std::nullopt);
    }
}

TEST(ISO8601DateFormatter, RefusesEverythingElse) {
    for (const std::string_view text : refusedByBoth) {
        SCOPED_TRACE(text);
        EXPECT_EQ(parsed(wholeSeconds, text), std::nullopt);
        EXPECT_EQ(parsed(fractional, text), std::nullopt);
    }
    EXPECT_EQ(parsed(wholeSeconds, std::string_view("2025-03-14T09:30:00Z\0", 21)), std::nullopt);
}

TEST(ISO8601DateFormatter, RefusesEveryTextCutShort) {
    const std::string_view text = "2025-03-14T11:30:00.250+02:00";
    const std::string_view withHours = "2025-03-14T11:30:00.250+02";
    for (std::size_t length = 0; length < text.size(); ++length) {
        const std::string_view cut = text.substr(0, length);
        EXPECT_EQ(parsed(fractional, cut).has_value(), cut == withHours) << length;
    }
}

struct Written {
    std::int64_t milliseconds;
    std::string_view fractional;
    std::string_view wholeSeconds;
};

constexpr Written writtenDates[] = {
    {0, "1970-01-01T00:00:00.000Z", "1970-01-01T00:00:00Z"},
    {1741944600000, "2025-03-14T09:30:00.000Z", "2025-03-14T09:30:00Z"},
    {1741944600250, "2025-03-14T09:30:00.250Z", "2025-03-14T09:30:00Z"},
    {-1, "1969-12-31T23:59:59.999Z", "1969-12-31T23:59:59Z"},
    {1709251199007, "2024-02-29T23:59:59.007Z", "2024-02-29T23:59:59Z"},
    {-62135596800000, "0001-01-01T00:00:00.000Z", "0001-01-01T00:00:00Z"},
    {253402300799999, "9999-12-31T23:59:59.999Z", "9999-12-31T23:59:59Z"},
};

TEST(ISO8601DateFormatter, WritesUTC) {
    for (const Written& date : writtenDates) {
        const ISO8601DateFormatter::Instant instant{std::chrono::milliseconds(date.milliseconds)};
        EXPECT_EQ(fractional.stringFromDate(instant), date.fractional);
        EXPECT_EQ(wholeSeconds.stringFromDate(instant), date.wholeSeconds);
    }
}

TEST(ISO8601DateFormatter, ReadsWhatItWrote) {
    // A step that meets every month, hour, minute, second and millisecond.
    constexpr std::int64_t step = 30'123'456'789;
    for (std::int64_t at = -62135596800000; at < 253402300800000; at += step) {
        const ISO8601DateFormatter::Instant instant{std::chrono::milliseconds(at)};
        ASSERT_EQ(fractional.dateFromString(fractional.stringFromDate(instant)), instant) << at;
    }
}

} // namespace
} // namespace quenbrook::unicode
