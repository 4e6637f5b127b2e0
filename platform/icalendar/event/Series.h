#pragma once

#include "platform/CalendarStore.h"
#include "platform/icalendar/event/EventComponent.h"
#include "platform/icalendar/event/RecurrenceSet.h"
#include "platform/icalendar/event/ThisAndFuture.h"
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
    // Whose recurrence set it belongs to; null for an exception to nothing.
    const EventComponent* master;
    // Where the recurrence set has it (for RECURRENCE-ID and EXDATE), which for an exception is not
    // where it takes place.
    DateTime originalStart;
    // A series of times may have added dates that are whole days.
    bool isAllDay;
    TimeSpan span;

    // Whether its component is an exception that speaks of this one alone.
    bool isException() const {
        return component->recurrenceId && !(master && component->isThisAndFuture);
    }
};

// The components of one UID: as a rule one event, its master, and the exceptions to it. Of masters
// with the same start the latest revision stands, and the others are as if they were not there.
// Where masters with different starts stand, an exception belongs to the first whose recurrence set
// has the occurrence that it names, excluded or not. An exception to nothing (somebody was invited
// to one occurrence) stands for itself.
//
// Where an exception speaks of the later ones too, it describes every later occurrence that has no
// exception of its own, up to the next such exception. Unlike other exceptions it describes its own
// occurrence only as long as that is not excluded and has no other exception.
class Series {
  public:
    static constexpr std::size_t maximumOccurrences = 100'000;

    // `budget` must outlive this. What is asked after it is spent finds no occurrence but DTSTART
    // and listed dates.
    Series(std::vector<EventComponent> components, WorkBudget& budget);
    // Occurrences point into the components.
    Series(const Series&) = delete;
    Series& operator=(const Series&) = delete;

    // Every occurrence that starts before `until` and ends after `from`, or of no length and starts
    // in between. At most maximumOccurrences of them: a rule that yields more is cut there.
    std::vector<Occurrence> occurrencesIn(Instant from, Instant until) const;

    // The first that is not excluded, in the order of original starts.
    std::optional<Occurrence> firstStanding() const;

    // The occurrence of this original start, if it still stands.
    std::optional<Occurrence> standingAt(std::chrono::sys_seconds originalStart) const;

    // Whether the components recur at all; if not, there is one event and nothing else.
    bool recurs() const;

    std::span<const EventComponent> masters() const { return masters_; }
    std::span<const EventComponent> exceptions() const { return exceptions_; }
    // The masters in whose place later revisions stand.
    std::span<const EventComponent> superseded() const { return superseded_; }
    // The master that an exception of this series belongs to; null when there is none.
    const EventComponent* masterOf(const EventComponent& exception) const {
        return owners_[static_cast<std::size_t>(&exception - exceptions_.data())];
    }

  private:
    void takeMasters(std::vector<EventComponent> masters);
    void findOwners();
    void lookForOwners();

    // What describes a master's occurrences beside it.
    struct Changes {
        // The occurrences that have an exception.
        StartSet replaced;
        // In the order in which they hold; of those for one occurrence, the latest revision.
        std::vector<ThisAndFuture> ranges;
        // To know whether these describe their own occurrences; empty when there are none.
        StartSet excluded;
        StartSet replacedAlone;

        // Null when the master does.
        const ThisAndFuture* rangeAt(std::chrono::sys_seconds originalStart) const;
    };
    static Changes changesBy(
        const std::vector<const EventComponent*>& exceptions, const EventComponent& master);

    // The original starts of the occurrences that may touch a range of instants.
    struct Window {
        std::chrono::sys_seconds from;
        std::chrono::sys_seconds until;
    };
    Window windowOf(const EventComponent& master, Instant from, Instant until) const;

    Occurrence asOccurrence(const EventComponent& exception) const;
    bool describesItsOwn(const EventComponent& exception) const;
    const EventComponent* exceptionAt(std::chrono::sys_seconds originalStart) const;
    bool isReplaced(const Occurrence& occurrence) const {
        return changesOf(*occurrence.master).replaced.contains(occurrence.originalStart);
    }
    const Changes& changesOf(const EventComponent& master) const {
        return changes_[static_cast<std::size_t>(&master - masters_.data())];
    }

    using Visit = std::function<bool(const Occurrence&)>;
    // Visits the occurrences of the master's recurrence set that are not excluded, as they are
    // without the exceptions that speak of one alone, in the order of original starts, until told
    // to stop by false. Original starts before the window are left out, and those after may be.
    void visitRecurrenceSet(
        const EventComponent& master, const Window& window, const Visit& visit) const;

    std::vector<EventComponent> masters_;
    std::vector<EventComponent> superseded_;
    std::vector<EventComponent> exceptions_;
    // Of each exception.
    std::vector<const EventComponent*> owners_;
    // Of each master.
    std::vector<Changes> changes_;
    WorkBudget& budget_;
};

} // namespace quenbrook::platform::icalendar
