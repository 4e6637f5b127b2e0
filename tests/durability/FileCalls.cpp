// Preloaded into the program under test: stands between it and the file calls of the C library, to
// make them do what a file system may do but seldom does.
//
// QUENBROOK_WRITE_LIMIT=N      each write to a file takes at most N bytes.
// QUENBROOK_PAUSE_AT=CALL      write, fsync or fstatat: before the first such call on a file, tells
//                              the test and waits for it, through the FIFOs named
//                              $QUENBROOK_PAUSE_FIFO.reached and $QUENBROOK_PAUSE_FIFO.go.
// QUENBROOK_RESTLESS_INODES=1  a file tells another inode each time it is asked by name.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr int lastStandardStream = 2;

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The test is listening already, and opening a FIFO waits until its other end is open too.
void tell(const std::string& fifo) {
    const int end = open(fifo.c_str(), O_WRONLY);
    static auto* const real = next<ssize_t(int, const void*, size_t)>("write");
    if (end == -1 || real(end, "!", 1) != 1) {
        abort();
    }
    close(end);
}

void waitFor(const std::string& fifo) {
    const int end = open(fifo.c_str(), O_RDONLY);
    if (end == -1) {
        abort();
    }
    close(end);
}

void pauseAt(const char* call) {
    static bool paused = false;
    const char* wanted = getenv("QUENBROOK_PAUSE_AT");
    const char* fifo = getenv("QUENBROOK_PAUSE_FIFO");
    if (paused || !wanted || !fifo || strcmp(wanted, call) != 0) {
        return;
    }
    paused = true;
    tell(std::string(fifo) + ".reached");
    waitFor(std::string(fifo) + ".go");
}

size_t writeLimit() {
    const char* limit = getenv("QUENBROOK_WRITE_LIMIT");
    return limit ? strtoul(limit, nullptr, 10) : SIZE_MAX;
}

} // namespace

extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t count) {
    static auto* const real = next<ssize_t(int, const void*, size_t)>("write");
    if (descriptor <= lastStandardStream) {
        return real(descriptor, bytes, count);
    }
    pauseAt("write");
    return real(descriptor, bytes, std::min(count, writeLimit()));
}

int fsync(int descriptor) {
    static auto* const real = next<int(int)>("fsync");
    pauseAt("fsync");
    return real(descriptor);
}

int fstatat(int folder, const char* name, struct stat* status, int flags) {
    static auto* const real = next<int(int, const char*, struct stat*, int)>("fstatat");
    pauseAt("fstatat");
    const int result = real(folder, name, status, flags);
    static ino_t asked = 0;
    if (getenv("QUENBROOK_RESTLESS_INODES")) {
        status->st_ino += ++asked;
    }
    return result;
}
}
