#pragma once

#include "platform/CalendarStore.h"
#include "platform/vdir/Folder.h"

#include <memory>
#include <string>
#include <vector>

namespace quenbrook::platform::vdir {

// One calendar and the folder that it is.
struct CalendarFolder {
    std::shared_ptr<const Calendar> calendar;
    // Below the root, as the file system spells it.
    std::string path;
};

// Every calendar below the root, ordered by identifier. A folder in the root that itself holds a
// folder is an account and each folder in it a calendar; one that holds none is a calendar without
// an account.
std::vector<CalendarFolder> calendarFolders(const Folder& root);

} // namespace quenbrook::platform::vdir
