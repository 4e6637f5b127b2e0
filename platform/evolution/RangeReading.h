#pragma once

#include "platform/evolution/FactoryCalendar.h"
#include "platform/icalendar/CalendarReader.h"
#include "platform/icalendar/EventTexts.h"

#include <functional>
#include <string>
#include <vector>

namespace quenbrook::platform::evolution {

// The occurrences that one calendar has in a range, being read. Several calendars are read at once.
class RangeReading {
  public:
    // Begins. `calendar` must outlive this.
    RangeReading(FactoryCalendar& calendar, Instant start, Instant end);
    RangeReading(const RangeReading&) = delete;
    RangeReading& operator=(const RangeReading&) = delete;
    ~RangeReading();

    FactoryCalendar& calendar() const { return calendar_; }

    bool isDone() const { return isDone_; }

    // When it is done: what was found. Of a calendar that cannot be read, nothing.
    std::vector<icalendar::FoundEvent>& events() { return events_; }

  private:
    struct Query {
        std::string text;
        std::optional<Message> answer;
        PendingCall pending;
    };

    void begin();
    void ask(std::vector<std::string> queries);
    void takeAnswer(Query& query, Outcome outcome);
    void takeAll();
    void askForZones();
    void takeZone(Outcome outcome);
    void expand();

    // Several queries see the calendar at several moments: their answers belong together when it
    // was not changed in between.
    void askForRevision(std::function<void(std::string)> take);

    // False, or a throw, when there is none.
    bool isAnswered(const Outcome& outcome) const;

    FactoryCalendar& calendar_;
    icalendar::RangeQuery range_;
    std::vector<std::string> narrowQueries_;
    std::string revision_;
    PendingCall revisionCall_;
    std::vector<Query> queries_;
    std::size_t unanswered_ = 0;
    icalendar::StreamAssembly components_;
    std::vector<PendingCall> zones_;
    std::vector<icalendar::FoundEvent> events_;
    bool isDone_ = false;
};

} // namespace quenbrook::platform::evolution
