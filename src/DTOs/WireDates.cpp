#include "src/DTOs/WireDates.h"

#include "src/ErrorCodes.h"

#include <string>

namespace quenbrook {

using unicode::ISO8601DateFormatter;
using unicode::ISO8601FormatOptions;

const ISO8601DateFormatter& isoFormatterWithFractional() {
    static const ISO8601DateFormatter formatter(
        ISO8601FormatOptions::internetDateTimeWithFractionalSeconds);
    return formatter;
}

const ISO8601DateFormatter& isoFormatterWithoutFractional() {
    static const ISO8601DateFormatter formatter(ISO8601FormatOptions::internetDateTime);
    return formatter;
}

model::Instant parseISO8601(std::string_view text) {
    if (const auto date = isoFormatterWithFractional().dateFromString(text)) {
        return *date;
    }
    if (const auto date = isoFormatterWithoutFractional().dateFromString(text)) {
        return *date;
    }
    throw QuenbrookError(
        ErrorCase::invalidDate, "Cannot parse ISO 8601 date: " + std::string(text));
}

} // namespace quenbrook
