#include "platform/icalendar/event/ThisAndFuture.h"

#include "platform/icalendar/event/EventDates.h"

namespace quenbrook::platform::icalendar {

using std::chrono::days;

ThisAndFuture::ThisAndFuture(const EventComponent& master, const EventComponent& exception)
    : master_(&master)
    , exception_(&exception)
    , from_(exception.originalStart().instant()) {
    const DateTime& named = exception.originalStart();
    LocalTime original = clockOf(named);
    if (named.isDate() && !master.start.isDate()) {
        // A day that is named means what has a time on it: the master's.
        from_ = master.start.withTime(named.time).instant();
        original = named.time + (master.start.time - master.start.day());
    }
    if (exception.start.isDate()) {
        shift_ = exception.start.time - std::chrono::floor<days>(original);
    } else {
        shift_ =
            (master.start.isDate() ? exception.start.time : clockOf(exception.start)) - original;
    }
}

std::optional<DateTime> ThisAndFuture::startOf(const DateTime& originalStart) const {
    const DateTime& likeness = exception_->start;
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
    const bool isHeld = start.time >= earliestTime && start.time <= latestTime;
    return isHeld ? std::optional(std::move(start)) : std::nullopt;
}

LocalTime ThisAndFuture::clockOf(const DateTime& start) const {
    const DateTime& like = master_->start;
    const bool isAlike =
        start.isDate() || (start.form == like.form && start.zoneIdentifier == like.zoneIdentifier);
    return isAlike ? start.time : like.zone.wallClockAt(start.instant());
}

} // namespace quenbrook::platform::icalendar
