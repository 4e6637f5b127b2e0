#pragma once

#include "platform/CalendarStore.h"
#include "platform/icalendar/event/EventComponent.h"
#include "platform/icalendar/event/RecurrenceSet.h"
#include "platform/icalendar/recurrence/WorkBudget.h"

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace quenbrook::platform::icalendar {

// One occurrence: the component that describes it and when it takes place.
struct Occurrence {
    const EventComponent* component;
    // Where the recurrence set has it (for RECURRENCE-ID and EXDATE), which for an exception is not
    // where it takes place.
    DateTime originalStart;
    // A series of times may have added dates that are whole days.
    bool isAllDay;
    TimeSpan span;
};

// The components of one UID: as a rule one event and the exceptions to it. An exception to nothing
// (somebody was invited to one occurrence) stands for itself.
class Series {
  public:
    // `budget` must outlive this. What is asked after it is spent finds no occurrence but DTSTART
    // and listed dates.
    Series(std::vector<EventComponent> components, WorkBudget& budget);
    // Occurrences point into the components.
    Series(const Series&) = delete;
    Series& operator=(const Series&) = delete;

    // Every occurrence that starts before `until` and ends after `from`, or of no length and starts
    // in between. At most 100,000 of them: a rule that yields more is cut there.
    std::vector<Occurrence> occurrencesIn(Instant from, Instant until) const;

    // The first that is not excluded, in the order of original starts.
    std::optional<Occurrence> firstStanding() const;

    // The occurrence of this original start, if it still stands.
    std::optional<Occurrence> standingAt(std::chrono::sys_seconds originalStart) const;

    // Whether the components recur at all; if not, there is one event and nothing else.
    bool recurs() const;

    // The component that carries the rules; null when there are only exceptions.
    const EventComponent* master() const { return masters_.empty() ? nullptr : &masters_.front(); }
    std::span<const EventComponent> masters() const { return masters_; }
    std::span<const EventComponent> exceptions() const { return exceptions_; }

    const EventComponent* exceptionAt(std::chrono::sys_seconds originalStart) const;

  private:
    bool isReplaced(const Occurrence& occurrence) const {
        return replaced_.contains(occurrence.originalStart);
    }

    using Visit = std::function<bool(const Occurrence&)>;
    // Visits the occurrences that the master itself describes and that are not excluded, those
    // with exceptions too, ascending from `from` on, until told to stop by false. Those that start
    // after `until` may be left out.
    void visitRecurrenceSet(const EventComponent& master, std::chrono::sys_seconds from,
        std::chrono::sys_seconds until, const Visit& visit) const;

    std::vector<EventComponent> masters_;
    std::vector<EventComponent> exceptions_;
    StartSet replaced_;
    WorkBudget& budget_;
};

} // namespace quenbrook::platform::icalendar
