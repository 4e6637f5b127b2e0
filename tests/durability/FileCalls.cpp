// Preloaded into the program under test: stands between it and the file calls of the C library, to
// make them do what a file system may do but seldom does, or to stop where another program comes
// in.
//
// CALL is a system call as it is named below, those on a directory itself with "-directory" after
// it, the two renames of renameat2 "rename-to-free" and "exchange", and the question of access with
// AT_EACCESS "faccessat-effective". Standard streams do not count.
//
// Calls are counted, listed, paused and killed at from the first lock on: what comes before does
// not change anything, and depends on how long ago the calendars were changed.
//
// QUENBROOK_WRITE_LIMIT=N      each write to a file takes at most N bytes.
// QUENBROOK_FAIL="CALL=N …"    each such call fails with this error number.
// QUENBROOK_READING_FAILS=N=ERROR  the Nth call of those that look at the store fails with this
// error
//                              number; with "N+=ERROR" all from the Nth on.
// QUENBROOK_COUNT=FILE         writes how many such calls there were to the file, at the end.
// QUENBROOK_READ_LIMIT=N       each read of a file gives at most N bytes.
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
#include <utility>

#include <dirent.h>
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

// Whether a lock has been asked for: before that nothing is changed.
bool hasBegun(const std::string& call) {
    static bool begun = false;
    begun = begun || call == "flock";
    return begun;
}

// What happens at one call.
template <class Real>
auto at(const std::string& call, Real real) -> decltype(real()) {
    if (!hasBegun(call)) {
        const std::optional<int> error = errorOf(call);
        errno = error.value_or(0);
        return error ? -1 : real();
    }
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
    return real(descriptor, &status) == 0 && S_ISDIR(status.st_mode) ? call + "-directory" : call;
}

size_t limitOf(const char* variable) {
    const char* limit = getenv(variable);
    return limit ? strtoul(limit, nullptr, 10) : SIZE_MAX;
}

// How many calls have looked at the store.
class ReadingCalls {
  public:
    ~ReadingCalls() {
        if (const std::string file = setting("QUENBROOK_COUNT"); !file.empty()) {
            reallyWrite(reallyOpen(file, O_WRONLY | O_CREAT | O_TRUNC), std::to_string(count_));
        }
    }

    // The error that the next one is to fail with.
    std::optional<int> next() {
        const std::string failing = setting("QUENBROOK_READING_FAILS");
        const int number = ++count_;
        const std::size_t end = failing.find('=');
        if (end == std::string::npos) {
            return std::nullopt;
        }
        const int first = std::stoi(failing);
        const bool isOne = failing[end - 1] != '+';
        return number == first || (!isOne && number > first)
                   ? std::optional(std::stoi(failing.substr(end + 1)))
                   : std::nullopt;
    }

  private:
    int count_ = 0;
};

std::optional<int> nextReadingError() {
    static ReadingCalls calls;
    return calls.next();
}

// One call that looks at the store, and what it gives when it fails.
template <class Real>
auto atReading(decltype(std::declval<Real>()()) failed, Real real) {
    if (const std::optional<int> error = nextReadingError()) {
        errno = *error;
        return failed;
    }
    return real();
}

} // namespace

extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t count) {
    static auto* const real = next<ssize_t(int, const void*, size_t)>("write");
    if (descriptor <= lastStandardStream) {
        return real(descriptor, bytes, count);
    }
    return at("write",
        [&] { return real(descriptor, bytes, std::min(count, limitOf("QUENBROOK_WRITE_LIMIT"))); });
}

ssize_t read(int descriptor, void* bytes, size_t count) {
    static auto* const real = next<ssize_t(int, void*, size_t)>("read");
    if (descriptor <= lastStandardStream) {
        return real(descriptor, bytes, count);
    }
    return atReading(ssize_t{-1}, [&] {
        return at("read", [&] {
            return real(descriptor, bytes, std::min(count, limitOf("QUENBROOK_READ_LIMIT")));
        });
    });
}

int open(const char* name, int flags, ...) {
    static auto* const real = next<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return atReading(-1, [&] { return real(name, flags, mode); });
}

DIR* fdopendir(int descriptor) {
    static auto* const real = next<DIR*(int)>("fdopendir");
    return atReading(static_cast<DIR*>(nullptr), [&] { return real(descriptor); });
}

struct dirent* readdir(DIR* stream) {
    static auto* const real = next<struct dirent*(DIR*)>("readdir");
    return atReading(static_cast<struct dirent*>(nullptr), [&] { return real(stream); });
}

int fstat(int descriptor, struct stat* status) {
    static auto* const real = next<int(int, struct stat*)>("fstat");
    return atReading(-1, [&] { return real(descriptor, status); });
}

int faccessat(int directory, const char* name, int mode, int flags) {
    static auto* const real = next<int(int, const char*, int, int)>("faccessat");
    const auto error = errorOf((flags & AT_EACCESS) != 0 ? "faccessat-effective" : "faccessat");
    if (error) {
        errno = *error;
        return -1;
    }
    return atReading(-1, [&] { return real(directory, name, mode, flags); });
}

ssize_t flistxattr(int descriptor, char* names, size_t size) {
    static auto* const real = next<ssize_t(int, char*, size_t)>("flistxattr");
    return at("flistxattr", [&] { return real(descriptor, names, size); });
}

int fsetxattr(int descriptor, const char* name, const void* value, size_t size, int flags) {
    static auto* const real = next<int(int, const char*, const void*, size_t, int)>("fsetxattr");
    return at("fsetxattr", [&] { return real(descriptor, name, value, size, flags); });
}

int fremovexattr(int descriptor, const char* name) {
    static auto* const real = next<int(int, const char*)>("fremovexattr");
    return at("fremovexattr", [&] { return real(descriptor, name); });
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

int openat(int directory, const char* name, int flags, ...) {
    static auto* const real = next<int(int, const char*, int, ...)>("openat");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return atReading(-1, [&] {
        return at((flags & O_DIRECTORY) != 0 ? "openat-directory" : "openat",
            [&] { return real(directory, name, flags, mode); });
    });
}

int unlinkat(int directory, const char* name, int flags) {
    static auto* const real = next<int(int, const char*, int)>("unlinkat");
    return at("unlinkat", [&] { return real(directory, name, flags); });
}

int linkat(int directory, const char* from, int other, const char* to, int flags) {
    static auto* const real = next<int(int, const char*, int, const char*, int)>("linkat");
    return at("linkat", [&] { return real(directory, from, other, to, flags); });
}

int renameat(int directory, const char* from, int other, const char* to) {
    static auto* const real = next<int(int, const char*, int, const char*)>("renameat");
    return at("renameat", [&] { return real(directory, from, other, to); });
}

int renameat2(int directory, const char* from, int other, const char* to, unsigned int flags) {
    static auto* const real =
        next<int(int, const char*, int, const char*, unsigned int)>("renameat2");
    return at(flags == RENAME_EXCHANGE ? "exchange" : "rename-to-free",
        [&] { return real(directory, from, other, to, flags); });
}

int fstatat(int directory, const char* name, struct stat* status, int flags) {
    static auto* const real = next<int(int, const char*, struct stat*, int)>("fstatat");
    const int result = atReading(
        -1, [&] { return at("fstatat", [&] { return real(directory, name, status, flags); }); });
    static ino_t asked = 0;
    if (getenv("QUENBROOK_RESTLESS_INODES")) {
        status->st_ino += ++asked;
    }
    return result;
}
}
