#pragma once

#include "files/Directory.h"
#include "files/FileReading.h"
#include "icalendar/CalendarReader.h"

#include <optional>
#include <string>
#include <string_view>

namespace quenbrook::stores::vdir {

// An event and the name of the file that holds it.
struct SearchResult {
    icalendar::FoundEvent event;
    std::string file;
};

// The event of this UID in a calendar: that of the file named after the UID, else of the first file
// by name that has it. Returns nullopt when none has. Throws std::system_error when a file that had
// to be looked at could not be read.
std::optional<SearchResult> searchEvent(
    const files::Directory& directory, std::string_view uid, const files::ReadingThreads& threads);

} // namespace quenbrook::stores::vdir
