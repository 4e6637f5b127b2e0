#include "platform/icalendar/event/Series.h"

#include "platform/icalendar/recurrence/RecurrenceExpansion.h"

#include <algorithm>
#include <deque>
#include <limits>

namespace quenbrook::platform::icalendar {
namespace {

using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_seconds;

constexpr std::size_t maximumOccurrences = 100'000;
// Excluded or repeated starts that a query passes over, at the most.
constexpr std::size_t maximumPassedOver = 1'000'000;
// What a start costs beyond what its rule has spent on it.
constexpr std::int64_t stepsForCandidate = 10;
// Before the first instant that any event can have.
constexpr sys_seconds beginning =
    std::chrono::sys_days(std::chrono::year(-1) / std::chrono::January / 1);
// After the last.
constexpr sys_seconds ending =
    std::chrono::sys_days(std::chrono::year(10'001) / std::chrono::January / 1);

// How far a zone's offsets can be apart: instants and lengths differ by no more from what the wall
// clock alone would tell.
constexpr days zoneRoom{2};

// One ascending source of starts: a rule, or the list of DTSTART and the RDATEs.
class RuleStarts {
  public:
    RuleStarts(const EventComponent& master, const Recur& rule, WorkBudget& budget)
        : start_(master.start)
        , expansion_(rule, master.start.time)
        , until_(rule.until) {
        expansion_.drawOn(budget);
    }

    void limitTo(LocalTime from, LocalTime until) {
        expansion_.skipTo(from);
        expansion_.endBefore(until);
    }

    std::optional<DateTime> next() {
        if (ready_.empty()) {
            makeReady();
        }
        if (ready_.empty()) {
            return std::nullopt;
        }
        DateTime value = std::move(ready_.front());
        ready_.pop_front();
        return value;
    }

  private:
    // As a rule, one start. But times that the wall clock skips mean the instants of later ones
    // (RFC 5545 section 3.3.10), so the starts up to there must be put in order together.
    void makeReady() {
        std::optional<sys_seconds> reached;
        while (const auto time = expansion_.next()) {
            DateTime value = start_.withTime(*time);
            const sys_seconds instant = value.instant();
            const bool isSkipped = value.zone.wallClockAt(instant) != value.time;
            const bool isPast = isAfterUntil(value);
            if (isPast && !isSkipped) {
                break;
            }
            if (!isPast) {
                ready_.push_back(std::move(value));
            }
            const bool isBehindGap = !isSkipped && (!reached || instant > *reached);
            if (isBehindGap || ready_.size() >= maximumOccurrences) {
                break;
            }
            if (isSkipped) {
                reached = std::max(instant, reached.value_or(instant));
            }
        }
        if (ready_.size() > 1) {
            std::stable_sort(
                ready_.begin(), ready_.end(), [](const DateTime& left, const DateTime& right) {
                    return left.instant() < right.instant();
                });
        }
    }

    // UNTIL is compared in the form in which it is written.
    bool isAfterUntil(const DateTime& value) const {
        if (!until_) {
            return false;
        }
        switch (until_->form) {
        case Until::Form::date:
            return value.day() > until_->time;
        case Until::Form::local:
            return value.time > until_->time;
        case Until::Form::utc:
            // For an all-day event a UTC instant can only mean its date.
            if (value.isDate()) {
                return value.day() > std::chrono::floor<days>(until_->time);
            }
            // Floating times end by the wall clock, the same on every machine.
            return value.form == DateTime::Form::floating
                       ? value.time > until_->time
                       : value.instant() > sys_seconds(until_->time.time_since_epoch());
        }
        return false;
    }

    const DateTime& start_;
    RecurrenceExpansion expansion_;
    std::optional<Until> until_;
    std::deque<DateTime> ready_;
};

struct Candidate {
    sys_seconds instant;
    DateTime start;
    const Extent* extent;
};

// Merges the sources of a master's recurrence set, ascending; a start may come more than once.
class RecurrenceSet {
  public:
    RecurrenceSet(
        const EventComponent& master, sys_seconds from, sys_seconds until, WorkBudget& budget)
        : master_(master)
        , budget_(budget) {
        listed_.push_back({master.start.instant(), master.start, &master.extent});
        for (const AddedDate& added : master.additions) {
            const bool ownExtent = !std::holds_alternative<std::monostate>(added.extent);
            listed_.push_back(
                {added.start.instant(), added.start, ownExtent ? &added.extent : &master.extent});
        }
        std::stable_sort(
            listed_.begin(), listed_.end(), [](const Candidate& left, const Candidate& right) {
                return left.instant < right.instant;
            });
        while (nextListed_ < listed_.size() && listed_[nextListed_].instant < from) {
            ++nextListed_;
        }
        const LocalTime first = master.start.zone.wallClockAt(from) - zoneRoom;
        const LocalTime last = master.start.zone.wallClockAt(until) + zoneRoom;
        rules_.reserve(master.rules.size());
        for (const Recur& rule : master.rules) {
            rules_.emplace_back(master, rule, budget);
            rules_.back().limitTo(first, last);
            heads_.push_back(take(rules_.back()));
        }
    }

    std::optional<Candidate> next() {
        if (!budget_.affords(stepsForCandidate + std::ssize(heads_))) {
            heads_.clear();
        }
        const auto head = std::min_element(heads_.begin(), heads_.end(),
            [](const auto& a, const auto& b) { return a && (!b || a->instant < b->instant); });
        const bool ruleFirst =
            head != heads_.end() && *head &&
            (nextListed_ == listed_.size() || (*head)->instant < listed_[nextListed_].instant);
        if (!ruleFirst) {
            return nextListed_ == listed_.size() ? std::nullopt
                                                 : std::optional(listed_[nextListed_++]);
        }
        std::optional<Candidate> candidate = std::move(*head);
        *head = take(rules_[static_cast<std::size_t>(head - heads_.begin())]);
        return candidate;
    }

  private:
    std::optional<Candidate> take(RuleStarts& rule) {
        const auto start = rule.next();
        return start ? std::optional(Candidate{start->instant(), *start, &master_.extent})
                     : std::nullopt;
    }

    const EventComponent& master_;
    WorkBudget& budget_;
    std::vector<Candidate> listed_;
    std::size_t nextListed_ = 0;
    std::vector<RuleStarts> rules_;
    std::vector<std::optional<Candidate>> heads_;
};

bool isIn(const TimeSpan& span, Instant from, Instant until) {
    if (span.start == span.end) {
        return span.start >= from && span.start < until;
    }
    return span.start < until && span.end > from;
}

Occurrence asOccurrence(const EventComponent& exception) {
    return {
        &exception, *exception.recurrenceId, exception.spanFrom(exception.start, exception.extent)};
}

// The longest any occurrence may last, so that one that began before a range is not missed.
seconds longestSpan(const EventComponent& master) {
    TimeSpan span = master.spanFrom(master.start, master.extent);
    seconds longest = span.end - span.start;
    for (const AddedDate& added : master.additions) {
        span = master.spanFrom(added.start, added.extent);
        longest = std::max<seconds>(longest, span.end - span.start);
    }
    // The same nominal length may be longer elsewhere in the year.
    return longest + zoneRoom;
}

} // namespace

StartSet::StartSet(std::span<const DateTime> starts) {
    for (const DateTime& start : starts) {
        if (start.isDate()) {
            days_.push_back(start.time);
        } else {
            instants_.push_back(start.instant());
        }
    }
    std::sort(instants_.begin(), instants_.end());
    std::sort(days_.begin(), days_.end());
}

bool StartSet::contains(const DateTime& start) const {
    return std::binary_search(days_.begin(), days_.end(), start.day()) ||
           (!instants_.empty() &&
               std::binary_search(instants_.begin(), instants_.end(), start.instant()));
}

Series::Series(std::vector<EventComponent> components, WorkBudget& budget)
    : budget_(budget) {
    for (EventComponent& component : components) {
        (component.recurrenceId ? exceptions_ : masters_).push_back(std::move(component));
    }
    std::vector<DateTime> replaced;
    for (EventComponent& exception : exceptions_) {
        if (!masters_.empty()) {
            exception.recurrenceId = masters_.front().meant(*exception.recurrenceId);
        }
        replaced.push_back(*exception.recurrenceId);
    }
    replaced_ = StartSet(replaced);
}

void Series::visitRecurrenceSet(
    const EventComponent& master, sys_seconds from, sys_seconds until, const Visit& visit) const {
    const StartSet exclusions(master.exclusions);
    RecurrenceSet set(master, from, until, budget_);
    std::optional<sys_seconds> last;
    std::size_t passedOver = 0;
    while (const auto candidate = set.next()) {
        const bool repeated = last == candidate->instant;
        last = candidate->instant;
        if (repeated || exclusions.contains(candidate->start)) {
            if (++passedOver > maximumPassedOver) {
                return;
            }
            continue;
        }
        if (!visit({&master, candidate->start,
                master.spanFrom(candidate->start, *candidate->extent)})) {
            return;
        }
    }
}

std::vector<Occurrence> Series::occurrencesIn(Instant from, Instant until) const {
    std::vector<Occurrence> found;
    if (until < from) {
        return found;
    }
    for (const EventComponent& master : masters_) {
        visitRecurrenceSet(master, std::chrono::floor<seconds>(from) - longestSpan(master),
            std::chrono::ceil<seconds>(until), [&](const Occurrence& occurrence) {
                if (occurrence.span.start >= until || found.size() >= maximumOccurrences) {
                    return false;
                }
                if (!isReplaced(occurrence) && isIn(occurrence.span, from, until)) {
                    found.push_back(occurrence);
                }
                return true;
            });
    }
    for (const EventComponent& exception : exceptions_) {
        const Occurrence occurrence = asOccurrence(exception);
        if (isIn(occurrence.span, from, until)) {
            found.push_back(occurrence);
        }
    }
    return found;
}

std::optional<Occurrence> Series::firstStanding() const {
    std::optional<Occurrence> first;
    const auto offer = [&](const Occurrence& occurrence) {
        if (!first || occurrence.originalStart.instant() < first->originalStart.instant()) {
            first = occurrence;
        }
    };
    for (const EventComponent& exception : exceptions_) {
        offer(asOccurrence(exception));
    }
    for (const EventComponent& master : masters_) {
        visitRecurrenceSet(master, beginning, ending, [&](const Occurrence& occurrence) {
            if (!isReplaced(occurrence)) {
                offer(occurrence);
            }
            return false;
        });
    }
    return first;
}

std::optional<Occurrence> Series::standingAt(sys_seconds originalStart) const {
    if (const EventComponent* exception = exceptionAt(originalStart)) {
        return asOccurrence(*exception);
    }
    std::optional<Occurrence> found;
    for (const EventComponent& master : masters_) {
        if (found) {
            break;
        }
        visitRecurrenceSet(master, originalStart, originalStart, [&](const Occurrence& occurrence) {
            const sys_seconds start = occurrence.originalStart.instant();
            if (start == originalStart && !isReplaced(occurrence)) {
                found = occurrence;
            }
            return start < originalStart;
        });
    }
    return found;
}

bool Series::recurs() const {
    return !exceptions_.empty() || masters_.size() > 1 ||
           std::any_of(masters_.begin(), masters_.end(),
               [](const EventComponent& master) { return master.recurs(); });
}

const EventComponent* Series::exceptionAt(sys_seconds originalStart) const {
    const auto found = std::find_if(exceptions_.begin(), exceptions_.end(),
        [&](const EventComponent& each) { return each.recurrenceId->instant() == originalStart; });
    return found == exceptions_.end() ? nullptr : &*found;
}

} // namespace quenbrook::platform::icalendar
