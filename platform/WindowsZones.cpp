#include "platform/WindowsZones.h"

#include <algorithm>
#include <array>

#include <unicode/timezone.h>

namespace quenbrook::platform {
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

std::optional<std::string> zoneNameOfWindowsZone(std::string_view name) {
    // No name comes near this.
    constexpr std::size_t longestName = 100;
    if (name.empty() || name.size() > longestName || name.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString identifier;
    icu::TimeZone::getIDForWindowsID(icu::UnicodeString::fromUTF8(icu::StringPiece(
                                         name.data(), static_cast<std::int32_t>(name.size()))),
        nullptr, identifier, status);
    // Without the table no name is known: the data may have been built without it.
    if (U_FAILURE(status) || identifier.isEmpty()) {
        return std::nullopt;
    }
    std::string found;
    identifier.toUTF8String(found);
    const auto* const renamed = std::find_if(renamings.begin(), renamings.end(),
        [&](const Renaming& each) { return each.before == found; });
    return renamed == renamings.end() ? found : std::string(renamed->since);
}

} // namespace quenbrook::platform
