#pragma once

#include <bitset>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "icalendar/recurrence/RecurrenceDays.h"
#include "icalendar/recurrence/RecurrenceRuleText.h"
#include "icalendar/recurrence/WorkBudget.h"

namespace quenbrook::icalendar {

// The occurrences of one rule from one start, in ascending order without duplicates, as wall-clock
// times: zones are the caller's affair.
//
// The start itself is always the first occurrence and counts towards COUNT, even when the rule does
// not name it (RFC 5545 section 3.8.5.3). UNTIL is not looked at: what it is compared with depends
// on the zone, so the caller stops. Wall-clock times that a zone skips are produced, too.
//
// The rule is one that parseRecur would accept. Points on which RFC 5545 leaves room:
// - BYSETPOS picks from all occurrences of its period, those before the start included; one named
//   twice (28 and -1 in a February) is one.
// - BYSECOND=60 is the second 59 (section 3.3.12).
// - The period of a YEARLY rule is the calendar year, also with BYWEEKNO.
class RecurrenceExpansion {
  public:
    // How many steps are made, counted from the construction or the last skipTo, before the
    // expansion gives up. A step is a day looked at (or a period within a day), a place that
    // BYSETPOS names in a period, or an occurrence given. Enough to search every day of the years 1
    // to 9999, and well under a tenth of a second. What ends here is a rule that matches every
    // second, or one within a day that never matches.
    static constexpr std::int64_t workLimit = 4'000'000;

    // The start lies in the years 1 to 9999. Every step is also taken from the budget, which must
    // outlive this and is told when a limit ends the expansion; it ends when the budget is spent,
    // too.
    RecurrenceExpansion(const Recur& recur, LocalTime start, WorkBudget& budget);

    // The next occurrence. Returns nullopt when there is none up to the end of the year 9999, COUNT
    // is used up, or the work limit was reached.
    std::optional<LocalTime> next();

    // The start is an occurrence, and counts, only when the rule names it: what a rule that
    // excludes takes out. To be said before anything is asked.
    void takeStartOnlyIfNamed();

    // Passes over every occurrence before `time`, once next() is called. Cheap, however far away,
    // for a rule without COUNT and for one whose periods all hold one number of occurrences;
    // other rules go through their periods one by one. An earlier time than the next occurrence
    // changes nothing.
    void skipTo(LocalTime time);

    // Occurrences at `time` and later are no longer looked for. Spares a rule that matches rarely,
    // or never, the search up to the year 9999.
    void endBefore(LocalTime time);

    // Whether the last search ended at a limit and not because there is no further occurrence.
    bool isExhausted() const { return isExhausted_; }

    // The steps made since the construction or the last skipTo.
    std::int64_t work() const { return work_; }

  private:
    std::optional<LocalTime> search();

    // The occurrences of the loaded period, by index.
    std::size_t size() const { return isPositioned_ ? positions_.size() : unpositionedSize(); }
    std::size_t unpositionedSize() const { return bases_.size() * offsets_.size(); }
    LocalTime at(std::size_t index) const;
    // The index of the first occurrence of the loaded period at or after `time`.
    std::size_t firstFrom(LocalTime time) const;

    // Passes over what lies before the target.
    void passOver(LocalTime target);

    // Loads the next period that has an occurrence after the start; false when there is none.
    bool loadPeriod();
    void fillBases(std::int64_t period);
    void fillBasesWithin(std::chrono::local_days first, std::chrono::days length);
    void fillBasesWithinMonth(LocalTime begin);
    void fillBasesWithinDay(LocalTime begin);
    LocalTime nextPassingDay(std::chrono::local_days day);
    void choosePositions();

    std::int64_t periodOf(LocalTime time) const;
    LocalTime beginOf(std::int64_t period) const;
    // How many steps of INTERVAL lead from the next period to the first that may reach `time`.
    std::int64_t stepsTo(LocalTime time) const;
    void leapTo(LocalTime time) { nextPeriod_ += stepsTo(time) * interval_; }
    void countDown(std::int64_t occurrences);

    Frequency frequency_;
    std::int64_t interval_;
    std::chrono::weekday weekStart_;
    LocalTime start_;
    std::optional<std::int64_t> remaining_;
    bool periodsAreEven_;
    bool movesForward_;
    bool isPositioned_;
    std::vector<int> setPositions_;

    // What the periods' days must pass, and, where a part is as coarse as the period, the hour,
    // minute and second that it must have.
    RecurrenceDays days_;
    std::bitset<24> hours_;
    std::bitset<60> minutes_;
    std::bitset<60> seconds_;
    // The times that every base (a day or a period within a day) unfolds to, ascending.
    std::vector<std::chrono::seconds> offsets_;

    // Periods (seconds, minutes, hours, days, weeks, months, years) are numbered.
    std::int64_t nextPeriod_;
    std::int64_t lastPeriod_ = 0;
    LocalTime end_;
    bool startIsTaken_ = false;
    // Where the occurrences of the rule itself begin: behind the start, which was given, or there;
    // later, behind what a period has moved into the next.
    LocalTime firstOfRule_;
    // Where skipTo led, until next() goes there.
    std::optional<LocalTime> skipTarget_;
    std::optional<std::chrono::local_days> passedDay_;
    std::vector<LocalTime> bases_;
    std::vector<std::size_t> positions_;
    std::size_t cursor_ = 0;
    std::int64_t work_ = 0;
    // What work_ may reach in the search that goes on.
    std::int64_t limit_ = workLimit;
    bool isExhausted_ = false;
    WorkBudget& budget_;
};

} // namespace quenbrook::icalendar
