#include "platform/icalendar/event/Series.h"

#include <algorithm>

namespace quenbrook::platform::icalendar {
namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

constexpr std::size_t maximumOccurrences = 100'000;
// Before the first instant that any event can have.
constexpr sys_seconds beginning =
    std::chrono::sys_days(std::chrono::year(-1) / std::chrono::January / 1);
// After the last.
constexpr sys_seconds ending =
    std::chrono::sys_days(std::chrono::year(10'001) / std::chrono::January / 1);

bool isIn(const TimeSpan& span, Instant from, Instant until) {
    if (span.start == span.end) {
        return span.start >= from && span.start < until;
    }
    return span.start < until && span.end > from;
}

Occurrence asOccurrence(const EventComponent& exception) {
    return {&exception, *exception.recurrenceId, exception.start.isDate(),
        exception.spanFrom(exception.start, exception.extent)};
}

// The longest any occurrence may last, so that one that began before a range is not missed.
seconds longestSpan(const EventComponent& master) {
    TimeSpan span = master.spanFrom(master.start, master.extent);
    seconds longest = span.end - span.start;
    for (const AddedDate& added : master.additions) {
        span = master.spanFrom(added.start, added.extent);
        longest = std::max<seconds>(longest, span.end - span.start);
    }
    // The same nominal length may be longer elsewhere in the year.
    return longest + zoneRoom;
}

} // namespace

Series::Series(std::vector<EventComponent> components, WorkBudget& budget)
    : budget_(budget) {
    for (EventComponent& component : components) {
        (component.recurrenceId ? exceptions_ : masters_).push_back(std::move(component));
    }
    std::vector<DateTime> replaced;
    for (EventComponent& exception : exceptions_) {
        if (!masters_.empty()) {
            exception.recurrenceId = masters_.front().meant(*exception.recurrenceId);
        }
        replaced.push_back(*exception.recurrenceId);
    }
    if (!masters_.empty()) {
        replaced_ = StartSet(masters_.front(), replaced);
    }
}

void Series::visitRecurrenceSet(
    const EventComponent& master, sys_seconds from, sys_seconds until, const Visit& visit) const {
    RecurrenceSet set(master, from, until, budget_);
    while (const auto start = set.next()) {
        const bool goesOn = visit({&master, start->value, start->value.isDate(),
            master.spanFrom(start->value, *start->extent)});
        if (!goesOn) {
            return;
        }
    }
}

std::vector<Occurrence> Series::occurrencesIn(Instant from, Instant until) const {
    std::vector<Occurrence> found;
    if (until < from) {
        return found;
    }
    for (const EventComponent& master : masters_) {
        visitRecurrenceSet(master, std::chrono::floor<seconds>(from) - longestSpan(master),
            std::chrono::ceil<seconds>(until), [&](const Occurrence& occurrence) {
                if (occurrence.span.start >= until || found.size() >= maximumOccurrences) {
                    return false;
                }
                if (!isReplaced(occurrence) && isIn(occurrence.span, from, until)) {
                    found.push_back(occurrence);
                }
                return true;
            });
    }
    for (const EventComponent& exception : exceptions_) {
        const Occurrence occurrence = asOccurrence(exception);
        if (isIn(occurrence.span, from, until)) {
            found.push_back(occurrence);
        }
    }
    return found;
}

std::optional<Occurrence> Series::firstStanding() const {
    std::optional<Occurrence> first;
    const auto offer = [&](const Occurrence& occurrence) {
        if (!first || occurrence.originalStart.instant() < first->originalStart.instant()) {
            first = occurrence;
        }
    };
    for (const EventComponent& exception : exceptions_) {
        offer(asOccurrence(exception));
    }
    for (const EventComponent& master : masters_) {
        visitRecurrenceSet(master, beginning, ending, [&](const Occurrence& occurrence) {
            if (!isReplaced(occurrence)) {
                offer(occurrence);
            }
            return false;
        });
    }
    return first;
}

std::optional<Occurrence> Series::standingAt(sys_seconds originalStart) const {
    if (const EventComponent* exception = exceptionAt(originalStart)) {
        return asOccurrence(*exception);
    }
    std::optional<Occurrence> found;
    for (const EventComponent& master : masters_) {
        if (found) {
            break;
        }
        visitRecurrenceSet(master, originalStart, originalStart, [&](const Occurrence& occurrence) {
            const sys_seconds start = occurrence.originalStart.instant();
            if (start == originalStart && !isReplaced(occurrence)) {
                found = occurrence;
            }
            return start <= originalStart && !found;
        });
    }
    return found;
}

bool Series::recurs() const {
    return !exceptions_.empty() || masters_.size() > 1 ||
           std::any_of(masters_.begin(), masters_.end(),
               [](const EventComponent& master) { return master.recurs(); });
}

const EventComponent* Series::exceptionAt(sys_seconds originalStart) const {
    const auto found = std::find_if(exceptions_.begin(), exceptions_.end(),
        [&](const EventComponent& each) { return each.recurrenceId->instant() == originalStart; });
    return found == exceptions_.end() ? nullptr : &*found;
}

} // namespace quenbrook::platform::icalendar
