#pragma once

#include "platform/CalendarStore.h"
#include "src/DTOs/WireDates.h"
#include "src/ErrorCodes.h"
#include "src/EventStoreClient.h"
#include "tests/unit/ForwardingStore.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace quenbrook::tests {

inline platform::Instant at(std::string_view text) {
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

inline EventStoreClient clientOf(platform::CalendarStore& store) {
    return EventStoreClient(std::make_unique<ForwardingStore>(store));
}

inline platform::Calendar calendarNamed(std::string identifier, bool writable = true) {
    platform::Calendar calendar;
    calendar.title = "Calendar " + identifier;
    calendar.identifier = std::move(identifier);
    calendar.allowsContentModifications = writable;
    return calendar;
}

// An hour from 2025-03-14T09:00:00Z.
inline platform::Event eventNamed(std::string identifier, const platform::Calendar& calendar) {
    platform::Event event;
    event.title = "Event " + identifier;
    event.identifier = std::move(identifier);
    event.calendar = std::make_shared<const platform::Calendar>(calendar);
    event.start = at("2025-03-14T09:00:00Z");
    event.end = at("2025-03-14T10:00:00Z");
    return event;
}

} // namespace quenbrook::tests
