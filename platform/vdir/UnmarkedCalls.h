#pragma once

#include "platform/FileDescriptor.h"

#include <cstddef>

#include <sys/types.h>

// The calls that are made for each file of a query, without what makes them slower than they need
// be: where there are several threads, the C library marks each call as one at which its thread may
// be cancelled, which takes as long as some of the calls.
namespace quenbrook::platform::vdir {

// openat(2) and read(2): -1 with errno when they fail.
int openUnmarked(int folder, const char* name, int flags);
ssize_t readUnmarked(int descriptor, char* bytes, std::size_t count);

// Files that were read, closed a few at a time where the system can do that, the last ones when
// this goes.
class FinishedFiles {
  public:
    FinishedFiles() = default;
    FinishedFiles(const FinishedFiles&) = delete;
    FinishedFiles& operator=(const FinishedFiles&) = delete;
    ~FinishedFiles() { close(); }

    void take(FileDescriptor file);

    // Closes all; false when there are none.
    bool close();

  private:
    // They have descriptors one after the other, from this one on.
    int first_ = 0;
    int count_ = 0;
};

} // namespace quenbrook::platform::vdir
