#pragma once

#include "platform/vdir/Folder.h"

#include <string>
#include <string_view>

// Writes that a kill, a full disk or a power cut at any instant leaves either undone or done, never
// half done. Each is complete, and safe on the disk, when it returns; where the file system cannot
// sync a folder, as safe as it makes it. All throw std::system_error when the system refuses; the
// file then is as it was. Only when the last step fails, the sync of the folder, a replaced file
// stays replaced and a removed one removed. Callers hold the folder's lock, and have ended what a
// killed writer has left (endInterruptedChange) before they read.
namespace quenbrook::platform::vdir {

// Makes the names in a folder safe on the disk: a new, other or missing one is only then. Nothing
// where the file system cannot.
void syncFolder(const Folder& folder);

// Makes a new file, readable to its owner only; it is an error when the name is taken.
void createDurably(const Folder& folder, const std::string& name, std::string_view text);

// Replaces a file, keeping its permissions and owner as far as they can be set. False, and nothing
// done, when it is not what `expected` says any more, at the very step that replaces it; where the
// file system cannot exchange two names, just before that.
bool replaceDurably(const Folder& folder, const std::string& name, std::string_view text,
    const FileContent& expected);

// Removes a file. False likewise.
bool removeDurably(const Folder& folder, const std::string& name, const FileContent& expected);

} // namespace quenbrook::platform::vdir
