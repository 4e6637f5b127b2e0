#pragma once

#include "platform/icalendar/recurrence/RecurrenceRuleText.h"
#include "platform/icalendar/text/TextRange.h"

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

namespace quenbrook::platform::icalendar {

// The moments at which a zone that is not in the system's zone data changes its offset, in
// ascending order.
struct OffsetTable {
    struct Change {
        std::chrono::sys_seconds at;
        std::chrono::seconds before;
        std::chrono::seconds after;
    };
    std::chrono::seconds initial{0};
    std::vector<Change> changes;
    // Before and after these nobody has said, or nobody has looked at, what its offset is.
    std::chrono::sys_seconds from = std::chrono::sys_seconds::min();
    std::chrono::sys_seconds until = std::chrono::sys_seconds::max();
};

// The rules by which wall clocks of one place relate to UTC. Cheap to copy.
class Zone {
  public:
    static Zone utc();
    // From the system's zone data; nothing when it has no zone of that name. The name may come from
    // a file: it never leads outside of the zone data.
    static std::optional<Zone> system(std::string_view name);
    // The machine's own zone: what the C library takes the TZ variable (a name, the path of a file,
    // or a rule of its own), or else /etc/localtime, to mean. UTC when neither is understood.
    static Zone local();
    // One that the zone data does not have.
    static Zone fromTable(std::shared_ptr<const OffsetTable> table);

    // A wall-clock time that occurs twice means the first; one that is skipped is read with the
    // offset before the gap (RFC 5545 section 3.3.5).
    std::chrono::sys_seconds instantOf(LocalTime time) const;
    // What the wall clock shows at an instant.
    LocalTime wallClockAt(std::chrono::sys_seconds instant) const;

    // The first change of the offset after this instant; nothing when there is none.
    std::optional<OffsetTable::Change> changeAfter(std::chrono::sys_seconds instant) const;
    // The last change at or before this instant, likewise.
    std::optional<OffsetTable::Change> changeUpTo(std::chrono::sys_seconds instant) const;

    // Whether everybody who knows the zone has the same offset at this instant. A zone that a file
    // defines says nothing of the time before its first change.
    bool isCertainAt(std::chrono::sys_seconds instant) const;

    // How far ahead of UTC (negative: behind) the wall clock is at this instant.
    std::chrono::seconds offsetAt(std::chrono::sys_seconds instant) const;

  private:
    using Rules = std::variant<absl::TimeZone, std::shared_ptr<const OffsetTable>>;
    // From one transition of the system's data to another.
    using Step = bool (absl::TimeZone::*)(absl::Time, absl::TimeZone::CivilTransition*) const;

    explicit Zone(Rules rules)
        : rules_(std::move(rules)) {}

    std::optional<OffsetTable::Change> firstChange(
        std::chrono::sys_seconds instant, Step step) const;

    Rules rules_;
};

// The name of the machine's own zone in the system's zone data; nothing when it is UTC or has no
// name.
std::optional<std::string> localZoneName();

// The zones that the values of one iCalendar stream can name.
class TimeZones {
  public:
    // `text` and `definitions`, its VTIMEZONE components, must outlive this; they are parsed when
    // asked for.
    TimeZones(Zone local, std::string_view text, std::span<const TextRange> definitions);

    const Zone& local() const { return local_; }

    // From the system's zone data when it knows the name, else the stream's own VTIMEZONE, else
    // the system's zone that Windows calls so ("Eastern Standard Time") or whose name the
    // identifier ends in ("/vendor/version/Europe/Berlin"). No more than 1,000
    // VTIMEZONE are read.
    std::optional<Zone> named(const std::string& identifier);

  private:
    std::optional<Zone> resolve(const std::string& identifier);
    std::optional<Zone> defined(const std::string& identifier);
    void nameDefinitions();

    Zone local_;
    std::string_view text_;
    std::span<const TextRange> definitions_;
    bool definitionsAreNamed_ = false;
    std::map<std::string, const TextRange*> definitionsByName_;
    std::size_t definitionsRead_ = 0;
    std::map<std::string, std::optional<Zone>> known_;
};

} // namespace quenbrook::platform::icalendar
