#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "unicode/Text.h"
#include "unicode/WindowsZones.h"

// The program is linked with a few items of ICU's data: these are the questions that need them.

namespace quenbrook::unicode {
namespace {

TEST(IcuData, HasTheRulesOfGraphemeClusters) {
    const std::string flag = "🇫🇷";
    const std::string family = "👩‍👩‍👧";
    EXPECT_EQ(graphemeClusters(flag + family, 9), (std::vector<std::string_view>{flag, family}));
}

TEST(IcuData, HasTheZonesOfWindows) {
    EXPECT_EQ(zoneNameOfWindowsZone("W. Europe Standard Time"), "Europe/Berlin");
    EXPECT_EQ(zoneNameOfWindowsZone("Middle of Nowhere Standard Time"), std::nullopt);
}

} // namespace
} // namespace quenbrook::unicode
