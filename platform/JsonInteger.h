#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quenbrook::platform {

// The value of a number literal (RFC 8259 section 6, taken to be well-formed), when it is integral,
// however it is written: 15, 15.0, 1.5e1 and 1500e-2 are all 15. Nothing when it has a fractional
// part or does not fit 64 bits. Decided on the digits themselves, never by way of a floating-point
// number, and in time linear in the literal's length, however large its exponent.
std::optional<std::int64_t> integerValueOf(std::string_view literal);

} // namespace quenbrook::platform
