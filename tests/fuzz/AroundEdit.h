#pragma once

#include "icalendar/CalendarReader.h"

#include <chrono>
#include <optional>
#include <string_view>

// What an edit of one instance must leave as it was. Each aborts where it did not.

namespace quenbrook::fuzz {

// What the edited instance is to be read as; nothing after a removal.
using Edited = std::optional<icalendar::FoundEvent>;

// Every other UID, and every other instance of this one, is read as before, near the edited
// instance, near where it went, and around `elsewhere`.
void requireSameAround(std::string_view before, std::string_view after,
    const icalendar::FoundEvent& found, const Edited& edited, model::Instant elsewhere);

// What stands outside of the components of the UID keeps its bytes and its order. An empty text may
// only take the place of one that holds nothing else.
void requireSameBytesOutside(std::string_view before, std::string_view after, std::string_view uid);

// No more than one component of the UID has other bytes, beside those in whose place one stands.
void requireOneChangedComponent(
    std::string_view before, std::string_view after, std::string_view uid);

} // namespace quenbrook::fuzz
