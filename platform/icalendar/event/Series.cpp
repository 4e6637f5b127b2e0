#include "platform/icalendar/event/Series.h"

#include <algorithm>
#include <iterator>
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
            const DateTime& start = exceptions[i].originalStart();
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
        auto at = std::lower_bound(places.begin(), places.end(), std::pair(key, std::size_t{0}));
        while (at != places.end() && at->first == key && take(at->second)) {
            ++at;
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

    std::vector<std::vector<const EventComponent*>> exceptions(masters_.size());
    for (const EventComponent& exception : exceptions_) {
        if (const EventComponent* owner = masterOf(exception)) {
            exceptions[static_cast<std::size_t>(owner - masters_.data())].push_back(&exception);
        }
    }
    changes_.reserve(masters_.size());
    for (std::size_t i = 0; i < masters_.size(); ++i) {
        changes_.push_back(changesBy(exceptions[i], masters_[i]));
    }
}

Series::Changes Series::changesBy(
    const std::vector<const EventComponent*>& exceptions, const EventComponent& master) {
    std::vector<DateTime> replaced;
    std::vector<DateTime> replacedAlone;
    struct Range {
        ThisAndFuture range;
        Revision revision;
    };
    std::vector<Range> ranges;
    for (const EventComponent* exception : exceptions) {
        replaced.push_back(exception->originalStart());
        if (exception->isThisAndFuture) {
            ranges.push_back(
                {ThisAndFuture(master, *exception), revisionOf(*exception->component)});
        } else {
            replacedAlone.push_back(exception->originalStart());
        }
    }
    Changes changes;
    changes.replaced = StartSet(master, replaced);
    if (ranges.empty()) {
        return changes;
    }
    changes.excluded = StartSet(master, master.exclusions);
    changes.replacedAlone = StartSet(master, replacedAlone);
    std::stable_sort(ranges.begin(), ranges.end(), [](const Range& left, const Range& right) {
        return std::pair(left.range.from(), right.revision) <
               std::pair(right.range.from(), left.revision);
    });
    for (const Range& each : ranges) {
        if (changes.ranges.empty() || changes.ranges.back().from() != each.range.from()) {
            changes.ranges.push_back(each.range);
        }
    }
    return changes;
}

const ThisAndFuture* Series::Changes::rangeAt(sys_seconds originalStart) const {
    const auto next = std::partition_point(ranges.begin(), ranges.end(),
        [&](const ThisAndFuture& range) { return range.from() <= originalStart; });
    return next == ranges.begin() ? nullptr : &*std::prev(next);
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
    // A lone master may have any exception that speaks of one occurrence: to nothing, it hides
    // nothing. What speaks of later ones must not get hold of them by the way.
    const bool someSpeakOfLaterOnes = std::any_of(exceptions_.begin(), exceptions_.end(),
        [](const EventComponent& each) { return each.isThisAndFuture; });
    const bool isPlain = masters_.size() < 2 && !someSpeakOfLaterOnes;
    owners_.assign(exceptions_.size(), isPlain && !masters_.empty() ? &masters_.front() : nullptr);
    if (!isPlain && !exceptions_.empty()) {
        lookForOwners();
    }
    for (EventComponent& exception : exceptions_) {
        if (const EventComponent* owner = masterOf(exception)) {
            exception.recurrenceId = owner->meant(exception.originalStart());
        }
    }
}

void Series::lookForOwners() {
    const NamedStarts names(exceptions_);
    const sys_seconds last = names.last() + zoneRoom;
    // A day that is named means a time only where no set has the day, and the other way round.
    for (const bool ofOwnKind : {true, false}) {
        for (const EventComponent& master : masters_) {
            RecurrenceSet set(master, names.first() - zoneRoom, last, budget_);
            // An exception keeps its master when its occurrence is excluded.
            set.keepExcluded();
            for (auto start = set.next(); start && start->instant <= last; start = set.next()) {
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
    return {&exception, masterOf(exception), exception.originalStart(), exception.start.isDate(),
        exception.spanFrom(exception.start, exception.extent)};
}

bool Series::describesItsOwn(const EventComponent& exception) const {
    const EventComponent* owner = masterOf(exception);
    if (!exception.isThisAndFuture || !owner) {
        return true;
    }
    const Changes& changes = changesOf(*owner);
    const ThisAndFuture* range = changes.rangeAt(ThisAndFuture(*owner, exception).from());
    const DateTime& named = exception.originalStart();
    return range && &range->exception() == &exception && !changes.excluded.contains(named) &&
           !changes.replacedAlone.contains(named);
}

void Series::visitRecurrenceSet(
    const EventComponent& master, const Window& window, const Visit& visit) const {
    const Changes& changes = changesOf(master);
    RecurrenceSet set(master, window.from, window.until, budget_);
    while (const auto start = set.next()) {
        Occurrence occurrence{&master, &master, start->value, start->value.isDate(), {}};
        if (const ThisAndFuture* range = changes.rangeAt(start->instant)) {
            const auto moved = range->startOf(start->value);
            if (!moved) {
                continue;
            }
            const EventComponent& exception = range->exception();
            occurrence.component = &exception;
            occurrence.isAllDay = moved->isDate();
            occurrence.span = exception.spanFrom(*moved, exception.extent);
        } else {
            occurrence.span = master.spanFrom(start->value, *start->extent);
        }
        if (!visit(occurrence)) {
            return;
        }
    }
}

Series::Window Series::windowOf(const EventComponent& master, Instant from, Instant until) const {
    const sys_seconds first = std::chrono::floor<seconds>(from);
    const sys_seconds last = std::chrono::ceil<seconds>(until);
    const std::vector<ThisAndFuture>& ranges = changesOf(master).ranges;
    Window window{first - longestSpan(master), last};
    if (ranges.empty()) {
        return window;
    }
    window.until = std::min(window.until, ranges.front().from());
    if (window.until <= window.from) {
        window = {ending, beginning};
    }
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        const ThisAndFuture& range = ranges[i];
        const sys_seconds end = i + 1 < ranges.size() ? ranges[i + 1].from() : ending;
        // A wall clock may be told in two zones, and a day stand for its hours.
        constexpr seconds room = 2 * zoneRoom;
        const sys_seconds begin = first - longestSpan(range.exception()) - range.shift() - room;
        const Window own{std::max(begin, range.from()), std::min(last - range.shift() + room, end)};
        if (own.from < own.until) {
            window = {std::min(window.from, own.from), std::max(window.until, own.until)};
        }
    }
    return window;
}

std::vector<Occurrence> Series::occurrencesIn(Instant from, Instant until) const {
    std::vector<Occurrence> found;
    if (until < from) {
        return found;
    }
    for (const EventComponent& master : masters_) {
        const Window window = windowOf(master, from, until);
        if (window.until < window.from) {
            continue;
        }
        visitRecurrenceSet(master, window, [&](const Occurrence& occurrence) {
            if (occurrence.originalStart.instant() >= window.until ||
                found.size() >= maximumOccurrences) {
                return false;
            }
            if (isIn(occurrence.span, from, until) && !isReplaced(occurrence)) {
                found.push_back(occurrence);
            }
            return true;
        });
    }
    for (const EventComponent& exception : exceptions_) {
        const Occurrence occurrence = asOccurrence(exception);
        if (isIn(occurrence.span, from, until) && describesItsOwn(exception)) {
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
        if (describesItsOwn(exception)) {
            offer(asOccurrence(exception));
        }
    }
    for (const EventComponent& master : masters_) {
        // One that is replaced has been offered already, and no later one comes before it.
        visitRecurrenceSet(master, {beginning, ending}, [&](const Occurrence& occurrence) {
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
        visitRecurrenceSet(
            master, {originalStart, originalStart}, [&](const Occurrence& occurrence) {
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
    const auto found =
        std::find_if(exceptions_.begin(), exceptions_.end(), [&](const EventComponent& each) {
            return each.originalStart().instant() == originalStart && describesItsOwn(each);
        });
    return found == exceptions_.end() ? nullptr : &*found;
}

} // namespace quenbrook::platform::icalendar
