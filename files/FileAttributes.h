#pragma once

#include "files/FileDescriptor.h"

#include <map>
#include <string>

namespace quenbrook::files {

// The extended attributes of a file that belong to its name as much as to its content, by their
// names: access lists, and what programs keep for a person ("user."). Where the file system has
// none, there are none.
using FileAttributes = std::map<std::string, std::string>;

// Throws std::system_error when they cannot be read.
FileAttributes attributesOf(const FileDescriptor& file);

// Gives a new file these attributes, and takes the access list from it that it got from its
// directory. Throws std::system_error when one cannot be set.
void setAttributes(const FileDescriptor& file, const FileAttributes& attributes);

bool hasAccessList(const FileAttributes& attributes);

} // namespace quenbrook::files
