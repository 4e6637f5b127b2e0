#pragma once

#include "src/DTOs/CalendarRecords.h"
#include "stores/CalendarStore.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quenbrook {

CalendarInfoDTO mapCalendar(model::Calendar calendar);

// The word for a SourceType. Returns "unknown" for any other number.
std::string_view sourceTypeWord(std::int64_t type);

// `#RRGGBB` in upper case. Components are clamped to 0 to 1, scaled to 255 and rounded half up; one
// that is not a number counts as 1. Returns nullopt when there is no colour.
std::optional<std::string> hexColor(const std::optional<model::Color>& color);

} // namespace quenbrook
