#pragma once

#include "files/FileDescriptor.h"

#include <optional>
#include <set>
#include <string>

namespace quenbrook::files {

// Sees what this machine's programs do to the names in one directory while it lives.
class NameWatch {
  public:
    // Of an open directory.
    explicit NameWatch(int directory);

    // The names that files were made under or renamed to since the last call, or the start. Returns
    // nullopt when that cannot be told: some systems, and users with many watches, have none.
    std::optional<std::set<std::string>> newNames();

  private:
    FileDescriptor queue_;
};

} // namespace quenbrook::files
