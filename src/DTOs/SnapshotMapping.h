#pragma once

#include "platform/CalendarStore.h"
#include "src/DTOs/EventSnapshotRecords.h"

#include <cstdint>
#include <string_view>

// Events of the store as wire records. Nothing here raises: what is missing becomes an empty text,
// an empty list or an absent field.
namespace quenbrook {

class NotesCategories;

// `categories` reads the notes; one object serves any number of events.
EventInfoDTO mapEvent(platform::Event event, NotesCategories& categories);

AttendeeInfoDTO mapParticipant(platform::Participant participant);

RecurrenceRuleDTOFull mapRecurrenceRule(platform::RecurrenceRule rule);

// The word for the platform's participant status; a tentative answer is reported as pending.
std::string_view participantStatusWord(std::int64_t status);

} // namespace quenbrook
