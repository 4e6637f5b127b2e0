#include "unicode/WindowsZones.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include <unicode/localpointer.h>
#include <unicode/ures.h>

namespace quenbrook::unicode {
namespace {

struct ZoneCase {
    std::string name;
    std::optional<std::string> zone;
};
const std::vector<ZoneCase> zoneCases{
    {"Eastern Standard Time", "America/New_York"},
    {"W. Europe Standard Time", "Europe/Berlin"},
    {"Romance Standard Time", "Europe/Paris"},
    {"GMT Standard Time", "Europe/London"},
    {"Greenwich Standard Time", "Atlantic/Reykjavik"},
    {"India Standard Time", "Asia/Kolkata"},
    {"Tokyo Standard Time", "Asia/Tokyo"},
    {"Lord Howe Standard Time", "Australia/Lord_Howe"},
    {"Tonga Standard Time", "Pacific/Tongatapu"},
    {"US Eastern Standard Time", "America/Indiana/Indianapolis"},
    {"UTC-11", "Etc/GMT+11"},
    {"", std::nullopt},
    {"Eastern Standard", std::nullopt},
    {"Customized Time Zone", std::nullopt},
    {"Europe/Berlin", std::nullopt},
    {"mapTimezones", std::nullopt},
    {"M\xC3\xBCnchen", std::nullopt},
    {"\xFF\xFE", std::nullopt},
    {std::string("UTC\0", 4), std::nullopt},
    {"001", std::nullopt},
    {"/", std::nullopt},
    {"Eastern Standard Time/001", std::nullopt},
    {std::string(100'000, 'A'), std::nullopt},
};

TEST(WindowsZones, HaveANameInTheZoneData) {
    for (const ZoneCase& row : zoneCases) {
        EXPECT_EQ(zoneNameOfWindowsZone(row.name), row.zone) << row.name.substr(0, 100);
    }
}

std::vector<std::string> everyWindowsZone() {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUResourceBundlePointer data(ures_openDirect(nullptr, "windowsZones", &status));
    const icu::LocalUResourceBundlePointer names(
        ures_getByKey(data.getAlias(), "mapTimezones", nullptr, &status));
    std::vector<std::string> all;
    while (U_SUCCESS(status) && ures_hasNext(names.getAlias())) {
        const icu::LocalUResourceBundlePointer name(
            ures_getNextResource(names.getAlias(), nullptr, &status));
        all.emplace_back(ures_getKey(name.getAlias()));
    }
    return all;
}

// A renaming that the zone data makes after this was written shows here.
TEST(WindowsZones, AreAllInTheZoneDataUnderNoOldName) {
    const std::vector<std::string> all = everyWindowsZone();
    EXPECT_GT(all.size(), 100u);
    const std::filesystem::path zoneData = "/usr/share/zoneinfo";
    for (const std::string& name : all) {
        const auto zone = zoneNameOfWindowsZone(name);
        ASSERT_TRUE(zone) << name;
        EXPECT_TRUE(std::filesystem::is_regular_file(zoneData / *zone)) << name << " " << *zone;
    }
}

} // namespace
} // namespace quenbrook::unicode
