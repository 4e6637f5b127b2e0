#pragma once

#include "src/DTOs/WireDates.h"
#include "src/ErrorCodes.h"
#include "src/EventStoreClient.h"
#include "stores/CalendarStore.h"
#include "tests/unit/ForwardingStore.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace quenbrook::tests {

inline model::Instant at(std::string_view text) {
    return parseISO8601(text);
}

// What a date that is none fails with; the text of the date follows.
inline const std::string badDate = "INVALID_DATE: Cannot parse ISO 8601 date: ";

// "CODE: message" of the error that an operation throws, or the empty text.
template <class Operation>
std::string failureOf(const Operation& operation) {
    try {
        operation();
    } catch (const QuenbrookError& error) {
        return std::string(error.code()) + ": " + error.message();
    }
    return {};
}

inline EventStoreClient clientOf(stores::CalendarStore& store) {
    return EventStoreClient(std::make_unique<ForwardingStore>(store));
}

inline model::Calendar calendarNamed(std::string identifier, bool writable = true) {
    model::Calendar calendar;
    calendar.title = "Calendar " + identifier;
    calendar.identifier = std::move(identifier);
    calendar.allowsContentModifications = writable;
    return calendar;
}

// An hour from 2025-03-14T09:00:00Z.
inline model::Event eventNamed(std::string identifier, const model::Calendar& calendar) {
    model::Event event;
    event.title = "Event " + identifier;
    event.identifier = std::move(identifier);
    event.calendar = std::make_shared<const model::Calendar>(calendar);
    event.start = at("2025-03-14T09:00:00Z");
    event.end = at("2025-03-14T10:00:00Z");
    return event;
}

} // namespace quenbrook::tests
