#pragma once

#include <cstdlib>
#include <string_view>

namespace quenbrook::stores::evolution {

// The value of a variable, valid until the environment changes. Returns an empty text when there is
// none: what is read here makes no difference between the two.
inline std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string_view() : value;
}

} // namespace quenbrook::stores::evolution
