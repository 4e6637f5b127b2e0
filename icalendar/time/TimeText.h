#pragma once

#include "icalendar/time/LocalTime.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

// The texts of the values that tell dates, times and lengths (RFC 5545 sections 3.3.4 to 3.3.6,
// 3.3.14), without the parameters that stand beside them.
namespace quenbrook::icalendar {

// A DURATION: days are nominal (a day may have 23 or 25 hours), seconds exact.
struct Duration {
    std::chrono::days days{0};
    std::chrono::seconds seconds{0};
};

// Reads eight digits. Returns nullopt when they are no date of the years 0001 to 9999.
std::optional<std::chrono::sys_days> parseDate(std::string_view text);

// Reads the wall-clock part of a DATE-TIME, without a final "Z". A 60th second counts as the 59th.
// Returns nullopt when the text is none.
std::optional<LocalTime> parseDateTime(std::string_view text);

// Reads a signed UTC-OFFSET, with white space around it. Returns nullopt when the text is none.
std::optional<std::chrono::seconds> parseUtcOffset(std::string_view text);

// Reads a DURATION, with white space around it. The "T" may follow the days with nothing behind it,
// which the grammar forbids and servers write. Returns nullopt when the text is none, and for more
// than 10,000 years.
std::optional<Duration> parseDuration(std::string_view text);

// The eight digits of a date in the years 0001 to 9999.
std::string formatDate(LocalTime day);

// The wall-clock part of a DATE-TIME in these years.
std::string formatDateTime(LocalTime time);

// Seconds as a DURATION, signed.
std::string formatDuration(std::chrono::seconds duration);

} // namespace quenbrook::icalendar
