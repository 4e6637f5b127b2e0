#pragma once

#include "files/FileReading.h"
#include "stores/CalendarStore.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace quenbrook::stores::vdir {

// The store over directories of iCalendar files, one for each calendar, as other calendar programs
// keep and synchronise them. Without a root there is no home, and no access. Nothing is touched
// before the first operation; the calendars are listed once, by the first operation that needs
// them. What is found does not depend on the number of threads.
std::unique_ptr<CalendarStore> openVdirStore(
    std::optional<std::filesystem::path> root, const files::ReadingThreads& threads = {});

} // namespace quenbrook::stores::vdir
