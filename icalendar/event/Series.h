#pragma once

#include "icalendar/event/EventComponent.h"
#include "icalendar/event/RecurrenceSet.h"
#include "icalendar/event/ThisAndFuture.h"
#include "icalendar/recurrence/WorkBudget.h"
#include "model/Instant.h"

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace quenbrook::icalendar {

// One instance: the component that describes it and when it takes place.
struct Instance {
    const EventComponent* component;
    // Whose recurrence set it belongs to; null for an override without a master.
    const EventComponent* master;
    // Where the recurrence set has it (for RECURRENCE-ID and EXDATE), which for an override is not
    // where it takes place.
    DateTime originalStart;
    // A series of times may have added dates that are whole days.
    bool isAllDay;
    TimeSpan span;

    // Whether its component is an override that speaks of this one alone.
    bool isOverride() const {
        return component->recurrenceId && !(master && component->isThisAndFuture);
    }
};

// The components of one UID: as a rule one event, its master, and the overrides of it. Of masters
// with the same start, and of overrides with the same original start and RANGE, the latest
// revision stands, and the others are as if they were not there. Where masters with different
// starts stand, an override belongs to the first whose recurrence set has the instance that it
// names, excluded or not. An override without a master (somebody was invited to one instance)
// stands for itself.
//
// Where an override speaks of the later ones too, it describes every later instance that has no
// override of its own, up to the next such override. Unlike other overrides it describes its own
// instance only as long as that is not excluded and has no other override.
class Series {
  public:
    static constexpr std::size_t maximumInstances = 100'000;

    // `budget` must outlive this. What is asked after it is spent finds no instance but DTSTART
    // and listed dates.
    Series(std::vector<EventComponent> components, WorkBudget& budget);
    // Occurrences point into the components.
    Series(const Series&) = delete;
    Series& operator=(const Series&) = delete;

    // Every instance that starts before `until` and ends after `from`, or of no length and starts
    // in between. At most maximumInstances of them: a rule that yields more is cut there.
    std::vector<Instance> instancesIn(model::Instant from, model::Instant until) const;

    // The first that is not excluded, in the order of original starts.
    std::optional<Instance> firstStanding() const;

    // The instance of this original start, if it still stands.
    std::optional<Instance> standingAt(std::chrono::sys_seconds originalStart) const;

    // Whether the components recur at all; if not, there is one event and nothing else.
    bool recurs() const;

    std::span<const EventComponent> masters() const { return masters_; }
    std::span<const EventComponent> overrides() const { return overrides_; }
    // The components in whose place later revisions stand.
    std::span<const EventComponent> superseded() const { return superseded_; }
    // The component that stands in the place of one of these.
    const EventComponent& successorOf(const EventComponent& superseded) const {
        return *successors_[static_cast<std::size_t>(&superseded - superseded_.data())];
    }
    // The master that an override of this series belongs to; null when there is none.
    const EventComponent* masterOf(const EventComponent& overriding) const {
        return owners_[static_cast<std::size_t>(&overriding - overrides_.data())];
    }

  private:
    void leaveStandingOverrides();
    void leaveStanding(
        std::vector<EventComponent>& components, std::span<const std::size_t> standing);
    void findOwners();
    void lookForOwners();

    // What describes a master's instances beside it.
    struct OverridesOfMaster {
        // The instances that have an override.
        StartSet replaced;
        // In the order in which they hold; of those for one instance, the latest revision.
        std::vector<ThisAndFuture> ranges;
        // To know whether these describe their own instances; empty when there are none.
        StartSet excluded;
        StartSet replacedAlone;

        // Null when the master does.
        const ThisAndFuture* rangeAt(std::chrono::sys_seconds originalStart) const;
    };
    static OverridesOfMaster overridesBy(
        const std::vector<const EventComponent*>& overrides, const EventComponent& master);

    // The original starts of the instances that may touch a range of instants.
    struct Window {
        std::chrono::sys_seconds from;
        std::chrono::sys_seconds until;
    };
    Window windowOf(const EventComponent& master, model::Instant from, model::Instant until) const;

    Instance asInstance(const EventComponent& overriding) const;
    bool describesItsOwn(const EventComponent& overriding) const;
    bool isReplaced(const Instance& instance) const {
        return overridesOf(*instance.master).replaced.contains(instance.originalStart);
    }
    const OverridesOfMaster& overridesOf(const EventComponent& master) const {
        return overridesOf_[static_cast<std::size_t>(&master - masters_.data())];
    }

    using Visit = std::function<bool(const Instance&)>;
    // Visits the instances of the master's recurrence set that are not excluded, as they are
    // without the overrides that speak of one alone, in the order of original starts, until told
    // to stop by false. Original starts before the window are left out, and those after may be.
    void visitRecurrenceSet(
        const EventComponent& master, const Window& window, const Visit& visit) const;

    std::vector<EventComponent> masters_;
    std::vector<EventComponent> superseded_;
    // Of each superseded component.
    std::vector<const EventComponent*> successors_;
    std::vector<EventComponent> overrides_;
    // Of each override.
    std::vector<const EventComponent*> owners_;
    // Of each master.
    std::vector<OverridesOfMaster> overridesOf_;
    WorkBudget& budget_;
};

} // namespace quenbrook::icalendar
