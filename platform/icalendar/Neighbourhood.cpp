#include "platform/icalendar/Neighbourhood.h"

#include <algorithm>
#include <iterator>

namespace quenbrook::platform::icalendar {
namespace {

// Whatever a date means in whatever zone lies within.
constexpr std::chrono::days reach{2};

std::vector<Occurrence> around(const Series& series, std::chrono::sys_seconds at) {
    return series.occurrencesIn(at - reach, at + reach);
}

} // namespace

Neighbourhood::Neighbourhood(const Series& series, const Occurrence& changed,
    std::chrono::sys_seconds newStart, bool isRewritten)
    : isRewritten_(isRewritten) {
    const Seen gone = seen(changed);
    for (const auto at : {changed.originalStart.instant(), changed.span.start, newStart}) {
        Place place{at, {}};
        bool isGone = isRewritten;
        const std::vector<Occurrence> all = around(series, at);
        if (all.size() >= Series::maximumOccurrences) {
            places_.clear();
            return;
        }
        for (const Occurrence& each : all) {
            if (isRewritten && each.master == changed.master) {
                continue;
            }
            Seen one = seen(each);
            if (!isGone && one == gone) {
                isGone = true;
            } else {
                place.staying.push_back(std::move(one));
            }
        }
        std::sort(place.staying.begin(), place.staying.end());
        places_.push_back(std::move(place));
    }
}

bool Neighbourhood::isKeptWithTheChanged(const Series& after) const {
    const bool all = std::all_of(places_.begin(), places_.end(), [&](const Place& place) {
        const std::ptrdiff_t count = more(place, after);
        return count >= 0 && (isRewritten_ || count <= 1);
    });
    return all && (places_.empty() || more(places_.back(), after) >= 1);
}

bool Neighbourhood::isKeptAlone(const Series& after) const {
    return std::all_of(places_.begin(), places_.end(),
        [&](const Place& place) { return more(place, after) == 0; });
}

Neighbourhood::Seen Neighbourhood::seen(const Occurrence& occurrence) {
    const Property* title = occurrence.component->component->first("SUMMARY");
    return {occurrence.originalStart.instant(), occurrence.span.start, occurrence.span.end,
        occurrence.isAllDay, title ? std::string(title->value) : std::string()};
}

std::ptrdiff_t Neighbourhood::more(const Place& place, const Series& after) {
    std::vector<Seen> now;
    for (const Occurrence& each : around(after, place.at)) {
        now.push_back(seen(each));
    }
    std::sort(now.begin(), now.end());
    const bool hasAll =
        std::includes(now.begin(), now.end(), place.staying.begin(), place.staying.end());
    return hasAll ? std::ssize(now) - std::ssize(place.staying) : -1;
}

} // namespace quenbrook::platform::icalendar
