#pragma once

#include <optional>
#include <string_view>

namespace quenbrook::icalendar {

// The revision that Evolution Data Server has written into a calendar file, as it is written there:
// the value of the X-EVOLUTION-DATA-REVISION property of the stream. `head` is the beginning of the
// file, as far as the first component or farther; the answer is a view of it. Returns nullopt when
// the property is not there, or not there as a whole.
std::optional<std::string_view> dataRevision(std::string_view head);

} // namespace quenbrook::icalendar
