#pragma once

#include "tests/eventkit/stand-in/World.h"

// How a simple rule repeats an event: every so many days, weeks, months or years of the local
// clock. An event with several rules, or with one that names days or months, is found only as the
// event that it was made from.
namespace quenbrook::standin {

bool isSeries(const Event& event);

// Those that stand and start before an instant, and all that were changed, by their original
// starts. An event that is no series is its only occurrence.
std::vector<Event> occurrencesBefore(const Event& event, double end);

// Nothing when every occurrence is removed.
std::optional<Event> firstOccurrence(const Event& event);

// Even when it is removed.
Event firstOfAll(const Event& event);

// The start that the rule gave to an occurrence.
double originalStart(const Event& occurrence);

// Puts a changed occurrence in the place of the one that it was.
void changeOccurrence(Event& series, Event occurrence);
// The same for that occurrence and all after it.
void changeOccurrencesFrom(Event& series, Event occurrence);

void removeOccurrence(Event& series, double originalStart);
// The same for that occurrence and all after it; of the first one, only the first without its rule
// is left.
void removeOccurrencesFrom(Event& series, double originalStart);

} // namespace quenbrook::standin
