#pragma once

#include "files/Directory.h"
#include "files/FileReading.h"
#include "icalendar/CalendarReader.h"
#include "stores/vdir/CalendarDirectories.h"
#include "stores/vdir/RangeAnswer.h"

#include <map>
#include <span>
#include <vector>

namespace quenbrook::stores::vdir {

// What the query finds in the files of these calendars, which are directories below the root,
// within the limits of a RangeAnswer; the first part of a key is a calendar's place among them.
// Calendars that are gone, or that this process may not read, hold no file. Throws
// std::system_error when a directory or a file could not be read.
std::map<FileKey, std::vector<icalendar::FoundInstance>> readRange(const files::Directory& root,
    std::span<const CalendarDirectory> calendars, const icalendar::RangeQuery& query,
    const files::ReadingThreads& threads);

} // namespace quenbrook::stores::vdir
