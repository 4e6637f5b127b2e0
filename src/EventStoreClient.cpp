#include "src/EventStoreClient.h"

#include "src/ErrorCodes.h"

#include <utility>

namespace quenbrook {

EventStoreClient::EventStoreClient(std::unique_ptr<stores::CalendarStore> store)
    : store_(std::move(store)) {}

namespace {

// What a store found under an identifier of an event.
template <typename Value>
Value found(std::optional<Value> value, const std::string& identifier) {
    if (!value) {
        throw QuenbrookError(ErrorCase::eventNotFound, identifier);
    }
    return std::move(*value);
}

} // namespace

model::Event EventStoreClient::eventNamed(const std::string& identifier) {
    return found(store_->event(identifier), identifier);
}

std::vector<model::Participant> EventStoreClient::participantsOf(const std::string& identifier) {
    return found(store_->participants(identifier), identifier);
}

model::Event EventStoreClient::changeableEventNamed(const std::string& identifier) {
    model::Event event = found(store_->eventToChange(identifier), identifier);
    if (!event.calendar || !event.calendar->allowsContentModifications) {
        throw QuenbrookError(ErrorCase::readOnlyCalendar,
            "Event '" + identifier + "' belongs to a read-only calendar.");
    }
    return event;
}

} // namespace quenbrook
