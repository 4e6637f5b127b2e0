#pragma once

#include "icalendar/event/Series.h"
#include "icalendar/recurrence/WorkBudget.h"
#include "icalendar/stream/StreamScan.h"
#include "icalendar/time/Zone.h"

#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace quenbrook::icalendar {

// The text of one calendar file (an iCalendar stream, RFC 5545 section 3.4) while it is read: where
// its components stand, the zones that they can name, and what it may still cost. Series and what
// comes out of them must not outlive it.
class ParsedStream {
  public:
    // What all rules of one file may cost. Thousands of series over many years stay well below
    // that.
    static constexpr std::int64_t mostSteps = isBuiltToBeFuzzed ? 10'000 : 100'000'000;

    // `text` must outlive this.
    explicit ParsedStream(std::string_view text, std::int64_t steps = mostSteps);
    ParsedStream(const ParsedStream&) = delete;
    ParsedStream& operator=(const ParsedStream&) = delete;

    const StreamScan& scan() const { return scan_; }

    // The components of one UID as a series; null when none of them is an event, or when they are,
    // with their rules and listed dates, more than 200,000. The components are of this scan.
    std::unique_ptr<const Series> series(std::span<const EventSummary* const> components);
    std::unique_ptr<const Series> series(std::string_view uid);

    // Whether all components of this UID stand in a VCALENDAR. Of one that does not, nobody can
    // tell what other programs would make of a change to it.
    bool holdsInCalendar(std::string_view uid) const;

    // Whether a search was given up at one of the limits: there may be more instances than were
    // found.
    bool isExhausted() const { return budget_.isExhausted(); }
    // How many steps the rules have taken so far.
    std::int64_t steps() const { return budget_.spent(); }

  private:
    // Most files are asked for nothing that has to do with zones.
    TimeZones& zones();

    std::string_view text_;
    StreamScan scan_;
    // All series draw on it.
    WorkBudget budget_;
    std::optional<TimeZones> zones_;
};

} // namespace quenbrook::icalendar
