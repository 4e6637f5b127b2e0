#pragma once

#include "icalendar/event/EventComponent.h"

#include <chrono>
#include <optional>

namespace quenbrook::icalendar {

// An override with RANGE=THISANDFUTURE (RFC 5545 section 3.2.13): the later instances of its
// master take its texts, its length and its shift. The shift is one of the wall clock, so that
// "an hour later" stays an hour later over a change of the clocks.
class ThisAndFuture {
  public:
    // Both must outlive this. The override's RECURRENCE-ID is what the master has it mean.
    ThisAndFuture(const EventComponent& master, const EventComponent& overriding);

    const EventComponent& component() const { return *override_; }
    // The original start from which it holds.
    std::chrono::sys_seconds from() const { return from_; }

    // Where the instance of an original start takes place. Returns nullopt outside of the years
    // 0001 to 9999.
    std::optional<DateTime> startOf(const DateTime& originalStart) const;

    // How far starts are moved, give or take what zones make of a wall clock and a day of its
    // hours.
    std::chrono::seconds shift() const { return shift_; }

  private:
    // On the master's clock.
    LocalTime clockOf(const DateTime& start) const;

    const EventComponent* master_;
    const EventComponent* override_;
    std::chrono::sys_seconds from_;
    std::chrono::seconds shift_;
};

} // namespace quenbrook::icalendar
