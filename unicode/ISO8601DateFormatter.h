#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quenbrook::unicode {

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
    // In UTC.
    using Instant = std::chrono::sys_time<std::chrono::milliseconds>;

    explicit constexpr ISO8601DateFormatter(ISO8601FormatOptions options)
        : options_(options) {}

    // The whole text is YYYY-MM-DDTHH:MM:SS, then with the fractional option (and only then) a full
    // stop and one or more digits, then Z, z, ±HH:MM, ±HHMM or ±HH. Fractions are cut off after the
    // millisecond. 24:00:00 is the next midnight (ISO 8601:2004, 4.2.3). Returns nullopt for every
    // other text, for days, hours, minutes and seconds that do not exist (no leap second), and for
    // instants outside the years 0001 to 9999 of UTC.
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

} // namespace quenbrook::unicode
