#pragma once

#include "files/FileDescriptor.h"

#include <vector>

#include <sys/resource.h>
#include <unistd.h>

namespace quenbrook::test {

// Holds descriptors until no more are left.
class EveryDescriptor {
  public:
    EveryDescriptor() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        rlimit few = before_;
        few.rlim_cur = 100;
        ::setrlimit(RLIMIT_NOFILE, &few);
        for (int taken = ::dup(0); taken >= 0; taken = ::dup(0)) {
            taken_.emplace_back(taken);
        }
    }
    EveryDescriptor(const EveryDescriptor&) = delete;
    EveryDescriptor& operator=(const EveryDescriptor&) = delete;
    ~EveryDescriptor() { ::setrlimit(RLIMIT_NOFILE, &before_); }

    void giveBack(std::size_t count) { taken_.resize(taken_.size() - count); }

  private:
    rlimit before_{};
    std::vector<files::FileDescriptor> taken_;
};

} // namespace quenbrook::test
