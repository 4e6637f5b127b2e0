#include "tests/eventkit/stand-in/Series.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>

namespace quenbrook::standin {
namespace {

constexpr double forever = std::numeric_limits<double>::infinity();
constexpr double endOfTheYear9999 = 253402300800;

bool contains(const std::vector<double>& starts, double start) {
    return std::find(starts.begin(), starts.end(), start) != starts.end();
}

// So many units of a rule's frequency later by the local clock. Returns nullopt when that day does
// not exist.
std::optional<double> later(double seconds, std::int64_t frequency, std::int64_t units) {
    const double whole = std::floor(seconds);
    const auto instant = static_cast<std::time_t>(whole);
    std::tm local{};
    localtime_r(&instant, &local);
    const int day = local.tm_mday;
    const int number = static_cast<int>(units);
    local.tm_mday += frequency == 0 ? number : frequency == 1 ? 7 * number : 0;
    local.tm_mon += frequency == 2 ? number : 0;
    local.tm_year += frequency == 3 ? number : 0;
    local.tm_isdst = -1;
    const auto moved = static_cast<double>(std::mktime(&local));
    if (frequency > 1 && local.tm_mday != day) {
        return std::nullopt;
    }
    return moved + (seconds - whole);
}

// The starts that the rule gives, before an instant and no more than so many.
std::vector<double> ruleStarts(const Event& event, double end, std::size_t most) {
    const Rule& rule = event.recurrenceRules->front();
    std::vector<double> starts;
    if (rule.end && rule.end->occurrenceCount > 0) {
        most = std::min(most, static_cast<std::size_t>(rule.end->occurrenceCount));
    }
    const double last = rule.end && rule.end->endDate ? *rule.end->endDate : forever;
    for (std::int64_t step = 0; starts.size() < most; ++step) {
        const auto start = later(*event.startDate, rule.frequency, step * rule.interval);
        if (start && (*start >= end || *start > last || *start >= endOfTheYear9999)) {
            break;
        }
        if (start) {
            starts.push_back(*start);
        }
    }
    return starts;
}

Event occurrenceAt(const Event& series, double start) {
    Event occurrence = series;
    occurrence.removedOccurrences.clear();
    occurrence.changedOccurrences.clear();
    occurrence.originalStart = occurrence.startDate = start;
    const double length = *series.endDate - *series.startDate;
    occurrence.endDate = start + length;
    if (series.isAllDay) {
        // A day may be longer than another; its last second is its last second.
        const auto days = static_cast<std::int64_t>(std::lround((length + 1) / 86400));
        occurrence.endDate = later(start, 0, days).value() - 1;
    }
    return occurrence;
}

auto changedAt(auto& series, double start) {
    return std::find_if(series.changedOccurrences.begin(), series.changedOccurrences.end(),
        [&](const Event& changed) { return changed.originalStart == start; });
}

std::size_t indexOf(const Event& series, double start) {
    return ruleStarts(series, start, std::numeric_limits<std::size_t>::max()).size();
}

} // namespace

bool isSeries(const Event& event) {
    if (!event.recurrenceRules || event.recurrenceRules->size() != 1 || !event.startDate ||
        !event.endDate) {
        return false;
    }
    const Rule& rule = event.recurrenceRules->front();
    return rule.frequency >= 0 && rule.frequency <= 3 && rule.interval >= 1 &&
           !rule.daysOfTheWeek && !rule.daysOfTheMonth && !rule.monthsOfTheYear &&
           !rule.setPositions;
}

std::vector<Event> occurrencesBefore(const Event& event, double end) {
    if (!isSeries(event)) {
        return {event};
    }
    std::vector<Event> occurrences = event.changedOccurrences;
    for (const double start : ruleStarts(event, end, std::numeric_limits<std::size_t>::max())) {
        if (!contains(event.removedOccurrences, start) &&
            changedAt(event, start) == event.changedOccurrences.end()) {
            occurrences.push_back(occurrenceAt(event, start));
        }
    }
    std::sort(occurrences.begin(), occurrences.end(), [](const Event& one, const Event& other) {
        return originalStart(one) < originalStart(other);
    });
    return occurrences;
}

std::optional<Event> firstOccurrence(const Event& event) {
    if (!isSeries(event)) {
        return event;
    }
    for (const double start : ruleStarts(event, forever, event.removedOccurrences.size() + 1)) {
        if (!contains(event.removedOccurrences, start)) {
            const auto changed = changedAt(event, start);
            return changed == event.changedOccurrences.end() ? occurrenceAt(event, start)
                                                             : *changed;
        }
    }
    return std::nullopt;
}

Event firstOfAll(const Event& event) {
    if (!isSeries(event)) {
        return event;
    }
    const auto changed = changedAt(event, *event.startDate);
    return changed == event.changedOccurrences.end() ? occurrenceAt(event, *event.startDate)
                                                     : *changed;
}

double originalStart(const Event& occurrence) {
    return occurrence.originalStart ? *occurrence.originalStart : occurrence.startDate.value();
}

void changeOccurrence(Event& series, Event occurrence) {
    const auto changed = changedAt(series, originalStart(occurrence));
    if (changed == series.changedOccurrences.end()) {
        series.changedOccurrences.push_back(std::move(occurrence));
    } else {
        *changed = std::move(occurrence);
    }
}

void changeOccurrencesFrom(Event& series, Event occurrence) {
    const auto before = indexOf(series, originalStart(occurrence));
    if (occurrence.recurrenceRules == series.recurrenceRules) {
        auto& end = occurrence.recurrenceRules->front().end;
        if (end && end->occurrenceCount > 0) {
            end->occurrenceCount -= before;
        }
    }
    occurrence.originalStart.reset();
    series = std::move(occurrence);
}

void removeOccurrence(Event& series, double originalStart) {
    std::erase_if(series.changedOccurrences,
        [&](const Event& changed) { return changed.originalStart == originalStart; });
    series.removedOccurrences.push_back(originalStart);
}

void removeOccurrencesFrom(Event& series, double originalStart) {
    if (const auto before = indexOf(series, originalStart); before > 0) {
        series.recurrenceRules->front().end = RuleEnd{before, std::nullopt};
    } else {
        series.recurrenceRules.reset();
    }
    std::erase_if(series.changedOccurrences,
        [&](const Event& changed) { return changed.originalStart >= originalStart; });
}

} // namespace quenbrook::standin
