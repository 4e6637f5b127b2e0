#pragma once

#include "platform/CalendarStore.h"
#include "src/DTOs/CalendarRecords.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quenbrook {

CalendarInfoDTO mapCalendar(platform::Calendar calendar);

// The word for the platform's source type; "unknown" for a number without one.
std::string_view sourceTypeWord(std::int64_t type);

// `#RRGGBB` in upper case. Components are clamped to 0 to 1, scaled to 255 and rounded half up; one
// that is not a number counts as 1.
std::optional<std::string> hexColor(const std::optional<platform::Color>& color);

} // namespace quenbrook
