#pragma once

#include "platform/CalendarStore.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quenbrook::platform {

// Which parts the text has. The numbers are the platform's bit sets: year 1, month 2, day 16,
// time 32, time zone 64, dashes in the date 256, colons in the time 512, colon in the time zone
// 1024, fractional seconds 2048.
enum class ISO8601FormatOptions : std::uint32_t {
    internetDateTime = 1907,
    internetDateTimeWithFractionalSeconds = 3955,
};

// Instants as RFC 3339 date-times, `2025-03-14T09:30:00Z` or, with the fractional option,
// `2025-03-14T09:30:00.250Z`. Immutable: may be shared between threads.
class ISO8601DateFormatter {
  public:
    explicit constexpr ISO8601DateFormatter(ISO8601FormatOptions options)
        : options_(options) {}

    // Strict: the whole text is YYYY-MM-DDTHH:MM:SS, then with the fractional option (and only
    // then) a full stop and one or more digits, then Z or ±HH:MM. Letters are upper case. Days,
    // hours (to 23), minutes and seconds (to 59; no leap second) must exist, and the instant lie in
    // the years 0001 to 9999 of UTC. Fractions are cut off after the millisecond.
    std::optional<Instant> dateFromString(std::string_view text) const;

    // In UTC, with the designator Z; with the fractional option always three digits of it, without
    // it the fraction is cut off. Meant for the years 0001 to 9999.
    std::string stringFromDate(Instant date) const;

  private:
    bool fractional() const {
        return options_ == ISO8601FormatOptions::internetDateTimeWithFractionalSeconds;
    }

    ISO8601FormatOptions options_;
};

} // namespace quenbrook::platform
