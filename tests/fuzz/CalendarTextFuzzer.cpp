#include "icalendar/CalendarEdit.h"
#include "icalendar/CalendarReader.h"
#include "icalendar/stream/ParsedStream.h"
#include "icalendar/time/Zone.h"
#include "tests/fuzz/AroundEdit.h"
#include "tests/fuzz/Require.h"
#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>

// A whole calendar file of which one thing is asked: what a range holds, or that an event of it is
// changed, moved or removed. What a change answers must hold the change, a removal must remove, and
// all else must be read as before. Which one it is the bytes themselves decide, so that an input is
// always asked the same.

namespace {

namespace icalendar = quenbrook::icalendar;
using namespace quenbrook::fuzz;
using quenbrook::model::Event;
using quenbrook::model::EventChanges;
using quenbrook::model::Instant;

Instant yearsAfter1970(int years) {
    return std::chrono::sys_days(
        std::chrono::year(1970 + years) / std::chrono::January / std::chrono::day(1));
}

const Instant now = yearsAfter1970(56);

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

Instant elsewhere(unsigned choice) {
    constexpr std::array<int, 4> years{0, 50, 56, 60};
    return yearsAfter1970(years[choice % years.size()]) + std::chrono::hours(choice / 4 % 9000);
}

void requireUpdated(std::string_view text, const std::string& updated,
    const icalendar::FoundEvent& found, const icalendar::FoundEvent& edited, unsigned choice) {
    requireSameBytesOutside(text, updated, found.key.uid);
    requireOneChangedComponent(text, updated, found.key.uid);
    requireSameAround(text, updated, found, edited, elsewhere(choice));
}

// Whether all is closed that was begun, and no limit ends the search for the first instance. Else
// an exception may not be seen to belong to its series.
bool isFoundForSure(std::string_view text, const std::string& uid) {
    icalendar::ParsedStream stream(text);
    const auto series = stream.series(uid);
    return stream.scan().broken == 0 && series && series->firstStanding() && !stream.isExhausted();
}

void tryChange(std::string_view text, const icalendar::FoundEvent& found, unsigned choice) {
    EventChanges changes;
    changes.title = "changed; by\r\nthe fuzzer";
    changes.alarms = {-900.0};
    const auto updated = icalendar::updatedStream(text, found.key, changes, now);
    if (updated && isFoundForSure(*updated, found.key.uid)) {
        icalendar::FoundEvent edited = found;
        edited.event.title = "changed; by\nthe fuzzer";
        edited.event.alarmCount = 1;
        const auto again = icalendar::findEvent(*updated, found.key.uid);
        require(again && again->event.title == edited.event.title);
        require(again->event.alarmCount == 1);
        require(again->event.start == found.event.start && again->event.end == found.event.end);
        requireUpdated(text, *updated, found, edited, choice);
    }
}

// By the wall clock, as days and their ends move.
Instant later(Instant instant, std::chrono::days days) {
    const auto zone = icalendar::Zone::local();
    return zone.instantOf(
        zone.wallClockAt(std::chrono::floor<std::chrono::seconds>(instant)) + days);
}

void tryMove(std::string_view text, const icalendar::FoundEvent& found, unsigned choice) {
    EventChanges changes;
    if (found.event.isAllDay) {
        changes.start = later(found.event.start, std::chrono::days(2));
        changes.end = later(found.event.end, std::chrono::days(3));
    } else {
        changes.start = found.event.start + std::chrono::minutes(90);
        changes.end = found.event.end + std::chrono::hours(30);
    }
    const auto updated = icalendar::updatedStream(text, found.key, changes, now);
    if (updated && isFoundForSure(*updated, found.key.uid)) {
        icalendar::FoundEvent edited = found;
        edited.event.start = *changes.start;
        edited.event.end = *changes.end;
        // Of a series another one may come first now, even one of the same original start.
        const icalendar::RangeQuery there(*changes.start, *changes.start + std::chrono::seconds(1));
        const auto events = there.eventsIn(*updated);
        require(std::any_of(events.begin(), events.end(), [&](const icalendar::FoundEvent& each) {
            return each.key.uid == found.key.uid && each.event.start == changes.start &&
                   each.event.end == changes.end && each.event.isAllDay == found.event.isAllDay;
        }));
        requireUpdated(text, *updated, found, edited, choice);
    }
}

void tryRemoval(std::string_view text, const icalendar::FoundEvent& found, unsigned choice) {
    const auto without = icalendar::streamWithout(text, found.key, now);
    // What was never closed may find its end in what stood behind the removed event.
    if (!without || icalendar::scanStream(text).broken > 0) {
        return;
    }
    requireSameBytesOutside(text, *without, found.key.uid);
    requireSameAround(text, *without, found, std::nullopt, elsewhere(choice));
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
            edits[question](text, *found, choice);
        }
    }
    return 0;
}
