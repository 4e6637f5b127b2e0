#include "tests/support/InMemoryStore.h"

#include <algorithm>
#include <array>
#include <utility>

namespace quenbrook::support {

using model::Calendar;
using model::Event;
using model::EventChanges;
using model::Instant;
using model::PlatformError;
using model::RecurrenceFrequency;
using model::RecurrenceRule;

namespace {

// The n-th start that a rule gives, or nothing where the calendar has no such day (30 February).
std::optional<Instant> repetition(const RecurrenceRule& rule, Instant first, std::int64_t n) {
    const std::int64_t units = n * rule.interval;
    switch (rule.frequency) {
    case RecurrenceFrequency::daily:
        return first + std::chrono::days{units};
    case RecurrenceFrequency::weekly:
        return first + std::chrono::weeks{units};
    default:
        break;
    }
    const auto day = std::chrono::floor<std::chrono::days>(first);
    const std::chrono::year_month_day date{day};
    const std::chrono::months months{
        static_cast<int>(rule.frequency == RecurrenceFrequency::monthly ? units : 12 * units)};
    const auto moved = date + months;
    if (!moved.ok()) {
        return std::nullopt;
    }
    return std::chrono::sys_days{moved} + (first - day);
}

// The repetitions of a rule within ten thousand years, by frequency.
constexpr std::array<std::int64_t, 4> mostUnits{3'660'000, 523'000, 120'000, 10'000};

// The starts that the rules give up to `until`, and the one that follows.
std::set<Instant> startsOf(const Event& first, Instant until) {
    std::set<Instant> starts{first.start};
    for (const RecurrenceRule& rule : first.recurrenceRules) {
        const auto most = mostUnits.at(static_cast<std::size_t>(rule.frequency));
        std::int64_t found = 0;
        for (std::int64_t n = 0; n * rule.interval <= most; ++n) {
            const auto start = repetition(rule, first.start, n);
            if (!start) {
                continue;
            }
            if (rule.end && (rule.end->endDate ? *start > *rule.end->endDate
                                               : found == rule.end->occurrenceCount)) {
                break;
            }
            starts.insert(*start);
            ++found;
            if (*start > until) {
                break;
            }
        }
    }
    return starts;
}

bool isInRange(const Event& event, Instant start, Instant end) {
    if (end < start) {
        return false;
    }
    if (event.start == event.end) {
        return event.start >= start && event.start < end;
    }
    return event.start < end && event.end > start;
}

} // namespace

class InMemoryStore::Handle final : public model::EventHandle {
  public:
    Handle(std::size_t entry, Instant originalStart)
        : entry_(entry)
        , originalStart_(originalStart) {}

    static const Handle& of(const Event& event) {
        return dynamic_cast<const Handle&>(*event.handle);
    }
    std::size_t entry() const { return entry_; }
    Instant originalStart() const { return originalStart_; }

  private:
    std::size_t entry_;
    Instant originalStart_;
};

InMemoryStore::~InMemoryStore() {
    if (answering_.joinable()) {
        answering_.join();
    }
}

void InMemoryStore::add(Calendar calendar) {
    calendars_.push_back(std::move(calendar));
}

void InMemoryStore::add(Event event) {
    event.handle = std::make_shared<Handle>(nextEntry_, event.start);
    entries_[nextEntry_++].first = std::move(event);
}

std::int64_t InMemoryStore::authorizationStatus() {
    calls.emplace_back("authorizationStatus()");
    return status;
}

void InMemoryStore::requestFullAccess(stores::AccessCompletion completion) {
    calls.emplace_back("requestFullAccess()");
    auto answer = [given = prompt, completion = std::move(completion)] {
        completion(
            given.granted, given.error ? std::optional<PlatformError>(*given.error) : std::nullopt);
    };
    if (!prompt.answersLate) {
        answer();
        return;
    }
    answering_ = std::thread([answer = std::move(answer)] {
        std::this_thread::sleep_for(std::chrono::milliseconds{20});
        answer();
    });
}

std::vector<Calendar> InMemoryStore::calendars() {
    record("calendars()");
    return calendars_;
}

std::optional<Calendar> InMemoryStore::calendar(std::string_view identifier) {
    record("calendar(" + std::string(identifier) + ")");
    const auto found = std::find_if(calendars_.begin(), calendars_.end(),
        [&](const Calendar& calendar) { return calendar.identifier == identifier; });
    return found == calendars_.end() ? std::nullopt : std::optional(*found);
}

void InMemoryStore::forEachEvent(Instant start, Instant end,
    std::optional<std::span<const Calendar>> calendars, const std::function<void(Event)>& take) {
    std::string named;
    std::set<std::string> wanted;
    for (const Calendar& calendar : calendars.value_or(std::span<const Calendar>{})) {
        named += (named.empty() ? "" : ",") + calendar.identifier;
        wanted.insert(calendar.identifier);
    }
    record("events(" + (calendars ? named : "all") + ")");

    for (const auto& [number, entry] : entries_) {
        const auto& calendar = entry.first.calendar;
        if (calendars && (!calendar || !wanted.contains(calendar->identifier))) {
            continue;
        }
        for (const Event& occurrence : occurrences(entry, end)) {
            if (isInRange(occurrence, start, end)) {
                take(occurrence);
            }
        }
    }
}

std::optional<Event> InMemoryStore::event(std::string_view identifier) {
    record("event(" + std::string(identifier) + ")");
    for (const auto& [number, entry] : entries_) {
        if (entry.first.identifier != identifier) {
            continue;
        }
        const auto standing = occurrences(entry, lastRemoved(entry));
        return standing.empty() ? std::nullopt : std::optional(standing.front());
    }
    return std::nullopt;
}

std::optional<model::SavedEvent> InMemoryStore::create(
    const Calendar& calendar, const EventChanges& changes) {
    record("create(" + calendar.identifier + ")");
    lastChanges = changes;
    if (refusesSaves || *changes.end < *changes.start) {
        return std::nullopt;
    }
    Event event;
    event.identifier = "EVENT-" + std::to_string(nextEntry_);
    event.calendar = std::make_shared<Calendar>(calendar);
    apply(changes, event);
    add(event);
    return model::SavedEvent::of(entries_.rbegin()->second.first);
}

bool InMemoryStore::update(const Event& event, const EventChanges& changes) {
    record("update(" + event.identifier.value_or("") + ")");
    lastChanges = changes;
    Event changed = event;
    apply(changes, changed);
    if (refusesSaves || changed.end < changed.start) {
        return false;
    }
    if (!entries_.contains(Handle::of(event).entry())) {
        return false;
    }
    Entry& entry = entryOf(event);
    const bool rulesStay = changed.recurrenceRules == entry.first.recurrenceRules;
    if (!entry.first.recurrenceRules.empty() && rulesStay) {
        entry.exceptions[Handle::of(event).originalStart()] = changed;
        return true;
    }
    changed.handle = std::make_shared<Handle>(Handle::of(event).entry(), changed.start);
    entry = Entry{changed, {}, {}};
    return true;
}

bool InMemoryStore::remove(const Event& event) {
    record("remove(" + event.identifier.value_or("") + ")");
    if (refusesRemovals || !entries_.contains(Handle::of(event).entry())) {
        return false;
    }
    Entry& entry = entryOf(event);
    const Handle& handle = Handle::of(event);
    entry.exceptions.erase(handle.originalStart());
    entry.removed.insert(handle.originalStart());
    if (occurrences(entry, lastRemoved(entry)).empty()) {
        entries_.erase(handle.entry());
    }
    return true;
}

void InMemoryStore::record(std::string call) {
    calls.push_back(std::move(call));
    if (failure) {
        throw PlatformError(*failure);
    }
}

Instant InMemoryStore::lastRemoved(const Entry& entry) {
    return entry.removed.empty() ? entry.first.start : *entry.removed.rbegin();
}

std::vector<Event> InMemoryStore::occurrences(const Entry& entry, Instant until) {
    std::vector<Event> standing;
    auto starts = startsOf(entry.first, until);
    for (const auto& [originalStart, exception] : entry.exceptions) {
        starts.insert(originalStart);
    }
    for (const Instant start : starts) {
        if (entry.removed.contains(start)) {
            continue;
        }
        if (const auto exception = entry.exceptions.find(start);
            exception != entry.exceptions.end()) {
            standing.push_back(exception->second);
            continue;
        }
        Event occurrence = entry.first;
        occurrence.start = start;
        occurrence.end = start + (entry.first.end - entry.first.start);
        occurrence.handle = std::make_shared<Handle>(Handle::of(entry.first).entry(), start);
        standing.push_back(std::move(occurrence));
    }
    return standing;
}

InMemoryStore::Entry& InMemoryStore::entryOf(const Event& event) {
    return entries_.at(Handle::of(event).entry());
}

void InMemoryStore::apply(const EventChanges& changes, Event& event) const {
    if (changes.title) {
        event.title = changes.title;
    }
    event.start = changes.start.value_or(event.start);
    event.end = changes.end.value_or(event.end);
    event.isAllDay = changes.isAllDay.value_or(event.isAllDay);
    if (changes.location) {
        event.location = changes.location;
    }
    if (changes.notes) {
        event.notes = changes.notes;
    }
    if (changes.alarms) {
        event.alarmCount = changes.alarms->size();
    }
    if (changes.recurrenceRules) {
        event.recurrenceRules = *changes.recurrenceRules;
    }
    event.lastModified = now;
}

} // namespace quenbrook::support
