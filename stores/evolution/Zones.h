#pragma once

#include "icalendar/EventTexts.h"

#include <string>
#include <vector>

namespace quenbrook::stores::evolution {

// The zones whose definitions the service has to be asked for: those of the calendar's own. The
// others are the system's, under names that libical has put its prefix before, and are understood
// without.
std::vector<std::string> zonesToFetch(const icalendar::StreamAssembly& components);

} // namespace quenbrook::stores::evolution
