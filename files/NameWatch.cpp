#include "files/NameWatch.h"

#include "files/SystemCall.h"

#include <array>
#include <cstring>

#ifdef __linux__
#include <sys/inotify.h>
#endif

namespace quenbrook::files {

#ifdef __linux__

NameWatch::NameWatch(int directory)
    : queue_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    const std::string path = "/proc/self/fd/" + std::to_string(directory);
    if (queue_.isOpen() &&
        ::inotify_add_watch(queue_.get(), path.c_str(), IN_CREATE | IN_MOVED_TO) == -1) {
        queue_ = FileDescriptor();
    }
}

std::optional<std::set<std::string>> NameWatch::newNames() {
    std::set<std::string> names;
    std::array<char, 16 << 10> events;
    for (;;) {
        const ssize_t size =
            retryOnEintr([&] { return ::read(queue_.get(), events.data(), events.size()); });
        if (size == -1 && errno == EAGAIN) {
            return names;
        }
        if (size <= 0) {
            return std::nullopt;
        }
        for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
            inotify_event event;
            std::memcpy(&event, &events[at], sizeof(event));
            if ((event.mask & (IN_Q_OVERFLOW | IN_IGNORED)) != 0) {
                return std::nullopt;
            }
            names.emplace(&events[at + sizeof(event)]);
            at += sizeof(event) + event.len;
        }
    }
}

#else

NameWatch::NameWatch(int) {}

std::optional<std::set<std::string>> NameWatch::newNames() {
    return std::nullopt;
}

#endif

} // namespace quenbrook::files
