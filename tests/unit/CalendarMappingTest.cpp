#include "src/DTOs/CalendarMapping.h"

#include "tests/unit/UnitSupport.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace quenbrook::tests {
namespace {

struct TypeWord {
    std::int64_t type;
    std::string_view word;
};

constexpr TypeWord typeWords[] = {
    {0, "local"},
    {1, "exchange"},
    {2, "caldav"},
    {3, "caldav"},
    {4, "subscription"},
    {5, "birthdays"},
    {6, "unknown"},
    {7, "unknown"},
    {-1, "unknown"},
    {std::numeric_limits<std::int64_t>::max(), "unknown"},
    {std::numeric_limits<std::int64_t>::min(), "unknown"},
};

TEST(CalendarMapping, NamesSourceTypes) {
    for (const auto& [type, word] : typeWords) {
        EXPECT_EQ(sourceTypeWord(type), word) << type;
    }
}

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

struct ColorText {
    model::Color color;
    std::string_view text;
};

constexpr ColorText colorTexts[] = {
    {{1.0, 0.231, 0.188}, "#FF3B30"},
    {{1.2, -0.3, 0.5}, "#FF0080"},
    {{0.0, 0.2, 0.5}, "#003380"},
    {{-0.0, 0.999, 1.0}, "#00FFFF"},
    {{notANumber, -notANumber, 0.0}, "#FFFF00"},
    {{infinity, -infinity, 0.0}, "#FF0000"},
    {{0.00195, 0.00197, 0.998}, "#0001FE"},
    {{10.0 / 255, 11.0 / 255, 12.0 / 255}, "#0A0B0C"},
};

TEST(CalendarMapping, WritesColorsAsHexadecimal) {
    for (const auto& [color, text] : colorTexts) {
        EXPECT_EQ(hexColor(color), text);
    }
    EXPECT_EQ(hexColor(std::nullopt), std::nullopt);
}

TEST(CalendarMapping, ReachesEveryByte) {
    for (int byte = 0; byte < 256; ++byte) {
        std::array<char, 8> expected{};
        std::snprintf(expected.data(), expected.size(), "#%02X0000", static_cast<unsigned>(byte));
        EXPECT_EQ(hexColor(model::Color{byte / 255.0, 0, 0}), expected.data());
    }
}

TEST(CalendarMapping, MapsEveryField) {
    model::Calendar calendar = calendarNamed("id", false);
    calendar.source = model::Source{"On This Computer", 0};
    calendar.color = model::Color{1, 1, 1};
    EXPECT_EQ(mapCalendar(calendar),
        (CalendarInfoDTO{"id", "Calendar id", false, "On This Computer", "local", "#FFFFFF"}));
}

TEST(CalendarMapping, LeavesOutBothSourceFieldsWithoutASource) {
    EXPECT_EQ(mapCalendar(calendarNamed("id")),
        (CalendarInfoDTO{"id", "Calendar id", true, std::nullopt, std::nullopt, std::nullopt}));
}

} // namespace
} // namespace quenbrook::tests
