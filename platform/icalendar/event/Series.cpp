#include "platform/icalendar/event/Series.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace quenbrook::platform::icalendar {
namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

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

// The occurrences that exceptions name, to be looked up by what a recurrence set has.
class NamedStarts {
  public:
    // There must be one.
    explicit NamedStarts(std::span<const EventComponent> exceptions) {
        for (std::size_t i = 0; i < exceptions.size(); ++i) {
            const DateTime& start = *exceptions[i].recurrenceId;
            instants_.emplace_back(start.instant(), i);
            if (start.isDate()) {
                days_.emplace_back(start.time, i);
            } else {
                daysOfTimes_.emplace_back(start.day(), i);
            }
            if (start.form == DateTime::Form::floating) {
                clocks_.emplace_back(start.time, i);
            } else if (!start.isDate()) {
                times_.emplace_back(start.instant(), i);
            }
        }
        std::sort(instants_.begin(), instants_.end());
        std::sort(times_.begin(), times_.end());
        for (auto* places : {&days_, &daysOfTimes_, &clocks_}) {
            std::sort(places->begin(), places->end());
        }
    }

    sys_seconds first() const { return instants_.front().first; }
    sys_seconds last() const { return instants_.back().first; }

    // Calls `take` with the index of each exception that names this start of a master's set, by a
    // value of its own kind (a date or a time) or by one of the other, until told to stop by false.
    template <class Take>
    void forEachNaming(
        const DateTime& start, const EventComponent& master, bool ofOwnKind, Take take) const {
        if (!ofOwnKind) {
            if (start.isDate() == master.start.isDate()) {
                forEachAt(start.isDate() ? daysOfTimes_ : days_, start.day(), take);
            }
        } else if (start.isDate()) {
            forEachAt(days_, start.time, take);
        } else {
            const sys_seconds instant = start.instant();
            forEachAt(times_, instant, take);
            forEachAt(clocks_, master.start.zone.wallClockAt(instant), take);
        }
    }

  private:
    template <class Key>
    using Places = std::vector<std::pair<Key, std::size_t>>;

    template <class Key, class Take>
    static void forEachAt(const Places<Key>& places, const Key& key, Take take) {
        for (auto at =
                 std::lower_bound(places.begin(), places.end(), std::pair(key, std::size_t{0}));
             at != places.end() && at->first == key && take(at->second); ++at) {
        }
    }

    Places<sys_seconds> instants_;
    Places<sys_seconds> times_;
    Places<LocalTime> clocks_;
    Places<LocalTime> days_;
    Places<LocalTime> daysOfTimes_;
};

} // namespace

Series::Series(std::vector<EventComponent> components, WorkBudget& budget)
    : budget_(budget) {
    std::vector<EventComponent> masters;
    for (EventComponent& component : components) {
        (component.recurrenceId ? exceptions_ : masters).push_back(std::move(component));
    }
    takeMasters(std::move(masters));
    findOwners();

    std::vector<std::vector<DateTime>> replaced(masters_.size());
    for (const EventComponent& exception : exceptions_) {
        if (const EventComponent* owner = masterOf(exception)) {
            replaced[static_cast<std::size_t>(owner - masters_.data())].push_back(
                *exception.recurrenceId);
        }
    }
    replaced_.reserve(masters_.size());
    for (std::size_t i = 0; i < masters_.size(); ++i) {
        replaced_.emplace_back(masters_[i], replaced[i]);
    }
}

void Series::takeMasters(std::vector<EventComponent> masters) {
    if (masters.size() < 2) {
        masters_ = std::move(masters);
        return;
    }
    struct Place {
        sys_seconds start;
        bool isDate;
        Revision revision;
        std::size_t index;
    };
    std::vector<Place> places;
    places.reserve(masters.size());
    for (std::size_t i = 0; i < masters.size(); ++i) {
        places.push_back({masters[i].start.instant(), masters[i].start.isDate(),
            revisionOf(*masters[i].component), i});
    }
    // The latest revision of each start first; of equal ones that which stands first in the file.
    std::sort(places.begin(), places.end(), [](const Place& left, const Place& right) {
        return std::tie(left.start, left.isDate, right.revision, left.index) <
               std::tie(right.start, right.isDate, left.revision, right.index);
    });
    std::vector<bool> stands(masters.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
        stands[places[i].index] = i == 0 || places[i].start != places[i - 1].start ||
                                  places[i].isDate != places[i - 1].isDate;
    }
    for (std::size_t i = 0; i < masters.size(); ++i) {
        (stands[i] ? masters_ : superseded_).push_back(std::move(masters[i]));
    }
}

void Series::findOwners() {
    owners_.assign(exceptions_.size(), masters_.size() == 1 ? &masters_.front() : nullptr);
    if (masters_.size() > 1 && !exceptions_.empty()) {
        findOwnersAmongSeveral();
    }
    for (EventComponent& exception : exceptions_) {
        if (const EventComponent* owner = masterOf(exception)) {
            exception.recurrenceId = owner->meant(*exception.recurrenceId);
        }
    }
}

void Series::findOwnersAmongSeveral() {
    const NamedStarts names(exceptions_);
    // A day that is named means a time only where no set has the day, and the other way round.
    for (const bool ofOwnKind : {true, false}) {
        for (const EventComponent& master : masters_) {
            RecurrenceSet set(master, names.first() - zoneRoom, names.last() + zoneRoom, budget_);
            for (auto start = set.next(); start && start->instant <= names.last() + zoneRoom;
                 start = set.next()) {
                names.forEachNaming(start->value, master, ofOwnKind, [&](std::size_t exception) {
                    if (!owners_[exception]) {
                        owners_[exception] = &master;
                    }
                    return budget_.affords(1);
                });
            }
        }
    }
}

Occurrence Series::asOccurrence(const EventComponent& exception) const {
    return {&exception, masterOf(exception), *exception.recurrenceId, exception.start.isDate(),
        exception.spanFrom(exception.start, exception.extent)};
}

void Series::visitRecurrenceSet(
    const EventComponent& master, sys_seconds from, sys_seconds until, const Visit& visit) const {
    RecurrenceSet set(master, from, until, budget_);
    while (const auto start = set.next()) {
        const bool goesOn = visit({&master, &master, start->value, start->value.isDate(),
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
