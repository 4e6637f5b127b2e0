#pragma once

#include "stores/CalendarStore.h"
#include "unicode/ISO8601DateFormatter.h"

#include <string_view>

// The only way dates enter or leave the program.
namespace quenbrook {

// Made on first use and shared from then on. Every date the program writes has this one's form:
// UTC with three fractional digits.
const unicode::ISO8601DateFormatter& isoFormatterWithFractional();

// For parsing only.
const unicode::ISO8601DateFormatter& isoFormatterWithoutFractional();

// Throws invalidDate, with the text as received, when neither formatter accepts it.
model::Instant parseISO8601(std::string_view text);

} // namespace quenbrook
