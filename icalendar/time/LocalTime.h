#pragma once

#include <chrono>

namespace quenbrook::icalendar {

// A wall-clock time without a zone, in whole seconds.
using LocalTime = std::chrono::local_seconds;

// The date that it shows.
inline std::chrono::year_month_day dateOf(LocalTime time) {
    return std::chrono::year_month_day(std::chrono::floor<std::chrono::days>(time));
}

} // namespace quenbrook::icalendar
