#pragma once

#include <string>

namespace quenbrook::files {

// An upper-case random UUID (RFC 4122, version 4). Throws std::system_error when the system has no
// randomness to give.
std::string randomUid();

} // namespace quenbrook::files
