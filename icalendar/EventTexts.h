#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a store asks of the text when its calendars are kept by a service that hands out and takes
// single events, rather than in files: streams (RFC 5545 section 3.4) put together from components,
// and taken apart again.
namespace quenbrook::icalendar {

// A stream that is put together from components.
class StreamAssembly {
  public:
    // One component that stands for itself, from its BEGIN line to its END line; of a whole stream,
    // its events and zones.
    void add(std::string_view text);

    // Each zone once that a date names and that neither the system's zone data nor the stream
    // defines.
    std::vector<std::string> undefinedZones() const;

    std::string stream() const;

  private:
    std::string components_;
};

// One VEVENT of a stream.
struct EventText {
    // The value of RECURRENCE-ID as it is written; empty when there is none.
    std::string recurrenceId;
    std::string text;
};

// What the value of a property is to be written as, a part of it. Returns nullopt when the property
// is to be left out.
using ValueChange = std::function<std::optional<std::string_view>(std::string_view value)>;

// The events of this UID, in their order, their properties with the values that `change` makes of
// theirs.
std::vector<EventText> eventTexts(
    std::string_view stream, std::string_view uid, const ValueChange& change);

} // namespace quenbrook::icalendar
