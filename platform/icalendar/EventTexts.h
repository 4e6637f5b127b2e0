#pragma once

#include <string>
#include <string_view>
#include <vector>

// What a store asks of the text when its calendars are kept by a service that hands out and takes
// single events, rather than in files: streams (RFC 5545 section 3.4) put together from components,
// and taken apart again.
namespace quenbrook::platform::icalendar {

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

// The events of this UID, in their order, as far as libical takes them, which drops the blanks
// around values: what is between them is left, and a property of which nothing is left is left out.
// libical would put the report of an error in its place.
std::vector<EventText> eventTexts(std::string_view stream, std::string_view uid);

} // namespace quenbrook::platform::icalendar
