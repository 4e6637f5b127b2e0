#pragma once

#include <cerrno>
#include <string>
#include <system_error>

namespace quenbrook::files {

// Makes a system call again for as long as a signal interrupts it.
template <class Call>
auto retryOnEintr(Call call) {
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

// Makes it so, and throws std::system_error named after the call when it fails.
template <class Call>
auto throwOnError(const char* name, Call call) {
    const auto result = retryOnEintr(call);
    if (result == -1) {
        throwSystemError(name);
    }
    return result;
}

// Whether too many files were open for one more, in this process or in all.
inline bool isWantOfDescriptors(const std::system_error& error) {
    return error.code() == std::errc::too_many_files_open ||
           error.code() == std::errc::too_many_files_open_in_system;
}

} // namespace quenbrook::files
