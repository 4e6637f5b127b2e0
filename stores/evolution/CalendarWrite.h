#pragma once

#include "stores/evolution/FactoryCalendar.h"

namespace quenbrook::stores::evolution {

// One change of a calendar: the calls that it takes, and whether one of them may have changed
// something when the change fails. Not thread-safe.
class CalendarWrite {
  public:
    // All of it is to end by the deadline. `calendar` must outlive this.
    CalendarWrite(FactoryCalendar& calendar, Deadline deadline)
        : calendar_(calendar)
        , deadline_(deadline) {}

    FactoryCalendar& calendar() const { return calendar_; }
    Deadline deadline() const { return deadline_; }

    // Makes a call that changes the calendar. Throws BusError when it is not answered as it should
    // be.
    template <class... Arguments>
    void call(const char* method, const Arguments&... arguments) {
        try {
            calendar_.call(deadline_, method, arguments...);
            mayHaveChanged_ = true;
        } catch (const BusError& error) {
            mayHaveChanged_ |= error.isUnanswered() && !error.isUndelivered();
            throw;
        }
    }

    // Whether a call was taken by the service, or may have been.
    bool mayHaveChanged() const { return mayHaveChanged_; }

  private:
    FactoryCalendar& calendar_;
    Deadline deadline_;
    bool mayHaveChanged_ = false;
};

} // namespace quenbrook::stores::evolution
