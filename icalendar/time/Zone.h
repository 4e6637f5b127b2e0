#pragma once

#include "icalendar/text/TextRange.h"
#include "icalendar/time/LocalTime.h"

#include <absl/time/time.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quenbrook::icalendar {

// A change of a zone's offset.
struct OffsetChange {
    std::chrono::sys_seconds at;
    std::chrono::seconds before;
    std::chrono::seconds after;
};

// The changes of a zone that a file defines, in ascending order.
struct OffsetTable {
    std::chrono::seconds initial{0};
    std::vector<OffsetChange> changes;
    // Before and after these nobody has said, or nobody has looked at, what its offset is.
    std::chrono::sys_seconds from = std::chrono::sys_seconds::min();
    std::chrono::sys_seconds until = std::chrono::sys_seconds::max();
};

// The rules by which wall clocks of one place relate to UTC. Cheap to copy. Several threads may ask
// it at once.
class Zone {
  public:
    static Zone utc();
    // This far ahead of UTC (negative: behind) at all times; less than a day.
    static Zone fixed(std::chrono::seconds offset);
    // From the system's zone data. The name may come from a file: it never leads outside of the
    // zone data. Returns nullopt when there is no zone of that name.
    static std::optional<Zone> system(std::string_view name);
    // The machine's own zone: what the C library takes the TZ variable (a name, the path of a file,
    // or a rule of its own), or else /etc/localtime, to mean. UTC when neither is understood. That
    // of a rule asks the C library each time, and holds as long as the variable is not changed.
    static Zone local();
    // One that a file defines.
    static Zone fromTable(std::shared_ptr<const OffsetTable> table);

    // A wall-clock time that occurs twice means the first; one that is skipped is read with the
    // offset before the gap (RFC 5545 section 3.3.5).
    std::chrono::sys_seconds instantOf(LocalTime time) const;
    // What the wall clock shows at an instant.
    LocalTime wallClockAt(std::chrono::sys_seconds instant) const;

    // The first change of the offset after this instant. Returns nullopt when there is none; of a
    // rule in TZ, when there is none before the year 2200.
    std::optional<OffsetChange> changeAfter(std::chrono::sys_seconds instant) const;
    // The last change at or before this instant. Returns nullopt when there is none; of a rule in
    // TZ, when there is none since 1970.
    std::optional<OffsetChange> changeUpTo(std::chrono::sys_seconds instant) const;

    // Whether everybody who knows the zone has the same offset at this instant. A zone that a file
    // defines says nothing of the time before its first change.
    bool isCertainAt(std::chrono::sys_seconds instant) const;

    // How far ahead of UTC (negative: behind) the wall clock is at this instant.
    std::chrono::seconds offsetAt(std::chrono::sys_seconds instant) const;

  private:
    // What localtime_r() takes the TZ variable to mean.
    struct LibraryRules {};
    using Rules = std::variant<absl::TimeZone, std::shared_ptr<const OffsetTable>, LibraryRules>;
    // From one transition of the system's data to another.
    using Transition = bool (absl::TimeZone::*)(absl::Time, absl::TimeZone::CivilTransition*) const;

    explicit Zone(Rules rules)
        : rules_(std::move(rules)) {}

    std::optional<OffsetChange> firstChange(
        std::chrono::sys_seconds instant, Transition transition) const;

    Rules rules_;
};

// The name of the machine's own zone in the system's zone data. Returns nullopt when it is UTC or
// has no name.
std::optional<std::string> localZoneName();

// The zones that the values of one iCalendar stream can name.
class TimeZones {
  public:
    // `text` and `definitions`, its VTIMEZONE components, must outlive this; they are parsed when
    // asked for.
    TimeZones(Zone local, std::string_view text, std::span<const TextRange> definitions);

    const Zone& local() const { return local_; }

    // From the system's zone data when it knows the name, else the stream's own VTIMEZONE, else
    // what other programs call a zone of the system (zoneOfForeignName). Returns nullopt when
    // nobody knows it. No more than 1,000 VTIMEZONE are read.
    std::optional<Zone> named(const std::string& identifier);

  private:
    std::optional<Zone> resolve(const std::string& identifier);
    std::optional<Zone> defined(const std::string& identifier);

    Zone local_;
    std::string_view text_;
    std::span<const TextRange> definitions_;
    std::optional<std::map<std::string, TextRange>> definitionsByName_;
    std::size_t definitionsRead_ = 0;
    std::map<std::string, std::optional<Zone>> known_;
};

} // namespace quenbrook::icalendar
