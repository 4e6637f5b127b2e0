#pragma once

#include "src/DTOs/EventSnapshotRecords.h"
#include "stores/CalendarStore.h"

#include <cstdint>
#include <string_view>

// Events of the store as wire records. Nothing here raises: what is missing becomes an empty text,
// an empty list or an absent field.
namespace quenbrook {

class NotesCategories;

// `categories` reads the notes; one object serves any number of events.
EventInfoDTO mapEvent(model::Event event, NotesCategories& categories);

AttendeeInfoDTO mapParticipant(model::Participant participant);

RecurrenceRuleDTOFull mapRecurrenceRule(model::RecurrenceRule rule);

// The word for a ParticipantStatus: a tentative answer is reported as pending. Returns "unknown"
// for a number without a word.
std::string_view participantStatusWord(std::int64_t status);

} // namespace quenbrook
