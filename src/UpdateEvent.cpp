#include "src/AlarmOffsets.h"
#include "src/DTOs/WireDates.h"
#include "src/ErrorCodes.h"
#include "src/EventStoreClient.h"
#include "src/RecurrenceRuleBuilder.h"

namespace quenbrook {
namespace {

model::EventChanges changesOf(const UpdateEventPatch& patch) {
    model::EventChanges changes;
    changes.title = patch.title;
    if (patch.startISO) {
        changes.start = parseISO8601(*patch.startISO);
    }
    if (patch.endISO) {
        changes.end = parseISO8601(*patch.endISO);
    }
    changes.isAllDay = patch.isAllDay;
    changes.location = patch.location;
    changes.notes = patch.notes;
    if (patch.alarmMinutes) {
        changes.alarms = alarmOffsets(*patch.alarmMinutes);
    }
    if (patch.clearRecurrenceRules.value_or(false)) {
        changes.recurrenceRules.emplace();
    } else if (patch.recurrenceRule) {
        changes.recurrenceRules = {buildRecurrenceRule(*patch.recurrenceRule)};
    }
    return changes;
}

} // namespace

UpdateEventResponse EventStoreClient::updateEvent(const UpdateEventRequest& request) {
    const model::Event event = changeableEventNamed(request.id);
    const model::EventChanges changes = changesOf(request.patch);
    if (!store_->update(event, changes)) {
        throw QuenbrookError(ErrorCase::eventStoreSaveFailed, "EventKit save failed");
    }
    UpdateEventResponse response;
    response.id = request.id;
    response.updated = true;
    return response;
}

} // namespace quenbrook
