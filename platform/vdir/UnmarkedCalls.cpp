#include "platform/vdir/UnmarkedCalls.h"

#include <utility>

#include <fcntl.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/syscall.h>
#endif

namespace quenbrook::platform::vdir {

#ifdef __linux__
int openUnmarked(int folder, const char* name, int flags) {
    return static_cast<int>(::syscall(SYS_openat, folder, name, flags | O_LARGEFILE));
}

ssize_t readUnmarked(int descriptor, char* bytes, std::size_t count) {
    return ::syscall(SYS_read, descriptor, bytes, count);
}
#else
int openUnmarked(int folder, const char* name, int flags) {
    return ::openat(folder, name, flags);
}

ssize_t readUnmarked(int descriptor, char* bytes, std::size_t count) {
    return ::read(descriptor, bytes, count);
}
#endif

namespace {

#ifdef SYS_close_range
constexpr int closedTogether = 16;

// Systems older than the call refuse it.
bool closeTogether(int first, int last) {
    return ::syscall(SYS_close_range, first, last, 0) == 0;
}
#else
constexpr int closedTogether = 1;

bool closeTogether(int, int) {
    return false;
}
#endif

} // namespace

void FinishedFiles::take(FileDescriptor file) {
    if (file.get() != first_ + count_) {
        close();
        first_ = file.get();
    }
    file.release();
    if (++count_ == closedTogether) {
        close();
    }
}

bool FinishedFiles::close() {
    const int count = std::exchange(count_, 0);
    if (count > 1 && closeTogether(first_, first_ + count - 1)) {
        return true;
    }
    for (int i = 0; i < count; ++i) {
        ::close(first_ + i);
    }
    return count > 0;
}

} // namespace quenbrook::platform::vdir
