// Preloaded into the program under test: stands between it and the file calls of the C library, to
// make them do what a file system may do but seldom does, or to stop where another program comes
// in. What queries do past the C library (platform/vdir/UnmarkedCalls.h) it does not see.
//
// CALL is a system call as it is named below, those on a folder itself with "-folder" after it, and
// the two renames of renameat2 "rename-to-free" and "exchange". Standard streams do not count.
//
// QUENBROOK_WRITE_LIMIT=N      each write to a file takes at most N bytes.
// QUENBROOK_FAIL="CALL=N …"    each such call fails with this error number.
// QUENBROOK_PAUSE_AT=CALL      before the first such call, tells the test and waits for it, through
//                              the FIFOs $QUENBROOK_PAUSE_FIFO.reached and
//                              $QUENBROOK_PAUSE_FIFO.go. CALL#2 is the second such call.
// QUENBROOK_KILL_AFTER=1       after the call that was paused at, the program is killed.
// QUENBROOK_LIST=FILE          appends the name of each call to the file.
// QUENBROOK_RESTLESS_INODES=1  a file tells another inode each time it is asked by name.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr int lastStandardStream = 2;

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string setting(const char* name) {
    const char* value = getenv(name);
    return value ? value : "";
}

int reallyOpen(const std::string& path, int flags) {
    static auto* const real = next<int(const char*, int, ...)>("open");
    return real(path.c_str(), flags, 0600);
}

void reallyWrite(int descriptor, const std::string& text) {
    static auto* const real = next<ssize_t(int, const void*, size_t)>("write");
    if (descriptor == -1 ||
        real(descriptor, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        abort();
    }
    close(descriptor);
}

// The test is listening already, and opening a FIFO waits until its other end is open too. Reading
// to the end tells one pause from the next.
void waitForTheTest() {
    static auto* const real = next<ssize_t(int, void*, size_t)>("read");
    const std::string fifo = setting("QUENBROOK_PAUSE_FIFO");
    reallyWrite(reallyOpen(fifo + ".reached", O_WRONLY), "!");
    const int end = reallyOpen(fifo + ".go", O_RDONLY);
    char byte = 0;
    if (end == -1 || real(end, &byte, 1) != 0) {
        abort();
    }
    close(end);
}

// The error that this call is to fail with.
std::optional<int> errorOf(const std::string& call) {
    const std::string errors = " " + setting("QUENBROOK_FAIL");
    const std::size_t found = errors.find(" " + call + "=");
    return found == std::string::npos
               ? std::nullopt
               : std::optional(std::stoi(errors.substr(found + call.size() + 2)));
}

// What happens at one call.
template <class Real>
auto at(const std::string& call, Real real) -> decltype(real()) {
    static std::map<std::string, int> counts;
    const int count = ++counts[call];
    const std::string numbered = count == 1 ? call : call + "#" + std::to_string(count);
    if (const std::string list = setting("QUENBROOK_LIST"); !list.empty()) {
        reallyWrite(reallyOpen(list, O_WRONLY | O_CREAT | O_APPEND), numbered + "\n");
    }
    const std::string pauses = " " + setting("QUENBROOK_PAUSE_AT") + " ";
    if (pauses.find(" " + numbered + " ") != std::string::npos) {
        waitForTheTest();
    }
    const std::optional<int> error = errorOf(call);
    errno = error.value_or(0);
    const auto result = error ? -1 : real();
    if (setting("QUENBROOK_KILL_AFTER") == numbered) {
        kill(getpid(), SIGKILL);
    }
    return result;
}

std::string nameFor(int descriptor, const std::string& call) {
    static auto* const real = next<int(int, struct stat*)>("fstat");
    struct stat status = {};
    return real(descriptor, &status) == 0 && S_ISDIR(status.st_mode) ? call + "-folder" : call;
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
    return at("write", [&] { return real(descriptor, bytes, std::min(count, writeLimit())); });
}

ssize_t read(int descriptor, void* bytes, size_t count) {
    static auto* const real = next<ssize_t(int, void*, size_t)>("read");
    if (descriptor <= lastStandardStream) {
        return real(descriptor, bytes, count);
    }
    return at("read", [&] { return real(descriptor, bytes, count); });
}

int fsync(int descriptor) {
    static auto* const real = next<int(int)>("fsync");
    return at(nameFor(descriptor, "fsync"), [&] { return real(descriptor); });
}

int flock(int descriptor, int operation) {
    static auto* const real = next<int(int, int)>("flock");
    return at(
        operation == LOCK_UN ? "unlock" : "flock", [&] { return real(descriptor, operation); });
}

int fchmod(int descriptor, mode_t mode) {
    static auto* const real = next<int(int, mode_t)>("fchmod");
    return at("fchmod", [&] { return real(descriptor, mode); });
}

int fchown(int descriptor, uid_t owner, gid_t group) {
    static auto* const real = next<int(int, uid_t, gid_t)>("fchown");
    return at("fchown", [&] { return real(descriptor, owner, group); });
}

int openat(int folder, const char* name, int flags, ...) {
    static auto* const real = next<int(int, const char*, int, ...)>("openat");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return at((flags & O_DIRECTORY) != 0 ? "openat-folder" : "openat",
        [&] { return real(folder, name, flags, mode); });
}

int unlinkat(int folder, const char* name, int flags) {
    static auto* const real = next<int(int, const char*, int)>("unlinkat");
    return at("unlinkat", [&] { return real(folder, name, flags); });
}

int linkat(int folder, const char* from, int other, const char* to, int flags) {
    static auto* const real = next<int(int, const char*, int, const char*, int)>("linkat");
    return at("linkat", [&] { return real(folder, from, other, to, flags); });
}

int symlinkat(const char* target, int folder, const char* name) {
    static auto* const real = next<int(const char*, int, const char*)>("symlinkat");
    return at("symlinkat", [&] { return real(target, folder, name); });
}

ssize_t readlinkat(int folder, const char* name, char* buffer, size_t size) {
    static auto* const real = next<ssize_t(int, const char*, char*, size_t)>("readlinkat");
    return at("readlinkat", [&] { return real(folder, name, buffer, size); });
}

int renameat(int folder, const char* from, int other, const char* to) {
    static auto* const real = next<int(int, const char*, int, const char*)>("renameat");
    return at("renameat", [&] { return real(folder, from, other, to); });
}

int renameat2(int folder, const char* from, int other, const char* to, unsigned int flags) {
    static auto* const real =
        next<int(int, const char*, int, const char*, unsigned int)>("renameat2");
    return at(flags == RENAME_EXCHANGE ? "exchange" : "rename-to-free",
        [&] { return real(folder, from, other, to, flags); });
}

int fstatat(int folder, const char* name, struct stat* status, int flags) {
    static auto* const real = next<int(int, const char*, struct stat*, int)>("fstatat");
    const int result = at("fstatat", [&] { return real(folder, name, status, flags); });
    static ino_t asked = 0;
    if (getenv("QUENBROOK_RESTLESS_INODES")) {
        status->st_ino += ++asked;
    }
    return result;
}
}
