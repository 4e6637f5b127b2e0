#pragma once

#include "platform/SystemCall.h"
#include "platform/vdir/Folder.h"

#include <sys/file.h>

namespace quenbrook::platform::vdir {

// Keeps other writers out of a folder for as long as it lives, by an advisory lock on the folder
// itself. Waits for its turn; a writer that dies gives its lock up. Throws std::system_error when
// the file system has no locks (ENOLCK, ENOSYS, EOPNOTSUPP): without one, writers of this program
// could undo each other's changes. The folder must outlive it.
class FolderLock {
  public:
    explicit FolderLock(const Folder& folder)
        : descriptor_(folder.descriptor()) {
        checked("flock", [&] { return ::flock(descriptor_, LOCK_EX); });
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock() { ::flock(descriptor_, LOCK_UN); }

  private:
    int descriptor_;
};

} // namespace quenbrook::platform::vdir
