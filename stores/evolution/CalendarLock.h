#pragma once

#include "files/FileDescriptor.h"
#include "stores/evolution/Bus.h"

#include <string_view>

namespace quenbrook::stores::evolution {

// Keeps other runs of this program out of a calendar for as long as it lives: the service has no
// means to change an event only if it is still as it was read. A run that dies gives its lock up.
class CalendarLock {
  public:
    // Waits for its turn until the deadline. Throws std::system_error when it does not come, or
    // when there is no place for locks.
    CalendarLock(std::string_view calendar, Deadline deadline);

  private:
    files::FileDescriptor file_;
};

} // namespace quenbrook::stores::evolution
