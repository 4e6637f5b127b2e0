#include "unicode/WindowsZones.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include <unicode/unistr.h>
#include <unicode/ures.h>

namespace quenbrook::unicode {
namespace {

// CLDR never changes a name that it once gave; the zone data has renamed these since, and not every
// system has the old ones.
struct Renaming {
    std::string_view before;
    std::string_view since;
};
constexpr std::array<Renaming, 7> renamings{{
    {"America/Buenos_Aires", "America/Argentina/Buenos_Aires"},
    {"America/Godthab", "America/Nuuk"},
    {"America/Indianapolis", "America/Indiana/Indianapolis"},
    {"Asia/Calcutta", "Asia/Kolkata"},
    {"Asia/Katmandu", "Asia/Kathmandu"},
    {"Asia/Rangoon", "Asia/Yangon"},
    {"Europe/Kiev", "Europe/Kyiv"},
}};

} // namespace

// The table is read as such: ICU's own function for it brings along all that ICU knows of zones and
// calendars, a third of the program.
std::optional<std::string> zoneNameOfWindowsZone(std::string_view name) {
    // No name comes near this.
    constexpr std::size_t longestName = 100;
    if (name.empty() || name.size() > longestName || name.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    constexpr const char* world = "001";
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUResourceBundlePointer table(ures_openDirect(nullptr, "windowsZones", &status));
    const icu::LocalUResourceBundlePointer zones(
        ures_getByKey(table.getAlias(), "mapTimezones", nullptr, &status));
    const icu::LocalUResourceBundlePointer zone(
        ures_getByKey(zones.getAlias(), std::string(name).c_str(), nullptr, &status));
    std::int32_t length = 0;
    const char16_t* const text = ures_getStringByKey(zone.getAlias(), world, &length, &status);
    // Without the table no name is known: the data may have been built without it.
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    std::string found;
    icu::UnicodeString(text, length).toUTF8String(found);
    const auto* const renamed = std::find_if(renamings.begin(), renamings.end(),
        [&](const Renaming& each) { return each.before == found; });
    return renamed == renamings.end() ? found : std::string(renamed->since);
}

} // namespace quenbrook::unicode
