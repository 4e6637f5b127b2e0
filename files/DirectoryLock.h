#pragma once

#include "files/Directory.h"
#include "files/SystemCall.h"

#include <chrono>
#include <thread>

#include <sys/file.h>

namespace quenbrook::files {

// Locks an open file or directory against others who do. Throws std::system_error when its turn
// does not come by the deadline (EWOULDBLOCK) or the file system has no locks (ENOLCK, ENOSYS,
// EOPNOTSUPP).
inline void lockUntil(int descriptor, std::chrono::steady_clock::time_point deadline) {
    constexpr std::chrono::milliseconds pause{2};
    while (retryOnEintr([&] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) == -1) {
        if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline) {
            throwSystemError("flock");
        }
        std::this_thread::sleep_for(pause);
    }
}

// Keeps other writers out of a directory for as long as it lives, by an advisory lock on the
// directory itself; a writer that dies gives its lock up. Everybody who can read the directory can
// lock it: after `timeout` this gives up. The directory must outlive it.
class DirectoryLock {
  public:
    static constexpr std::chrono::seconds timeout{10};

    // Throws as lockUntil does: without a lock, writers of this program could undo each other's
    // changes.
    explicit DirectoryLock(
        const Directory& directory, std::chrono::steady_clock::duration wait = timeout)
        : descriptor_(directory.descriptor()) {
        lockUntil(descriptor_, std::chrono::steady_clock::now() + wait);
    }
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;
    ~DirectoryLock() { ::flock(descriptor_, LOCK_UN); }

  private:
    int descriptor_;
};

} // namespace quenbrook::files
