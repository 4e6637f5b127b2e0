#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quenbrook::unicode {

// The name in the zone data of a zone that Windows names ("Eastern Standard Time"), as the Unicode
// CLDR maps it for the world at large. Returns nullopt when Windows has no such zone.
std::optional<std::string> zoneNameOfWindowsZone(std::string_view name);

} // namespace quenbrook::unicode
