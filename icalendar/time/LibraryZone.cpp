#include "icalendar/time/LibraryZone.h"

#include <algorithm>
#include <ctime>

namespace quenbrook::icalendar {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;

constexpr sys_seconds earliestChange = sys_days(std::chrono::year(1970) / 1 / 1);
constexpr sys_seconds latestChange = sys_days(std::chrono::year(2200) / 1 / 1);
constexpr days step{7};
// More than any offset that a rule can state.
constexpr hours room{26};

// The first instant at which the offset is no longer that of `begin`. By then it must have changed.
OffsetChange changeBetween(sys_seconds begin, sys_seconds end) {
    const seconds before = libraryOffsetAt(begin);
    while (end - begin > seconds(1)) {
        const sys_seconds middle = begin + (end - begin) / 2;
        (libraryOffsetAt(middle) == before ? begin : end) = middle;
    }
    return {end, before, libraryOffsetAt(end)};
}

} // namespace

void useLibraryZone() {
    ::tzset();
}

seconds libraryOffsetAt(sys_seconds instant) {
    const std::time_t time = instant.time_since_epoch().count();
    std::tm clock{};
    ::localtime_r(&time, &clock);
    return seconds(clock.tm_gmtoff);
}

sys_seconds libraryInstantOf(LocalTime time) {
    const sys_seconds asUtc(time.time_since_epoch());
    const seconds before = libraryOffsetAt(asUtc - room);
    const seconds after = libraryOffsetAt(asUtc + room);
    for (const seconds offset : {std::max(before, after), std::min(before, after)}) {
        if (libraryOffsetAt(asUtc - offset) == offset) {
            return asUtc - offset;
        }
    }
    return asUtc - before;
}

std::optional<OffsetChange> libraryChangeAfter(sys_seconds instant) {
    sys_seconds at = std::max(instant, earliestChange - seconds(1));
    for (; at < latestChange; at += step) {
        if (libraryOffsetAt(at + step) != libraryOffsetAt(at)) {
            return changeBetween(at, at + step);
        }
    }
    return std::nullopt;
}

std::optional<OffsetChange> libraryChangeUpTo(sys_seconds instant) {
    sys_seconds at = std::min(instant, latestChange);
    for (; at >= earliestChange; at -= step) {
        if (libraryOffsetAt(at - step) != libraryOffsetAt(at)) {
            return changeBetween(at - step, at);
        }
    }
    return std::nullopt;
}

} // namespace quenbrook::icalendar
