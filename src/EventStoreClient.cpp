#include "src/EventStoreClient.h"

#include "src/ErrorCodes.h"

#include <utility>

namespace quenbrook {

EventStoreClient::EventStoreClient(std::unique_ptr<platform::CalendarStore> store)
    : store_(std::move(store)) {}

platform::Event EventStoreClient::eventNamed(const std::string& identifier) {
    std::optional<platform::Event> event = store_->event(identifier);
    if (!event) {
        throw QuenbrookError(ErrorCase::eventNotFound, identifier);
    }
    return std::move(*event);
}

platform::Event EventStoreClient::changeableEventNamed(const std::string& identifier) {
    platform::Event event = eventNamed(identifier);
    if (!event.calendar || !event.calendar->allowsContentModifications) {
        throw QuenbrookError(ErrorCase::readOnlyCalendar,
            "Event '" + identifier + "' belongs to a read-only calendar.");
    }
    return event;
}

} // namespace quenbrook
