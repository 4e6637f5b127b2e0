#pragma once

#include <optional>
#include <string_view>

namespace quenbrook::stores::evolution {

// A property's value as far as libical takes it, which drops the blanks around values: what is
// between them, a view of `value`. Returns nullopt when nothing is left: libical would put the
// report of an error in the property's place. Thread-safe.
std::optional<std::string_view> valueForLibical(std::string_view value);

} // namespace quenbrook::stores::evolution
