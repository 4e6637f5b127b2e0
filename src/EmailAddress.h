#pragma once

#include "src/DTOs/WriteRecords.h"

#include <span>

namespace quenbrook {

// Whether every address is well formed: ASCII letters, digits and a few signs, one at sign, and a
// dotted domain whose last label has two letters or more. No blanks, no line feed at the end.
bool areEmailAddresses(std::span<const AttendeeRequestDTO> attendees);

} // namespace quenbrook
