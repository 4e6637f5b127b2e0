#pragma once

#include <chrono>

namespace quenbrook::model {

// An instant in UTC. Stores hold years 0001 to 9999; the type has room for more.
using Instant = std::chrono::sys_time<std::chrono::milliseconds>;

} // namespace quenbrook::model
