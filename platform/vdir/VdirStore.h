#pragma once

#include "platform/CalendarStore.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace quenbrook::platform::vdir {

// The store over folders of iCalendar files, one for each calendar, as other calendar programs keep
// and synchronise them. Without a root there is no home, and no access. Nothing is touched before
// the first operation; the calendars are listed once, by the first operation that needs them.
std::unique_ptr<CalendarStore> openVdirStore(std::optional<std::filesystem::path> root);

} // namespace quenbrook::platform::vdir
