#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include "platform/Text.h"

// The program is linked with a few items of ICU's data: these are the questions that need them.

namespace quenbrook::platform {
namespace {

std::string zoneOfWindows(const char* name) {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString zone;
    icu::TimeZone::getIDForWindowsID(icu::UnicodeString(name), nullptr, zone, status);
    EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
    std::string text;
    return zone.toUTF8String(text);
}

TEST(IcuData, HasTheRulesOfGraphemeClusters) {
    const std::string flag = "🇫🇷";
    const std::string family = "👩‍👩‍👧";
    EXPECT_EQ(graphemeClusters(flag + family, 9), (std::vector<std::string_view>{flag, family}));
}

TEST(IcuData, HasTheZonesOfWindows) {
    EXPECT_EQ(zoneOfWindows("Eastern Standard Time"), "America/New_York");
    EXPECT_EQ(zoneOfWindows("W. Europe Standard Time"), "Europe/Berlin");
    EXPECT_EQ(zoneOfWindows("China Standard Time"), "Asia/Shanghai");
    EXPECT_EQ(zoneOfWindows("Middle of Nowhere Standard Time"), "");
}

} // namespace
} // namespace quenbrook::platform
