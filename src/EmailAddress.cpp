#include "src/EmailAddress.h"

#include "unicode/Text.h"

#include <algorithm>

namespace quenbrook {

bool areEmailAddresses(std::span<const AttendeeRequestDTO> attendees) {
    if (attendees.empty()) {
        return true;
    }
    unicode::RegularExpression address(R"([A-Za-z0-9._%+\-]+@[A-Za-z0-9.\-]+\.[A-Za-z]{2,})");
    return std::all_of(
        attendees.begin(), attendees.end(), [&address](const AttendeeRequestDTO& attendee) {
            return address.matchesWhole(attendee.email);
        });
}

} // namespace quenbrook
