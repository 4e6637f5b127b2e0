#include "platform/Text.h"
#include "platform/icalendar/CalendarEdit.h"
#include "platform/icalendar/CalendarReader.h"
#include "platform/icalendar/Outline.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

// A whole calendar file: outlined, searched over several ranges, and every event of it changed and
// removed. What a change answers must hold the change, and a removal must remove.

namespace {

namespace icalendar = quenbrook::platform::icalendar;
using quenbrook::platform::Event;
using quenbrook::platform::EventChanges;
using quenbrook::platform::Instant;

Instant yearsAfter1970(int years) {
    return std::chrono::sys_days(
        std::chrono::year(1970 + years) / std::chrono::January / std::chrono::day(1));
}

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void requireText(const std::optional<std::string>& text) {
    require(!text || quenbrook::platform::isValidUTF8(*text));
}

void check(const icalendar::FoundEvent& found, Instant from, Instant until) {
    const Event& event = found.event;
    require(event.start <= event.end && event.start < until && event.end >= from);
    requireText(event.title);
    requireText(event.location);
    requireText(event.notes);
    for (const auto& participant : event.participants) {
        requireText(participant.url);
        requireText(participant.name);
    }
}

// How many there are of one occurrence: a file may say the same twice.
std::ptrdiff_t countOf(const icalendar::FoundEvent& wanted, std::string_view text) {
    const Instant start = wanted.event.start;
    const auto found = icalendar::RangeQuery(start, start + std::chrono::seconds(1)).eventsIn(text);
    return std::count_if(found.begin(), found.end(), [&](const icalendar::FoundEvent& each) {
        return each.key.uid == wanted.key.uid && each.event.start == start &&
               each.key.originalStart == wanted.key.originalStart;
    });
}

void change(std::string_view text, const icalendar::FoundEvent& found) {
    EventChanges changes;
    changes.title = "changed; by\nthe fuzzer";
    changes.alarms = {-900.0};
    const Instant now = yearsAfter1970(56);
    if (const auto updated = icalendar::updatedStream(text, found.key, changes, now)) {
        const auto again = icalendar::findEvent(*updated, found.key.uid);
        require(again && again->event.title == changes.title && again->event.alarmCount == 1);
        require(again->event.start == found.event.start && again->event.end == found.event.end);
    }
    // What was never closed may find its end in what stood behind the removed event.
    const bool isWhole = icalendar::outlineOf(text).broken == 0;
    if (const auto without = icalendar::streamWithout(text, found.key, now)) {
        require(!isWhole || countOf(found, *without) < countOf(found, text));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    // Long enough for days and weeks to be met, too short for a rule by the second to fill the
    // time.
    for (const int year : {0, 1, 50, 60}) {
        const Instant from = yearsAfter1970(year) - std::chrono::hours(3);
        const Instant until = from + std::chrono::hours(6);
        for (const auto& found : icalendar::RangeQuery(from, until).eventsIn(text)) {
            check(found, from, until);
        }
    }
    for (const auto& summary : icalendar::outlineOf(text).events) {
        if (const auto found = icalendar::findEvent(text, summary.uid)) {
            change(text, *found);
        }
    }
    return 0;
}
