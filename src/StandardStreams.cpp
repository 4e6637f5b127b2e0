#include "src/StandardStreams.h"

#include <array>
#include <cerrno>
#include <cstddef>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace quenbrook {
namespace {

// Whether a call that failed may be tried again; waits until that makes sense.
bool mayRetry(int descriptor, short events) {
    if (errno == EINTR) {
        return true;
    }
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
        return false;
    }
    pollfd waited{descriptor, events, 0};
    return poll(&waited, 1, -1) >= 0 || errno == EINTR;
}

} // namespace

std::string readAll(int descriptor) {
    std::string text;
    // The limit on the stack may be as small as 64 KiB.
    std::array<char, std::size_t{16} * 1024> buffer;
    while (true) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count == 0) {
            return text;
        }
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (!mayRetry(descriptor, POLLIN)) {
            return {};
        }
    }
}

void writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(descriptor, text.data(), text.size());
        if (count > 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (count == 0 || !mayRetry(descriptor, POLLOUT)) {
            return;
        }
    }
}

bool openMissingStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) {
            continue;
        }
        // The lowest free descriptor is given out: this very one.
        if (open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY) != descriptor) {
            return false;
        }
    }
    return true;
}

Streams standardStreams() {
    return {
        [] { return readAll(STDIN_FILENO); },
        [](std::string_view text) { writeAll(STDOUT_FILENO, text); },
        [](std::string_view text) { writeAll(STDERR_FILENO, text); },
    };
}

} // namespace quenbrook
