#include "icalendar/recurrence/RecurrenceExpansion.h"

#include <algorithm>
#include <utility>

#include "icalendar/recurrence/RecurrencePartEffects.h"

namespace quenbrook::icalendar {
namespace {

constexpr LocalTime endOfTime = std::chrono::local_days{std::chrono::year{10000} / 1 / 1};

std::chrono::local_days dayOf(LocalTime time) {
    return std::chrono::floor<std::chrono::days>(time);
}

std::chrono::hh_mm_ss<std::chrono::seconds> clockOf(LocalTime time) {
    return std::chrono::hh_mm_ss{time - dayOf(time)};
}

// A week is numbered by its first day; this is one of the days that begin a week.
std::chrono::local_days firstWeekStart(std::chrono::weekday weekStart) {
    const std::chrono::local_days epoch{};
    return epoch + (weekStart - std::chrono::weekday{epoch});
}

int lastSecond(int second) {
    return std::min(second, 59);
}

// What one part of the time of day does: the units it unfolds a base to, and those it lets pass.
template <std::size_t size>
struct ClockPart {
    std::vector<int> unfolded{0};
    std::bitset<size> passing = std::bitset<size>{}.set();
};

template <std::size_t size>
ClockPart<size> clockPart(
    PartEffect effect, std::vector<int> values, std::chrono::seconds::rep startValue) {
    ClockPart<size> part;
    if (effect == PartEffect::expand) {
        if (values.empty()) {
            values.push_back(static_cast<int>(startValue));
        }
        std::sort(values.begin(), values.end());
        values.erase(std::unique(values.begin(), values.end()), values.end());
        part.unfolded = std::move(values);
    } else if (!values.empty()) {
        part.passing.reset();
        for (const int value : values) {
            part.passing.set(static_cast<std::size_t>(value));
        }
    }
    return part;
}

std::vector<std::chrono::seconds> unfold(const std::vector<int>& ofHour,
    const std::vector<int>& ofMinute, const std::vector<int>& ofSecond) {
    std::vector<std::chrono::seconds> offsets;
    offsets.reserve(ofHour.size() * ofMinute.size() * ofSecond.size());
    for (const int hour : ofHour) {
        for (const int minute : ofMinute) {
            for (const int second : ofSecond) {
                offsets.push_back(std::chrono::hours{hour} + std::chrono::minutes{minute} +
                                  std::chrono::seconds{second});
            }
        }
    }
    return offsets;
}

} // namespace

RecurrenceExpansion::RecurrenceExpansion(const Recur& recur, LocalTime start, WorkBudget& budget)
    : frequency_(recur.frequency)
    , interval_(std::max<std::int64_t>(recur.interval, 1))
    , weekStart_(recur.weekStart)
    , start_(start)
    , remaining_(recur.count)
    , periodsAreEven_(
          recur.frequency <= Frequency::weekly && !hasPartWith(PartEffect::limit, recur))
    , movesForward_(recur.skip == Skip::forward && recur.frequency >= Frequency::monthly)
    , isPositioned_(!recur.bySetPosition.empty())
    , setPositions_(recur.bySetPosition)
    , days_(recur, dayOf(start))
    , nextPeriod_(periodOf(start))
    , budget_(budget) {
    const auto clock = clockOf(start);
    std::vector<int> bySecond = recur.bySecond;
    std::transform(bySecond.begin(), bySecond.end(), bySecond.begin(), lastSecond);
    const auto hourPart =
        clockPart<24>(effectOf(ByPart::hour, frequency_), recur.byHour, clock.hours().count());
    const auto minutePart = clockPart<60>(
        effectOf(ByPart::minute, frequency_), recur.byMinute, clock.minutes().count());
    const auto secondPart = clockPart<60>(
        effectOf(ByPart::second, frequency_), std::move(bySecond), clock.seconds().count());
    offsets_ = unfold(hourPart.unfolded, minutePart.unfolded, secondPart.unfolded);
    hours_ = hourPart.passing;
    minutes_ = minutePart.passing;
    seconds_ = secondPart.passing;
    end_ = endOfTime;
    firstOfRule_ = start_ + std::chrono::seconds{1};
    lastPeriod_ = periodOf(end_ - std::chrono::seconds{1});
}

std::optional<LocalTime> RecurrenceExpansion::next() {
    limit_ = std::min(workLimit, work_ + budget_.left());
    const std::int64_t before = work_;
    const std::optional<LocalTime> found = search();
    const bool isAfforded = budget_.spend(work_ - before);
    isExhausted_ = !isAfforded || (!found && work_ >= limit_);
    if (isExhausted_) {
        budget_.exhaust();
    }
    return isAfforded ? found : std::nullopt;
}

std::optional<LocalTime> RecurrenceExpansion::search() {
    if (const auto target = std::exchange(skipTarget_, std::nullopt)) {
        passOver(std::min(*target, end_));
    }
    if (!startIsTaken_) {
        startIsTaken_ = true;
        ++work_;
        countDown(1);
        return start_ < end_ ? std::optional(start_) : std::nullopt;
    }
    if (remaining_ == 0 || work_ >= limit_) {
        return std::nullopt;
    }
    if (cursor_ == size() && !loadPeriod()) {
        return std::nullopt;
    }
    const LocalTime time = at(cursor_);
    if (time >= end_) {
        return std::nullopt;
    }
    ++cursor_;
    ++work_;
    countDown(1);
    return time;
}

void RecurrenceExpansion::takeStartOnlyIfNamed() {
    startIsTaken_ = true;
    firstOfRule_ = start_;
}

void RecurrenceExpansion::skipTo(LocalTime time) {
    work_ = 0;
    skipTarget_ = std::max(time, skipTarget_.value_or(time));
}

void RecurrenceExpansion::endBefore(LocalTime time) {
    end_ = std::clamp(time, start_, end_);
    lastPeriod_ = periodOf(end_ - std::chrono::seconds{1});
}

void RecurrenceExpansion::passOver(LocalTime target) {
    if (target <= start_) {
        return;
    }
    if (!startIsTaken_) {
        startIsTaken_ = true;
        countDown(1);
    }
    for (;;) {
        const std::size_t first = std::max(cursor_, firstFrom(target));
        countDown(static_cast<std::int64_t>(first - cursor_));
        cursor_ = first;
        if (cursor_ < size()) {
            return;
        }
        // The first period may hold fewer after the start than those that follow.
        const bool mayLeap = !remaining_ || (periodsAreEven_ && size() > 0);
        if (mayLeap) {
            countDown(stepsTo(target) * static_cast<std::int64_t>(size()));
            leapTo(target);
        }
        if (!loadPeriod()) {
            return;
        }
    }
}

LocalTime RecurrenceExpansion::at(std::size_t index) const {
    const std::size_t place = isPositioned_ ? positions_[index] : index;
    if (offsets_.size() == 1) {
        return bases_[place] + offsets_.front();
    }
    return bases_[place / offsets_.size()] + offsets_[place % offsets_.size()];
}

std::size_t RecurrenceExpansion::firstFrom(LocalTime time) const {
    std::size_t first = 0;
    std::size_t count = size();
    while (count > 0) {
        const std::size_t half = count / 2;
        if (at(first + half) < time) {
            first += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return first;
}

bool RecurrenceExpansion::loadPeriod() {
    while (remaining_ != 0 && nextPeriod_ <= lastPeriod_ && work_ < limit_) {
        const std::int64_t period = nextPeriod_;
        nextPeriod_ += interval_;
        ++work_;
        fillBases(period);
        if (isPositioned_) {
            choosePositions();
        }
        const bool isFirst = size() > 0 && at(0) < firstOfRule_;
        cursor_ = isFirst ? firstFrom(firstOfRule_) : 0;
        if (cursor_ < size()) {
            // The next period must not begin with what this one has moved there.
            if (movesForward_) {
                firstOfRule_ = at(size() - 1) + std::chrono::seconds{1};
            }
            return true;
        }
    }
    bases_.clear();
    positions_.clear();
    cursor_ = 0;
    return false;
}

void RecurrenceExpansion::fillBases(std::int64_t period) {
    bases_.clear();
    const LocalTime begin = beginOf(period);
    switch (frequency_) {
    case Frequency::secondly:
    case Frequency::minutely:
    case Frequency::hourly:
        fillBasesWithinDay(begin);
        break;
    case Frequency::daily:
        fillBasesWithin(dayOf(begin), std::chrono::days{1});
        break;
    case Frequency::weekly:
        fillBasesWithin(dayOf(begin), std::chrono::weeks{1});
        break;
    case Frequency::monthly:
        fillBasesWithinMonth(begin);
        break;
    case Frequency::yearly:
        for (int month = 0; month < 12; ++month) {
            fillBasesWithinMonth(
                std::chrono::local_days{dateOf(begin) + std::chrono::months{month}});
        }
        break;
    }
}

void RecurrenceExpansion::fillBasesWithinMonth(LocalTime begin) {
    const auto date = dateOf(begin);
    if (!days_.mayContain(date.month())) {
        return;
    }
    const std::chrono::local_days last{date.year() / date.month() / std::chrono::last};
    fillBasesWithin(dayOf(begin), last - dayOf(begin) + std::chrono::days{1});
    if (const auto moved = days_.movedOutOf(date.year() / date.month())) {
        bases_.push_back(*moved);
    }
}

void RecurrenceExpansion::fillBasesWithin(std::chrono::local_days first, std::chrono::days length) {
    // loadPeriod counts one for the period.
    work_ += length.count() - 1;
    for (auto day = first; day < first + length; day += std::chrono::days{1}) {
        // The month before may have moved a day here.
        if (days_.contains(day) && (bases_.empty() || bases_.back() != day)) {
            bases_.push_back(day);
        }
    }
}

void RecurrenceExpansion::fillBasesWithinDay(LocalTime begin) {
    auto day = dayOf(begin);
    if (passedDay_ != day) {
        if (!days_.contains(day)) {
            leapTo(nextPassingDay(day));
            return;
        }
        passedDay_ = day;
    }
    const auto clock = clockOf(begin);
    const auto hour = clock.hours();
    const auto minute = clock.minutes();
    if (!hours_.test(static_cast<std::size_t>(hour.count()))) {
        leapTo(day + hour + std::chrono::hours{1});
    } else if (!minutes_.test(static_cast<std::size_t>(minute.count()))) {
        leapTo(day + hour + minute + std::chrono::minutes{1});
    } else if (seconds_.test(static_cast<std::size_t>(clock.seconds().count()))) {
        bases_.push_back(begin);
    }
}

LocalTime RecurrenceExpansion::nextPassingDay(std::chrono::local_days day) {
    do {
        day += std::chrono::days{1};
        ++work_;
    } while (day < end_ && work_ < limit_ && !days_.contains(day));
    return day;
}

void RecurrenceExpansion::choosePositions() {
    positions_.clear();
    work_ += static_cast<std::int64_t>(setPositions_.size());
    const auto all = static_cast<std::int64_t>(unpositionedSize());
    for (const int position : setPositions_) {
        const std::int64_t index = position > 0 ? position - 1 : all + position;
        if (index >= 0 && index < all) {
            positions_.push_back(static_cast<std::size_t>(index));
        }
    }
    std::sort(positions_.begin(), positions_.end());
    positions_.erase(std::unique(positions_.begin(), positions_.end()), positions_.end());
}

std::int64_t RecurrenceExpansion::periodOf(LocalTime time) const {
    const auto sinceEpoch = time.time_since_epoch();
    switch (frequency_) {
    case Frequency::secondly:
        return sinceEpoch.count();
    case Frequency::minutely:
        return std::chrono::floor<std::chrono::minutes>(sinceEpoch).count();
    case Frequency::hourly:
        return std::chrono::floor<std::chrono::hours>(sinceEpoch).count();
    case Frequency::daily:
        return std::chrono::floor<std::chrono::days>(sinceEpoch).count();
    case Frequency::weekly:
        return std::chrono::floor<std::chrono::weeks>(time - firstWeekStart(weekStart_)).count();
    case Frequency::monthly: {
        const auto date = dateOf(time);
        return int{date.year()} * 12 + static_cast<int>(unsigned{date.month()}) - 1;
    }
    case Frequency::yearly:
        break;
    }
    return int{dateOf(time).year()};
}

LocalTime RecurrenceExpansion::beginOf(std::int64_t period) const {
    switch (frequency_) {
    case Frequency::secondly:
        return LocalTime{std::chrono::seconds{period}};
    case Frequency::minutely:
        return LocalTime{std::chrono::minutes{period}};
    case Frequency::hourly:
        return LocalTime{std::chrono::hours{period}};
    case Frequency::daily:
        return LocalTime{std::chrono::days{period}};
    case Frequency::weekly:
        return firstWeekStart(weekStart_) + std::chrono::weeks{period};
    case Frequency::monthly:
        return std::chrono::local_days{std::chrono::year{static_cast<int>(period / 12)} /
                                       std::chrono::month{static_cast<unsigned>(period % 12 + 1)} /
                                       1};
    case Frequency::yearly:
        break;
    }
    return std::chrono::local_days{std::chrono::year{static_cast<int>(period)} / 1 / 1};
}

std::int64_t RecurrenceExpansion::stepsTo(LocalTime time) const {
    // The month before may have moved a day into this one.
    const std::int64_t missing = periodOf(time) - (movesForward_ ? 1 : 0) - nextPeriod_;
    return missing <= 0 ? 0 : (missing + interval_ - 1) / interval_;
}

void RecurrenceExpansion::countDown(std::int64_t occurrences) {
    if (remaining_) {
        remaining_ = std::max<std::int64_t>(*remaining_ - occurrences, 0);
    }
}

} // namespace quenbrook::icalendar
