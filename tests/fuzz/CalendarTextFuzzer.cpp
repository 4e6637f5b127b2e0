#include "icalendar/CalendarEdit.h"
#include "icalendar/CalendarReader.h"
#include "icalendar/stream/ParsedStream.h"
#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <string>
#include <string_view>

// A whole calendar file of which one thing is asked: what a range holds, or that an event of it is
// changed, moved or removed. What a change answers must hold the change, and a removal must remove.
// Which one it is the bytes themselves decide, so that an input is always asked the same.

namespace {

namespace icalendar = quenbrook::icalendar;
using quenbrook::model::Event;
using quenbrook::model::EventChanges;
using quenbrook::model::Instant;

Instant yearsAfter1970(int years) {
    return std::chrono::sys_days(
        std::chrono::year(1970 + years) / std::chrono::January / std::chrono::day(1));
}

const Instant now = yearsAfter1970(56);

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void requireText(const std::optional<std::string>& text) {
    require(!text || quenbrook::unicode::isValidUTF8(*text));
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

// Long enough for days and weeks to be met, too short for a rule by the second to fill the time.
void list(std::string_view text, unsigned choice) {
    constexpr std::array<int, 4> years{0, 1, 50, 60};
    const Instant from = yearsAfter1970(years[choice % years.size()]) - std::chrono::hours(3);
    const Instant until = from + std::chrono::hours(6);
    for (const auto& found : icalendar::RangeQuery(from, until).eventsIn(text)) {
        check(found, from, until);
    }
}

// How many there are of one occurrence: a file may say the same twice. Nothing when they were not
// all looked for.
std::optional<std::ptrdiff_t> countOf(const icalendar::FoundEvent& wanted, std::string_view text) {
    icalendar::ParsedStream stream(text);
    const auto series = stream.series(wanted.key.uid);
    if (!series) {
        return 0;
    }
    const Instant start = wanted.event.start;
    const auto found = series->instancesIn(start, start + std::chrono::seconds(1));
    const auto count =
        std::count_if(found.begin(), found.end(), [&](const icalendar::Instance& each) {
            return each.span.start == start &&
                   (!wanted.key.originalStart ||
                       each.originalStart.instant() == *wanted.key.originalStart);
        });
    return stream.isExhausted() ? std::nullopt : std::optional(count);
}

void tryChange(std::string_view text, const icalendar::FoundEvent& found) {
    EventChanges changes;
    changes.title = "changed; by\r\nthe fuzzer";
    changes.alarms = {-900.0};
    if (const auto updated = icalendar::updatedStream(text, found.key, changes, now)) {
        const auto again = icalendar::findEvent(*updated, found.key.uid);
        require(again && again->event.title == "changed; by\nthe fuzzer");
        require(again->event.alarmCount == 1);
        require(again->event.start == found.event.start && again->event.end == found.event.end);
    }
}

void tryMove(std::string_view text, const icalendar::FoundEvent& found) {
    if (found.event.isAllDay) {
        return;
    }
    EventChanges changes;
    changes.start = found.event.start + std::chrono::minutes(90);
    changes.end = found.event.end + std::chrono::hours(30);
    if (const auto updated = icalendar::updatedStream(text, found.key, changes, now)) {
        // Of a series another one may come first now, even one of the same original start.
        const icalendar::RangeQuery there(*changes.start, *changes.start + std::chrono::seconds(1));
        const auto events = there.eventsIn(*updated);
        require(std::any_of(events.begin(), events.end(), [&](const icalendar::FoundEvent& each) {
            return each.key.uid == found.key.uid && each.event.start == changes.start &&
                   each.event.end == changes.end;
        }));
    }
}

void tryRemoval(std::string_view text, const icalendar::FoundEvent& found) {
    const auto without = icalendar::streamWithout(text, found.key, now);
    // What was never closed may find its end in what stood behind the removed event.
    if (!without || icalendar::scanStream(text).broken > 0) {
        return;
    }
    const auto before = countOf(found, text);
    const auto after = countOf(found, *without);
    require(!before || !after || *after < *before);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const unsigned choice = std::accumulate(data, data + size, 0U);
    constexpr std::array edits{tryChange, tryMove, tryRemoval};
    const unsigned question = choice % (edits.size() + 1);
    if (question == edits.size()) {
        list(text, choice / 4);
        return 0;
    }
    const auto events = icalendar::scanStream(text).events;
    if (!events.empty()) {
        const std::string uid = icalendar::uidOf(text, events[choice / 4 % events.size()]);
        if (const auto found = icalendar::findEvent(text, uid)) {
            edits[question](text, *found);
        }
    }
    return 0;
}
