#pragma once

#include "files/Directory.h"
#include "files/FileAttributes.h"

#include <optional>
#include <string>
#include <utility>

#include <sys/stat.h>

namespace quenbrook::files {

// What tells one state of a file from another.
struct FileIdentity {
    explicit FileIdentity(const struct stat& status);

    dev_t device;
    ino_t inode;
    off_t size;
    std::pair<time_t, long> modified;
    std::pair<time_t, long> changed;
    mode_t mode;
    uid_t owner;
    gid_t group;

    bool operator==(const FileIdentity&) const = default;
};

// A file that is about to be changed.
struct FileContent {
    std::string text;
    FileIdentity identity;
    FileAttributes attributes;
};

// Returns nullopt when there is no file of that name. Throws std::system_error when it cannot be
// read, is a symlink or no regular file, or is larger than FileReader::maximumSize.
std::optional<FileContent> readForChange(const Directory& directory, const std::string& name);

} // namespace quenbrook::files
