#pragma once

#include <cerrno>
#include <string>
#include <system_error>

namespace quenbrook::platform {

// Makes a system call again for as long as a signal interrupts it.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

// The error of the system call that has just failed.
[[noreturn]] inline void throwSystemError(const char* call) {
    throw std::system_error(errno, std::generic_category(), call);
}

// The same, and throws std::system_error named after the call when it fails.
template <class Call>
auto checked(const char* name, Call call) {
    const auto result = uninterrupted(call);
    if (result == -1) {
        throwSystemError(name);
    }
    return result;
}

} // namespace quenbrook::platform
