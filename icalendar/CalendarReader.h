#pragma once

#include "model/Event.h"
#include "model/Instant.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a store asks of the text of one calendar file (an iCalendar stream, RFC 5545 section 3.4).
//
// The text is any bytes, with CRLF or LF at the ends of its lines. Anything broken in it is passed
// over and the rest is reported: nothing here is an error, and only a lack of memory throws
// (std::bad_alloc). What a hostile text may cost is bounded (docs/embedded-store.md). Answers are
// values that hold no view of the text; their texts are valid UTF-8. Floating times and dates are
// read in the machine's zone of the moment. Functions that are const or free may run in several
// threads at once.
namespace quenbrook::icalendar {

// What names one event of a file, or one instance of a series.
struct EventKey {
    // Decoded; unique within a calendar, as a rule. Empty when the event has none: then nothing
    // finds it or changes it by this key.
    std::string uid;
    // Where the recurrence set has the instance, even when it was moved; absent for an event that
    // does not recur.
    std::optional<std::chrono::sys_seconds> originalStart;
};

struct FoundEvent {
    EventKey key;
    // Without identifier, calendar and handle, which are the store's to set.
    model::Event event;
    // About what it takes to hand an instance out, in bytes: the texts, and 256 for itself, each
    // participant and each rule.
    std::size_t size = 0;

    // Whether few files of such events would take all memory. More than 4,000 participants do.
    bool isLarge() const { return size > std::size_t{1} << 20; }
};

// One of the instances that a component describes: the event, and what this instance has of its
// own.
struct FoundInstance {
    // Shared by the instances next to each other that are alike but for what follows; its times
    // are those of the first.
    std::shared_ptr<FoundEvent> event;
    std::optional<std::chrono::sys_seconds> originalStart;
    model::Instant start;
    model::Instant end;
    // Whether it is the first that is listed of its series.
    bool isFirst = false;
};

// What one text holds.
struct FoundInstances {
    std::vector<FoundInstance> instances;
    // What it took to expand the rules, as docs/embedded-store.md counts.
    std::int64_t steps = 0;
};

// The instances of a range, asked of many files. Files and events whose dates lie elsewhere are
// not parsed, so that asking all files of a calendar is cheap.
class RangeQuery {
  public:
    // The range as CalendarStore::events has it: what starts before `until` and ends after `from`,
    // or has no length and starts in between.
    RangeQuery(model::Instant from, model::Instant until);

    // What the rules of nearly every text stay far below, in steps.
    static const std::int64_t modestSteps;

    // In no particular order, but those of each series together.
    FoundInstances instancesIn(std::string_view text) const;
    // As above where that takes fewer than modest steps; else what is found with these, and no
    // fewer are told.
    FoundInstances instancesOfModestSteps(std::string_view text) const;
    // As above; every instance of a series is an event of its own.
    std::vector<FoundEvent> eventsIn(std::string_view text) const;

  private:
    FoundInstances find(std::string_view text, std::int64_t steps) const;

    model::Instant from_;
    model::Instant until_;
};

// The event of this UID: of a series, its first instance that still stands, in the order of
// original starts. Returns nullopt when there is none (any more), and for an empty UID.
std::optional<FoundEvent> findEvent(std::string_view text, std::string_view uid);

} // namespace quenbrook::icalendar
