#include "src/ErrorCodes.h"
#include "src/EventStoreClient.h"

namespace quenbrook {

CancelEventResponse EventStoreClient::cancelEvent(const CancelEventRequest& request) {
    const model::Event event = changeableEventNamed(request.id);
    if (!store_->remove(event)) {
        throw QuenbrookError(ErrorCase::eventStoreRemoveFailed, "EventKit remove failed");
    }
    return {request.id, true};
}

} // namespace quenbrook
