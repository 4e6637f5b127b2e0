#include "src/DTOs/WireDates.h"

#include "tests/unit/UnitSupport.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

std::string echoed(std::string_view text) {
    return isoFormatterWithFractional().stringFromDate(parseISO8601(text));
}

TEST(WireDates, ParseWithAndWithoutFraction) {
    EXPECT_EQ(echoed("2025-03-14T09:30:00.250Z"), "2025-03-14T09:30:00.250Z");
    EXPECT_EQ(echoed("2025-03-14T09:30:00Z"), "2025-03-14T09:30:00.000Z");
}

TEST(WireDates, AreWrittenInUTC) {
    EXPECT_EQ(echoed("2025-03-14T11:30:00+02:00"), "2025-03-14T09:30:00.000Z");
    EXPECT_EQ(echoed("2025-03-14T11:30:00.5+02:00"), "2025-03-14T09:30:00.500Z");
    EXPECT_EQ(echoed("2025-03-14T11:30:00+0200"), "2025-03-14T09:30:00.000Z");
    EXPECT_EQ(echoed("2025-03-14T11:30:00.5+02"), "2025-03-14T09:30:00.500Z");
    EXPECT_EQ(echoed("2025-03-13T24:00:00z"), "2025-03-14T00:00:00.000Z");
}

TEST(WireDates, ReportTheTextAsReceivedWhenItIsNone) {
    for (const std::string text : {"", "2025-03-14", "2025-03-14T09:30:00", "next tuesday",
             " 2025-03-14T09:30:00Z", "2025-02-30T00:00:00Z"}) {
        EXPECT_EQ(failureOf([&] { parseISO8601(text); }),
            "INVALID_DATE: Cannot parse ISO 8601 date: " + text);
    }
}

TEST(WireDates, KeepANulInTheReport) {
    const std::string text("a\0b", 3);
    EXPECT_EQ(failureOf([&] { parseISO8601(text); }),
        "INVALID_DATE: Cannot parse ISO 8601 date: " + text);
}

TEST(WireDates, ShareTheirFormatters) {
    EXPECT_EQ(&isoFormatterWithFractional(), &isoFormatterWithFractional());
    EXPECT_EQ(&isoFormatterWithoutFractional(), &isoFormatterWithoutFractional());
    EXPECT_EQ(isoFormatterWithoutFractional().stringFromDate(at("2025-03-14T09:30:00.250Z")),
        "2025-03-14T09:30:00Z");
}

} // namespace
} // namespace quenbrook::tests
