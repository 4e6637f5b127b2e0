#pragma once

#include "icalendar/CalendarReader.h"
#include "icalendar/EventTexts.h"
#include "stores/evolution/FactoryCalendar.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quenbrook::stores::evolution {

// The occurrences that one calendar has in a range, being read. Several calendars are read at once.
class RangeReading {
  public:
    // Begins. `calendar` must outlive this.
    RangeReading(FactoryCalendar& calendar, model::Instant start, model::Instant end);
    RangeReading(const RangeReading&) = delete;
    RangeReading& operator=(const RangeReading&) = delete;
    ~RangeReading();

    FactoryCalendar& calendar() const { return calendar_; }

    bool isDone() const { return isDone_; }

    // What it ended in, or the opening of the calendar. Nullopt when all was read.
    const std::optional<BusError>& error() const { return error_ ? error_ : calendar_.error(); }

    // When it is done: what was found. Empty after an error.
    std::vector<icalendar::FoundEvent>& events() { return events_; }

    // Whether the service had nothing at all to say of the range, of events that recur neither.
    bool isEmpty() const { return isEmpty_; }

  private:
    struct Query {
        std::optional<Message> answer;
        PendingCall pending;
    };

    void begin();
    void ask(const std::vector<std::string>& queries);
    void takeAnswer(Query& query, Outcome outcome);
    void takeAll();
    void askForZones();
    void takeZone(Outcome outcome);
    void expand();

    // Several queries see the calendar at several moments: their answers belong together when it
    // was not changed in between.
    void askForRevision(std::function<void(std::string)> take);

    // Begins anew when the factory went away; otherwise this is its end.
    void takeFailure(BusError error);

    FactoryCalendar& calendar_;
    icalendar::RangeQuery range_;
    // Empty for a range that only every event covers.
    std::vector<std::string> narrowQueries_;
    std::string revision_;
    PendingCall revisionCall_;
    std::vector<Query> queries_;
    std::size_t unanswered_ = 0;
    icalendar::StreamAssembly components_;
    std::vector<PendingCall> zones_;
    std::vector<icalendar::FoundEvent> events_;
    std::optional<BusError> error_;
    bool isEmpty_ = true;
    bool isDone_ = false;
};

} // namespace quenbrook::stores::evolution
