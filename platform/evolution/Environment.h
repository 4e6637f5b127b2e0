#pragma once

#include <cstdlib>
#include <string_view>

namespace quenbrook::platform::evolution {

// The value of a variable, valid until the environment changes; empty when there is none, which
// means the same to all that is read here.
inline std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string_view() : value;
}

} // namespace quenbrook::platform::evolution
