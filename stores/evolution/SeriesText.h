#pragma once

#include "icalendar/EventTexts.h"
#include "stores/evolution/CalendarWrite.h"

#include <optional>
#include <string>
#include <vector>

namespace quenbrook::stores::evolution {

// The events of one UID in a calendar, as they were read and as they are to be changed.
class SeriesText {
  public:
    // Returns nullopt when the calendar has none. Throws BusError when that cannot be told, or not
    // by the deadline.
    static std::optional<SeriesText> read(
        FactoryCalendar& calendar, const std::string& uid, Deadline deadline);

    const std::string& uid() const { return uid_; }

    // With the zones that are the calendar's own.
    const std::string& stream() const { return stream_; }

    // What becomes of an exception that a change drops.
    enum class Dropped {
        // The series excludes its occurrence.
        excluded,
        // The series has no such occurrence any more.
        forgotten
    };

    // Makes the calendar hold what `changed` says of these events; an empty text removes them.
    // Throws BusError when it does not.
    void replace(CalendarWrite& write, const std::string& changed, Dropped dropped) const;

    // Has the service ask its server, and waits until it knows of something else than this. Returns
    // without it when that takes too long.
    void awaitOther(FactoryCalendar& calendar, Deadline deadline) const;

  private:
    SeriesText(std::string uid, std::string stream, std::vector<std::string> ownZones);

    void defineZones(const FactoryCalendar& calendar, Deadline deadline) const;

    std::string uid_;
    std::string stream_;
    // Their definitions.
    std::vector<std::string> ownZones_;
};

// Whether somebody else has changed the event on the server since it was read.
bool isConflict(const BusError& error);

// Adds a new event. Throws BusError when it is not saved.
void createEvent(CalendarWrite& write, const std::string& event);

} // namespace quenbrook::stores::evolution
