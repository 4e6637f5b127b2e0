#pragma once

#include "stores/evolution/CalendarWrite.h"
#include "stores/evolution/FactoryCalendar.h"
#include "stores/evolution/TimeBudget.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quenbrook::stores::evolution {

// Something that is under way in one calendar.
struct Undertaking {
    FactoryCalendar* calendar;
    std::function<bool()> isDone;
};

// What one run of the program has of the service: the bus, the calendars that the registry lists,
// and how much time it may still lose to servers that do not answer.
class Session {
  public:
    // Throws BusError when there is no bus, no such service, or no answer.
    Session();

    // In the store's order. Each lives as long as the session.
    std::span<const std::unique_ptr<FactoryCalendar>> calendars() const { return calendars_; }
    // Returns null when there is none.
    FactoryCalendar* calendar(std::string_view identifier) const;

    // Opens them, those that are not open yet. The service takes its time for each, so they are
    // opened at once.
    void open(std::span<FactoryCalendar* const> calendars);

    // Opens one that an event is to be read or changed in, within the time for that. Throws
    // BusError when time runs out.
    void open(FactoryCalendar& calendar);

    // Waits for all of them. Those that depend on a server elsewhere get, in the whole run, a
    // second and a half more than the others took: then their calendars are given up. Throws
    // BusError when another one has no end.
    void wait(std::span<const Undertaking> undertakings);

    // Waits a second and a half at most until an open calendar of birthdays holds those of all
    // contacts. Returns false when it is not known to do so by then. Throws BusError when it cannot
    // be read.
    bool awaitBirthdays(FactoryCalendar& calendar);

    // Throws BusError when it is known that the change does not reach the calendar's server for
    // want of the right password.
    void checkCredentials(const CalendarWrite& write);

    // What a calendar may take to read one event: spent by the reader.
    TimeBudget& readingBudget(const FactoryCalendar& calendar);

    // What is left of the time in which an event has to be found and changed.
    TimeBudget& eventBudget() { return eventBudget_; }

  private:
    void wait(std::span<const Undertaking> undertakings, Deadline deadline);

    Bus bus_;
    std::string registry_;
    std::optional<std::string> addressBooks_;
    std::vector<std::unique_ptr<FactoryCalendar>> calendars_;
    TimeBudget serverBudget_;
    TimeBudget eventBudget_;
};

} // namespace quenbrook::stores::evolution
