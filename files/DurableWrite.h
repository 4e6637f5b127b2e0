#pragma once

#include "files/Directory.h"
#include "files/FileContent.h"

#include <string>
#include <string_view>

// Writes that a kill, a full disk or a power cut at any instant leaves either undone or done, never
// half done. Each is complete, and safe on the disk, when it returns; where the file system cannot
// sync a directory, as safe as it makes it. Callers hold the directory's lock.
//
// Other programs do not take the lock and may change a file at any instant. So a write moves the
// file that it replaces or removes to a new name in one step, and then compares it with what was
// read: when it differs, it goes back. After a kill, or when it cannot go back, it stays
// under the new name (quarantine), which nothing here reads or removes again.
//
// All throw std::system_error when the system refuses; the file then is as it was, but in two
// cases: when the last step fails, the sync of the directory, a replaced file stays replaced and a
// removed one removed; when another program has changed the file and the system then fails to put
// that back, it stays in quarantine.
namespace quenbrook::files {

// Makes the names in a directory safe on the disk: a new, other or missing one is only then. Does
// nothing where the file system cannot.
void syncDirectory(const Directory& directory);

// Makes a new file, readable to its owner only; it is an error when the name is taken.
void createDurably(const Directory& directory, const std::string& name, std::string_view text);

// Replaces a file, and keeps its extended attributes, permissions, group and owner as far as they
// can be set without widening anybody's access; it is an error when an access list cannot be kept.
// Returns false, and has done nothing, when the file is not what `expected` says any more, at the
// very step that replaces it; where the file system cannot exchange two names, just before that.
bool replaceDurably(const Directory& directory, const std::string& name, std::string_view text,
    const FileContent& expected);

// Removes a file. Returns false, and has done nothing, when it is not what `expected` says.
bool removeDurably(
    const Directory& directory, const std::string& name, const FileContent& expected);

} // namespace quenbrook::files
