#include "tests/fuzz/AroundEdit.h"

#include "icalendar/event/EventMapping.h"
#include "icalendar/stream/ParsedStream.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace quenbrook::fuzz {
namespace {

using icalendar::ParsedStream;
using model::Event;
using model::Instant;

// No more than a caller could tell apart, without the stamps.
struct Seen {
    std::chrono::sys_seconds originalStart;
    Instant start;
    Instant end;
    bool isAllDay;
    std::string texts;
    std::size_t alarms;

    auto parts() const { return std::tie(originalStart, start, end, isAllDay, texts, alarms); }
    bool operator==(const Seen& other) const { return parts() == other.parts(); }
    bool operator<(const Seen& other) const { return parts() < other.parts(); }
};

std::chrono::sys_seconds wholeSeconds(Instant instant) {
    return std::chrono::floor<std::chrono::seconds>(instant);
}

Seen seen(std::chrono::sys_seconds originalStart, const Event& event) {
    std::string texts = event.title.value_or("-") + "\n" + event.location.value_or("-") + "\n" +
                        event.notes.value_or("-");
    for (const model::Participant& participant : event.participants) {
        texts += "\n" + participant.url;
    }
    return {
        originalStart, event.start, event.end, event.isAllDay, std::move(texts), event.alarmCount};
}

struct Window {
    Instant from;
    Instant until;
};

bool isIn(const Event& event, const Window& window) {
    return event.start == event.end ? event.start >= window.from && event.start < window.until
                                    : event.start < window.until && event.end > window.from;
}

struct View {
    std::vector<Seen> instances;
    // Whether all masters do.
    bool recurs = false;
    bool hasSuperseded = false;
    // Not where a limit ended the search.
    bool isWhole = true;
};

View viewOf(std::string_view text, std::string_view uid, const Window& window) {
    ParsedStream stream(text);
    View view;
    if (const auto series = stream.series(uid)) {
        const auto& masters = series->masters();
        view.recurs = !masters.empty() && std::all_of(masters.begin(), masters.end(),
                                              [](const auto& master) { return master.recurs(); });
        view.hasSuperseded = !series->superseded().empty();
        for (const icalendar::Instance& each : series->instancesIn(window.from, window.until)) {
            view.instances.push_back(seen(each.originalStart.instant(), icalendar::eventOf(each)));
        }
    }
    view.isWhole =
        !stream.isExhausted() && view.instances.size() < icalendar::Series::maximumInstances;
    std::sort(view.instances.begin(), view.instances.end());
    return view;
}

std::set<std::string> uidsOf(std::string_view text) {
    std::set<std::string> uids;
    for (const icalendar::EventSummary& event : icalendar::scanStream(text).events) {
        uids.insert(icalendar::uidOf(text, event));
    }
    uids.erase(std::string());
    return uids;
}

void leaveOutOriginalStarts(View& view) {
    for (Seen& each : view.instances) {
        each.originalStart = {};
    }
    std::sort(view.instances.begin(), view.instances.end());
}

void requireSameInstances(std::string_view before, std::string_view after,
    const icalendar::FoundEvent& found, const Edited& edited, const Window& window) {
    View old = viewOf(before, found.key.uid, window);
    View now = viewOf(after, found.key.uid, window);
    const std::chrono::sys_seconds originalStart =
        found.key.originalStart.value_or(wholeSeconds(found.event.start));
    // Two instances of one original start cannot be told apart.
    const auto isFound = [&](const Seen& each) { return each.originalStart == originalStart; };
    const auto same = std::count_if(old.instances.begin(), old.instances.end(), isFound);
    if (!old.isWhole || !now.isWhole || same > 1) {
        return;
    }
    const Seen gone = seen(originalStart, found.event);
    if (isIn(found.event, window)) {
        const auto at = std::find(old.instances.begin(), old.instances.end(), gone);
        require(at != old.instances.end());
        old.instances.erase(at);
    }
    if (edited && isIn(edited->event, window)) {
        // What moves with its own DTSTART, an instance of no other, has a new original start.
        const Seen moved = seen(wholeSeconds(edited->event.start), edited->event);
        const auto& all = now.instances;
        const bool hasMoved = std::find(all.begin(), all.end(), moved) != all.end();
        old.instances.push_back(hasMoved ? moved : seen(originalStart, edited->event));
    }
    // Of what does not recur, or is gone, an exception replaces nothing: which instance it names is
    // read by a clock that the edit may change, the master's or without one the machine's, and it
    // is itself the same event all the same. Two revisions of one may name two then.
    if (!old.recurs || !now.recurs) {
        if (old.hasSuperseded) {
            return;
        }
        leaveOutOriginalStarts(old);
        leaveOutOriginalStarts(now);
    }
    std::sort(old.instances.begin(), old.instances.end());
    require(old.instances == now.instances);
}

} // namespace

void requireSameAround(std::string_view before, std::string_view after,
    const icalendar::FoundEvent& found, const Edited& edited, Instant elsewhere) {
    constexpr std::size_t mostOthers = 4;
    std::set<std::string> others = uidsOf(before);
    others.erase(found.key.uid);
    while (others.size() > mostOthers) {
        others.erase(std::prev(others.end()));
    }
    const std::array<Instant, 4> places = {found.event.start,
        found.key.originalStart ? Instant(*found.key.originalStart) : found.event.end,
        edited ? edited->event.start : found.event.start, elsewhere};
    for (const Instant place : places) {
        for (const std::chrono::hours reach :
            {std::chrono::hours(3), std::chrono::hours(24 * 40)}) {
            const Window window{place - reach, place + reach};
            requireSameInstances(before, after, found, edited, window);
            for (const std::string& other : others) {
                const View old = viewOf(before, other, window);
                const View now = viewOf(after, other, window);
                require(!old.isWhole || !now.isWhole || old.instances == now.instances);
            }
        }
    }
}

void requireSameBytesOutside(
    std::string_view before, std::string_view after, std::string_view uid) {
    const icalendar::StreamScan scan = icalendar::scanStream(before);
    if (after.empty()) {
        require(scan.others == 0 && scan.broken == 0 &&
                std::all_of(scan.events.begin(), scan.events.end(),
                    [&](const auto& event) { return icalendar::uidOf(before, event) == uid; }));
        return;
    }
    std::size_t end = 0;
    std::size_t reached = 0;
    for (const icalendar::EventSummary& event : scan.events) {
        if (icalendar::uidOf(before, event) != uid) {
            continue;
        }
        const std::string_view outside = before.substr(end, event.range.begin - end);
        const std::size_t at = after.find(outside, reached);
        require(at != std::string_view::npos && (end > 0 || at == 0));
        reached = at + outside.size();
        end = event.range.end;
    }
    const std::string_view rest = before.substr(end);
    require(after.ends_with(rest) && after.size() - rest.size() >= reached);
}

void requireOneChangedComponent(
    std::string_view before, std::string_view after, std::string_view uid) {
    std::size_t changed = 0;
    for (const icalendar::EventSummary& event : icalendar::scanStream(before).events) {
        const std::string_view own =
            before.substr(event.range.begin, event.range.end - event.range.begin);
        const bool stays = after.find(own) != std::string_view::npos;
        changed += !stays && icalendar::uidOf(before, event) == uid ? 1 : 0;
    }
    ParsedStream stream(before);
    const auto series = stream.series(uid);
    require(series && changed <= 1 + series->superseded().size());
}

} // namespace quenbrook::fuzz
