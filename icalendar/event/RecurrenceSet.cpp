#include "icalendar/event/RecurrenceSet.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quenbrook::icalendar {
namespace {

using std::chrono::days;
using std::chrono::sys_seconds;

// Starts that are put in order together, at the most.
constexpr std::size_t maximumReady = 100'000;
// Excluded or repeated starts that a query passes over, at the most.
constexpr std::size_t maximumPassedOver = 1'000'000;
// What a start costs beyond what its rule has spent on it.
constexpr std::int64_t stepsForStart = 10;

template <class Value>
bool isIn(const std::vector<Value>& sorted, const Value& value) {
    return std::binary_search(sorted.begin(), sorted.end(), value);
}

// The days that the set has as such, beside occurrences with a time.
std::vector<LocalTime> addedDays(const EventComponent& master) {
    std::vector<LocalTime> dates;
    for (const AddedDate& added : master.additions) {
        if (added.start.isDate()) {
            dates.push_back(added.start.time);
        }
    }
    std::sort(dates.begin(), dates.end());
    return dates;
}

// Whole days have no times, and what a rule says of them there is ignored (RFC 5545
// section 3.3.10).
Recur withoutTimesOfDay(Recur rule) {
    rule.byHour.clear();
    rule.byMinute.clear();
    rule.bySecond.clear();
    return rule;
}

} // namespace

StartSet::StartSet(const EventComponent& master, std::span<const DateTime> starts) {
    for (const DateTime& start : starts) {
        if (start.isDate()) {
            days_.push_back(start.time);
        } else {
            instants_.push_back(start.instant());
        }
    }
    std::sort(instants_.begin(), instants_.end());
    std::sort(days_.begin(), days_.end());
    if (!days_.empty() && !master.start.isDate()) {
        const std::vector<LocalTime> added = addedDays(master);
        std::copy_if(days_.begin(), days_.end(), std::back_inserter(daysOfTimes_),
            [&](const LocalTime& day) { return !isIn(added, day); });
    }
}

bool StartSet::contains(const DateTime& start) const {
    if (start.isDate()) {
        return isIn(days_, start.time);
    }
    return isIn(daysOfTimes_, start.day()) ||
           (!instants_.empty() && isIn(instants_, start.instant()));
}

RuleStarts::RuleStarts(const EventComponent& master, const Recur& rule, WorkBudget& budget)
    : start_(master.start)
    , expansion_(master.start.isDate() ? withoutTimesOfDay(rule) : rule, master.start.time, budget)
    , until_(rule.until) {}

void RuleStarts::limitTo(LocalTime from, LocalTime until) {
    expansion_.skipTo(from);
    expansion_.endBefore(until);
}

std::optional<DateTime> RuleStarts::next() {
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

// As a rule, one start. But times that the wall clock skips mean the instants of later ones (RFC
// 5545 section 3.3.10), so the starts up to there must be put in order together.
void RuleStarts::makeReady() {
    std::optional<sys_seconds> reached;
    while (const auto time = expansion_.next()) {
        // A rule finer than daily makes no times of days: each day comes as often as it has any.
        DateTime value =
            start_.withTime(start_.isDate() ? LocalTime(std::chrono::floor<days>(*time)) : *time);
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
        if (isBehindGap || ready_.size() >= maximumReady) {
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
bool RuleStarts::isAfterUntil(const DateTime& value) const {
    if (!until_) {
        return false;
    }
    switch (until_->kind) {
    case Until::Kind::date:
        return value.day() > until_->time;
    case Until::Kind::local:
        return value.time > until_->time;
    case Until::Kind::utc:
        // For an all-day event a UTC instant can only mean its date.
        if (value.isDate()) {
            return value.day() > std::chrono::floor<days>(until_->time);
        }
        // Floating times end by the wall clock, the same on every machine.
        return value.kind == DateTime::Kind::floating
                   ? value.time > until_->time
                   : value.instant() > sys_seconds(until_->time.time_since_epoch());
    }
    return false;
}

RecurrenceSet::RecurrenceSet(
    const EventComponent& master, sys_seconds from, sys_seconds until, WorkBudget& budget)
    : budget_(budget)
    , exclusions_(master, master.exclusions) {
    listed_.push_back({master.start.instant(), master.start, nullptr, true});
    for (const AddedDate& added : master.additions) {
        listed_.push_back({added.start.instant(), added.start, &added, true});
    }
    if (listed_.size() > 1) {
        std::stable_sort(listed_.begin(), listed_.end(),
            [](const Start& left, const Start& right) { return left.instant < right.instant; });
    }
    while (nextListed_ < listed_.size() && listed_[nextListed_].instant < from) {
        ++nextListed_;
    }
    if (master.rules.empty() && master.exclusionRules.empty()) {
        return;
    }
    const LocalTime first = master.start.zone.wallClockAt(from) - zoneRoom;
    const LocalTime last = master.start.zone.wallClockAt(until) + zoneRoom;
    rules_.reserve(master.rules.size());
    for (const Recur& rule : master.rules) {
        rules_.emplace_back(master, rule, budget);
        rules_.back().limitTo(first, last);
        heads_.push_back(take(rules_.back()));
    }
    exclusionRules_.reserve(master.exclusionRules.size());
    for (const Recur& rule : master.exclusionRules) {
        exclusionRules_.emplace_back(master, rule, budget);
        exclusionRules_.back().takeStartOnlyIfNamed();
        exclusionRules_.back().limitTo(first, last);
        reached_.push_back(exclusionRules_.back().next());
    }
}

void RecurrenceSet::keepExcluded() {
    exclusions_ = StartSet();
    exclusionRules_.clear();
}

std::optional<RecurrenceSet::Start> RecurrenceSet::next() {
    while (auto start = nextOfAll()) {
        if (!isRepeated(*start) && !exclusions_.contains(start->value) && !isTakenOut(*start)) {
            return start;
        }
        if (++passedOver_ > maximumPassedOver) {
            budget_.exhaust();
            break;
        }
    }
    return std::nullopt;
}

bool RecurrenceSet::isRepeated(const Start& start) {
    auto& last = last_.at(start.value.isDate() ? 1 : 0);
    return std::exchange(last, start.instant) == start.instant;
}

bool RecurrenceSet::isTakenOut(const Start& start) {
    bool isTaken = false;
    for (std::size_t i = 0; i < exclusionRules_.size(); ++i) {
        std::optional<DateTime>& reached = reached_[i];
        while (reached && reached->instant() < start.instant && budget_.spend(stepsForStart)) {
            reached = exclusionRules_[i].next();
        }
        const bool isUnknown =
            reached ? reached->instant() < start.instant : exclusionRules_[i].isExhausted();
        if (isUnknown) {
            heads_.clear();
        }
        isTaken = isTaken || (isUnknown && !start.isListed) ||
                  (reached && reached->instant() == start.instant &&
                      reached->isDate() == start.value.isDate());
    }
    return isTaken;
}

std::optional<RecurrenceSet::Start> RecurrenceSet::nextOfAll() {
    if (!budget_.spend(stepsForStart + std::ssize(heads_) + std::ssize(exclusionRules_))) {
        heads_.clear();
    }
    const auto head = std::min_element(heads_.begin(), heads_.end(),
        [](const auto& a, const auto& b) { return a && (!b || a->instant < b->instant); });
    const bool ruleFirst =
        head != heads_.end() && *head &&
        (nextListed_ == listed_.size() || (*head)->instant < listed_[nextListed_].instant);
    if (!ruleFirst) {
        return nextListed_ == listed_.size() ? std::nullopt : std::optional(listed_[nextListed_++]);
    }
    std::optional<Start> start = std::move(*head);
    *head = take(rules_[static_cast<std::size_t>(head - heads_.begin())]);
    return start;
}

std::optional<RecurrenceSet::Start> RecurrenceSet::take(RuleStarts& rule) {
    const auto start = rule.next();
    return start ? std::optional(Start{start->instant(), *start, nullptr, false}) : std::nullopt;
}

} // namespace quenbrook::icalendar
