#pragma once

#include "stores/CalendarStore.h"

#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace quenbrook::tests {

// The events of a range as a list, in the store's order.
inline std::vector<model::Event> eventsOf(stores::CalendarStore& store, model::Instant start,
    model::Instant end, std::optional<std::span<const model::Calendar>> calendars = std::nullopt) {
    std::vector<model::Event> all;
    store.forEachEvent(
        start, end, calendars, [&](model::Event event) { all.push_back(std::move(event)); });
    return all;
}

} // namespace quenbrook::tests
