#include "icalendar/stream/EditCheck.h"

#include <algorithm>
#include <iterator>

namespace quenbrook::icalendar {
namespace {

// Whatever a date means in whatever zone lies within.
constexpr std::chrono::days reach{2};

std::vector<Instance> around(const Series& series, std::chrono::sys_seconds at) {
    return series.instancesIn(at - reach, at + reach);
}

} // namespace

EditCheck::EditCheck(const Series& series, const Instance& changed,
    std::chrono::sys_seconds newStart, bool isRewritten)
    : isRewritten_(isRewritten) {
    const Traits gone = traitsOf(changed);
    for (const auto at : {changed.originalStart.instant(), changed.span.start, newStart}) {
        Surroundings place{at, {}};
        bool isGone = isRewritten;
        const std::vector<Instance> all = around(series, at);
        if (all.size() >= Series::maximumInstances) {
            places_.clear();
            return;
        }
        for (const Instance& each : all) {
            if (isRewritten && each.master == changed.master) {
                continue;
            }
            Traits one = traitsOf(each);
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

bool EditCheck::isKeptWithTheChanged(const Series& after) const {
    const bool all = std::all_of(places_.begin(), places_.end(), [&](const Surroundings& place) {
        const std::ptrdiff_t count = more(place, after);
        return count >= 0 && (isRewritten_ || count <= 1);
    });
    return all && (places_.empty() || more(places_.back(), after) >= 1);
}

bool EditCheck::isKeptAlone(const Series& after) const {
    return std::all_of(places_.begin(), places_.end(),
        [&](const Surroundings& place) { return more(place, after) == 0; });
}

EditCheck::Traits EditCheck::traitsOf(const Instance& instance) {
    const Property* title = instance.component->component->first("SUMMARY");
    return {instance.originalStart.instant(), instance.span.start, instance.span.end,
        instance.isAllDay, title ? std::string(title->value) : std::string()};
}

std::ptrdiff_t EditCheck::more(const Surroundings& place, const Series& after) {
    std::vector<Traits> now;
    for (const Instance& each : around(after, place.at)) {
        now.push_back(traitsOf(each));
    }
    std::sort(now.begin(), now.end());
    const bool hasAll =
        std::includes(now.begin(), now.end(), place.staying.begin(), place.staying.end());
    return hasAll ? std::ssize(now) - std::ssize(place.staying) : -1;
}

} // namespace quenbrook::icalendar
