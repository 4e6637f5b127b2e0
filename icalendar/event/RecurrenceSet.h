#pragma once

#include "icalendar/event/EventComponent.h"
#include "icalendar/recurrence/RecurrenceExpansion.h"
#include "icalendar/recurrence/WorkBudget.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <span>
#include <vector>

namespace quenbrook::icalendar {

// How far a zone's offsets can be apart: instants and lengths differ by no more from what the wall
// clock alone would tell.
constexpr std::chrono::days zoneRoom{2};

// A set of starts of one event's recurrence set, as EXDATE and RECURRENCE-ID give them. A date
// means the occurrence of whole days on that day; in a set with times that has none there, those
// that have a time.
class StartSet {
  public:
    StartSet() = default;
    // The starts are what the event has them mean.
    StartSet(const EventComponent& master, std::span<const DateTime> starts);

    bool contains(const DateTime& start) const;

  private:
    std::vector<std::chrono::sys_seconds> instants_;
    std::vector<LocalTime> days_;
    // Those of them that mean occurrences with a time.
    std::vector<LocalTime> daysOfTimes_;
};

// One ascending source of starts: a rule as it unfolds from DTSTART.
class RuleStarts {
  public:
    // Master and budget must outlive this.
    RuleStarts(const EventComponent& master, const Recur& rule, WorkBudget& budget);

    // For a rule that excludes: DTSTART is one of its starts only when the rule names it.
    void takeStartOnlyIfNamed() { expansion_.takeStartOnlyIfNamed(); }
    void limitTo(LocalTime from, LocalTime until);
    std::optional<DateTime> next();

    // Whether the starts ended at a limit and not because there are no more.
    bool isExhausted() const { return expansion_.isExhausted(); }

  private:
    void makeReady();
    bool isAfterUntil(const DateTime& value) const;

    const DateTime& start_;
    RecurrenceExpansion expansion_;
    std::optional<Until> until_;
    std::deque<DateTime> ready_;
};

// The starts that a master's DTSTART, rules and listed dates make, ascending, without those that
// dates and rules exclude. Where a rule that excludes is given up, the others end. Given up after a
// million that are excluded or come again.
class RecurrenceSet {
  public:
    struct Start {
        std::chrono::sys_seconds instant;
        DateTime value;
        // The value of RDATE that this is; null when it is none.
        const AddedDate* added;
        bool isListed;
    };

    // From `from` on. Starts after `until` may be left out. Master and budget must outlive this.
    RecurrenceSet(const EventComponent& master, std::chrono::sys_seconds from,
        std::chrono::sys_seconds until, WorkBudget& budget);

    // Keeps what dates and rules exclude. To be said before anything is asked.
    void keepExcluded();

    std::optional<Start> next();

  private:
    // Merges the sources: a start may come more than once.
    std::optional<Start> nextOfAll();
    std::optional<Start> take(RuleStarts& rule);
    bool isRepeated(const Start& start);
    bool isTakenOut(const Start& start);

    WorkBudget& budget_;
    StartSet exclusions_;
    // DTSTART and the RDATEs.
    std::vector<Start> listed_;
    std::size_t nextListed_ = 0;
    std::vector<RuleStarts> rules_;
    std::vector<std::optional<Start>> heads_;
    std::vector<RuleStarts> exclusionRules_;
    // The start that each has reached.
    std::vector<std::optional<DateTime>> reached_;
    // Of times and of whole days: a midnight and its day are two.
    std::array<std::optional<std::chrono::sys_seconds>, 2> last_;
    std::size_t passedOver_ = 0;
};

} // namespace quenbrook::icalendar
