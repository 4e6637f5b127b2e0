#include "icalendar/event/ThisAndFuture.h"

#include "icalendar/event/EventDates.h"

namespace quenbrook::icalendar {

using std::chrono::days;

ThisAndFuture::ThisAndFuture(const EventComponent& master, const EventComponent& overriding)
    : master_(&master)
    , override_(&overriding)
    , from_(overriding.originalStart().instant()) {
    const DateTime& named = overriding.originalStart();
    LocalTime original = clockOf(named);
    if (named.isDate() && !master.start.isDate()) {
        // A day that is named means what has a time on it: the master's.
        from_ = master.start.withTime(named.time).instant();
        original = named.time + (master.start.time - master.start.day());
    }
    if (overriding.start.isDate()) {
        shift_ = overriding.start.time - std::chrono::floor<days>(original);
    } else {
        shift_ =
            (master.start.isDate() ? overriding.start.time : clockOf(overriding.start)) - original;
    }
}

std::optional<DateTime> ThisAndFuture::startOf(const DateTime& originalStart) const {
    const DateTime& likeness = override_->start;
    DateTime start = originalStart;
    if (likeness.isDate()) {
        start = likeness.withTime(std::chrono::floor<days>(clockOf(originalStart)) + shift_);
    } else if (master_->start.isDate()) {
        start = likeness.withTime(originalStart.time + shift_);
    } else if (originalStart.isDate()) {
        // A day that was added to a series of times.
        start.time += std::chrono::duration_cast<days>(shift_);
    } else {
        start = master_->start.withTime(clockOf(originalStart) + shift_);
    }
    return isHeld(start.time) ? std::optional(std::move(start)) : std::nullopt;
}

LocalTime ThisAndFuture::clockOf(const DateTime& start) const {
    const DateTime& like = master_->start;
    const bool isAlike =
        start.isDate() || (start.kind == like.kind && start.zoneIdentifier == like.zoneIdentifier);
    return isAlike ? start.time : like.zone.wallClockAt(start.instant());
}

} // namespace quenbrook::icalendar
