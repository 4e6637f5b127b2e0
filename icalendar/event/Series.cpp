#include "icalendar/event/Series.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <tuple>
#include <type_traits>
#include <utility>

namespace quenbrook::icalendar {
namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

// Before the first instant that any event can have.
constexpr sys_seconds beforeAll =
    std::chrono::sys_days(std::chrono::year(-1) / std::chrono::January / 1);
// After the last.
constexpr sys_seconds afterAll =
    std::chrono::sys_days(std::chrono::year(10'001) / std::chrono::January / 1);

bool isIn(const TimeSpan& span, model::Instant from, model::Instant until) {
    if (span.start == span.end) {
        return span.start >= from && span.start < until;
    }
    return span.start < until && span.end > from;
}

// The longest any instance may last, so that one that began before a range is not missed.
seconds longestSpan(const EventComponent& master) {
    TimeSpan span = master.spanFrom(master.start);
    seconds longest = span.end - span.start;
    for (const AddedDate& added : master.additions) {
        span = master.spanOf(added);
        longest = std::max<seconds>(longest, span.end - span.start);
    }
    // The same nominal length may be longer elsewhere in the year.
    return longest + zoneRoom;
}

// The instances that overrides name, to be looked up by what a recurrence set has.
class NamedStarts {
  public:
    explicit NamedStarts(std::span<const EventComponent> overrides) {
        for (std::size_t i = 0; i < overrides.size(); ++i) {
            const DateTime& start = overrides[i].originalStart();
            first_ = std::min(first_, start.instant());
            last_ = std::max(last_, start.instant());
            if (start.isDate()) {
                days_.emplace(start.time, i);
                continue;
            }
            daysOfTimes_.emplace(start.day(), i);
            if (start.kind == DateTime::Kind::floating) {
                clocks_.emplace(start.time, i);
            } else {
                times_.emplace(start.instant(), i);
            }
        }
    }

    sys_seconds first() const { return first_; }
    sys_seconds last() const { return last_; }

    // Calls `take` with the index of each override that names this start of a master's set, by a
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
    using Places = std::multimap<Key, std::size_t>;

    template <class Key, class Take>
    static void forEachAt(const Places<Key>& places, const Key& key, Take take) {
        auto [at, end] = places.equal_range(key);
        while (at != end && take(at->second)) {
            ++at;
        }
    }

    sys_seconds first_ = afterAll;
    sys_seconds last_ = beforeAll;
    Places<sys_seconds> times_;
    Places<LocalTime> clocks_;
    Places<LocalTime> days_;
    Places<LocalTime> daysOfTimes_;
};

// For each component the index of the revision that stands: the latest of those with the same key,
// of equal ones that which comes first.
template <class KeyOf>
std::vector<std::size_t> standingRevisions(
    std::span<const EventComponent> components, KeyOf keyOf) {
    std::vector<std::size_t> standing(components.size());
    if (components.size() < 2) {
        return standing;
    }
    using Key = std::invoke_result_t<KeyOf, const EventComponent&>;
    std::vector<std::pair<Key, std::size_t>> byKey;
    byKey.reserve(components.size());
    for (std::size_t i = 0; i < components.size(); ++i) {
        byKey.emplace_back(keyOf(components[i]), i);
    }
    std::sort(byKey.begin(), byKey.end());
    for (auto first = byKey.begin(); first != byKey.end();) {
        const auto last = std::find_if(
            first, byKey.end(), [&](const auto& each) { return each.first != first->first; });
        const auto latest = std::max_element(first, last, [&](const auto& one, const auto& other) {
            return revisionOf(*components[one.second].component) <
                   revisionOf(*components[other.second].component);
        });
        for (; first != last; ++first) {
            standing[first->second] = latest->second;
        }
    }
    return standing;
}

} // namespace

Series::Series(std::vector<EventComponent> components, WorkBudget& budget)
    : budget_(budget) {
    for (EventComponent& component : components) {
        (component.recurrenceId ? overrides_ : masters_).push_back(std::move(component));
    }
    leaveStanding(masters_, standingRevisions(masters_, [](const EventComponent& master) {
        return std::pair(master.start.instant(), master.start.isDate());
    }));
    findOwners();
    leaveStandingOverrides();

    std::vector<std::vector<const EventComponent*>> overrides(masters_.size());
    for (const EventComponent& overriding : overrides_) {
        if (const EventComponent* owner = masterOf(overriding)) {
            overrides[static_cast<std::size_t>(owner - masters_.data())].push_back(&overriding);
        }
    }
    overridesOf_.reserve(masters_.size());
    for (std::size_t i = 0; i < masters_.size(); ++i) {
        overridesOf_.push_back(overridesBy(overrides[i], masters_[i]));
    }
}

Series::OverridesOfMaster Series::overridesBy(
    const std::vector<const EventComponent*>& overrides, const EventComponent& master) {
    std::vector<DateTime> replaced;
    std::vector<DateTime> replacedAlone;
    OverridesOfMaster changes;
    for (const EventComponent* overriding : overrides) {
        replaced.push_back(overriding->originalStart());
        if (overriding->isThisAndFuture) {
            changes.ranges.emplace_back(master, *overriding);
        } else {
            replacedAlone.push_back(overriding->originalStart());
        }
    }
    changes.replaced = StartSet(master, replaced);
    if (changes.ranges.empty()) {
        return changes;
    }
    changes.excluded = StartSet(master, master.exclusions);
    changes.replacedAlone = StartSet(master, replacedAlone);
    std::stable_sort(changes.ranges.begin(), changes.ranges.end(),
        [](const ThisAndFuture& left, const ThisAndFuture& right) {
            return left.from() < right.from();
        });
    return changes;
}

const ThisAndFuture* Series::OverridesOfMaster::rangeAt(sys_seconds originalStart) const {
    const auto next = std::partition_point(ranges.begin(), ranges.end(),
        [&](const ThisAndFuture& range) { return range.from() <= originalStart; });
    return next == ranges.begin() ? nullptr : &*std::prev(next);
}

void Series::leaveStandingOverrides() {
    const std::vector<std::size_t> standing =
        standingRevisions(overrides_, [&](const EventComponent& overriding) {
            const EventComponent* owner = masterOf(overriding);
            const DateTime& original = overriding.originalStart();
            return std::tuple(owner ? owner - masters_.data() : std::ptrdiff_t{-1},
                original.instant(), original.isDate(), overriding.isThisAndFuture);
        });
    std::vector<const EventComponent*> owners;
    for (std::size_t i = 0; i < standing.size(); ++i) {
        if (standing[i] == i) {
            owners.push_back(owners_[i]);
        }
    }
    leaveStanding(overrides_, standing);
    owners_ = std::move(owners);
}

void Series::leaveStanding(
    std::vector<EventComponent>& components, std::span<const std::size_t> standing) {
    std::vector<EventComponent> left;
    std::vector<std::size_t> places(components.size());
    for (std::size_t i = 0; i < components.size(); ++i) {
        if (standing[i] == i) {
            places[i] = left.size();
            left.push_back(std::move(components[i]));
        }
    }
    for (std::size_t i = 0; i < components.size(); ++i) {
        if (standing[i] != i) {
            superseded_.push_back(std::move(components[i]));
            successors_.push_back(&left[places[standing[i]]]);
        }
    }
    components = std::move(left);
}

void Series::findOwners() {
    // A lone master may have any override that speaks of one instance: to nothing, it hides
    // nothing. What speaks of later ones must not get hold of them by the way.
    const bool someSpeakOfLaterOnes = std::any_of(overrides_.begin(), overrides_.end(),
        [](const EventComponent& each) { return each.isThisAndFuture; });
    const bool isPlain = masters_.size() < 2 && !someSpeakOfLaterOnes;
    owners_.assign(overrides_.size(), isPlain && !masters_.empty() ? &masters_.front() : nullptr);
    if (!isPlain && !overrides_.empty()) {
        lookForOwners();
    }
    for (EventComponent& overriding : overrides_) {
        if (const EventComponent* owner = masterOf(overriding)) {
            overriding.recurrenceId = owner->resolve(overriding.originalStart());
        }
    }
}

void Series::lookForOwners() {
    const NamedStarts names(overrides_);
    const sys_seconds last = names.last() + zoneRoom;
    // A day that is named means a time only where no set has the day, and the other way round.
    for (const bool ofOwnKind : {true, false}) {
        for (const EventComponent& master : masters_) {
            RecurrenceSet set(master, names.first() - zoneRoom, last, budget_);
            // An override keeps its master when its instance is excluded.
            set.keepExcluded();
            for (auto start = set.next(); start && start->instant <= last; start = set.next()) {
                names.forEachNaming(start->value, master, ofOwnKind, [&](std::size_t overriding) {
                    if (!owners_[overriding]) {
                        owners_[overriding] = &master;
                    }
                    return budget_.spend(1);
                });
            }
        }
    }
}

Instance Series::asInstance(const EventComponent& overriding) const {
    return {&overriding, masterOf(overriding), overriding.originalStart(),
        overriding.start.isDate(), overriding.spanFrom(overriding.start)};
}

bool Series::describesItsOwn(const EventComponent& overriding) const {
    const EventComponent* owner = masterOf(overriding);
    if (!overriding.isThisAndFuture || !owner) {
        return true;
    }
    const OverridesOfMaster& changes = overridesOf(*owner);
    const ThisAndFuture* range = changes.rangeAt(ThisAndFuture(*owner, overriding).from());
    const DateTime& named = overriding.originalStart();
    return range && &range->component() == &overriding && !changes.excluded.contains(named) &&
           !changes.replacedAlone.contains(named);
}

void Series::visitRecurrenceSet(
    const EventComponent& master, const Window& window, const Visit& visit) const {
    const OverridesOfMaster& changes = overridesOf(master);
    RecurrenceSet set(master, window.from, window.until, budget_);
    while (const auto start = set.next()) {
        Instance instance{&master, &master, start->value, start->value.isDate(), {}};
        if (const ThisAndFuture* range = changes.rangeAt(start->instant)) {
            const auto moved = range->startOf(start->value);
            if (!moved) {
                continue;
            }
            const EventComponent& overriding = range->component();
            instance.component = &overriding;
            instance.isAllDay = moved->isDate();
            instance.span = overriding.spanFrom(*moved);
        } else {
            instance.span =
                start->added ? master.spanOf(*start->added) : master.spanFrom(start->value);
        }
        if (!visit(instance)) {
            return;
        }
    }
}

Series::Window Series::windowOf(
    const EventComponent& master, model::Instant from, model::Instant until) const {
    const sys_seconds first = std::chrono::floor<seconds>(from);
    const sys_seconds last = std::chrono::ceil<seconds>(until);
    const std::vector<ThisAndFuture>& ranges = overridesOf(master).ranges;
    Window window{first - longestSpan(master), last};
    if (ranges.empty()) {
        return window;
    }
    window.until = std::min(window.until, ranges.front().from());
    if (window.until <= window.from) {
        window = {afterAll, beforeAll};
    }
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        const ThisAndFuture& range = ranges[i];
        const sys_seconds end = i + 1 < ranges.size() ? ranges[i + 1].from() : afterAll;
        // A wall clock may be told in two zones, and a day stand for its hours.
        constexpr seconds room = 2 * zoneRoom;
        const sys_seconds begin = first - longestSpan(range.component()) - range.shift() - room;
        const Window own{std::max(begin, range.from()), std::min(last - range.shift() + room, end)};
        if (own.from < own.until) {
            window = {std::min(window.from, own.from), std::max(window.until, own.until)};
        }
    }
    return window;
}

std::vector<Instance> Series::instancesIn(model::Instant from, model::Instant until) const {
    std::vector<Instance> found;
    if (until < from) {
        return found;
    }
    for (const EventComponent& master : masters_) {
        const Window window = windowOf(master, from, until);
        if (window.until < window.from) {
            continue;
        }
        visitRecurrenceSet(master, window, [&](const Instance& instance) {
            if (instance.originalStart.instant() >= window.until ||
                found.size() >= maximumInstances) {
                return false;
            }
            if (isIn(instance.span, from, until) && !isReplaced(instance)) {
                found.push_back(instance);
            }
            return true;
        });
    }
    for (const EventComponent& overriding : overrides_) {
        const Instance instance = asInstance(overriding);
        if (isIn(instance.span, from, until) && describesItsOwn(overriding)) {
            found.push_back(instance);
        }
    }
    return found;
}

std::optional<Instance> Series::firstStanding() const {
    std::optional<Instance> first;
    const auto offer = [&](const Instance& instance) {
        if (!first || instance.originalStart.instant() < first->originalStart.instant()) {
            first = instance;
        }
    };
    for (const EventComponent& overriding : overrides_) {
        if (describesItsOwn(overriding)) {
            offer(asInstance(overriding));
        }
    }
    for (const EventComponent& master : masters_) {
        // One that is replaced has been offered already, and no later one comes before it.
        visitRecurrenceSet(master, {beforeAll, afterAll}, [&](const Instance& instance) {
            if (!isReplaced(instance)) {
                offer(instance);
            }
            return false;
        });
    }
    return first;
}

std::optional<Instance> Series::standingAt(sys_seconds originalStart) const {
    for (const EventComponent& each : overrides_) {
        if (each.originalStart().instant() == originalStart && describesItsOwn(each)) {
            return asInstance(each);
        }
    }
    std::optional<Instance> found;
    for (const EventComponent& master : masters_) {
        if (found) {
            break;
        }
        visitRecurrenceSet(master, {originalStart, originalStart}, [&](const Instance& instance) {
            const sys_seconds start = instance.originalStart.instant();
            if (start == originalStart && !isReplaced(instance)) {
                found = instance;
            }
            return start <= originalStart && !found;
        });
    }
    return found;
}

bool Series::recurs() const {
    return !overrides_.empty() || masters_.size() > 1 ||
           std::any_of(masters_.begin(), masters_.end(),
               [](const EventComponent& master) { return master.recurs(); });
}

} // namespace quenbrook::icalendar
