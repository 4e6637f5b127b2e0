#pragma once

#include "platform/vdir/Folder.h"

#include <cstddef>
#include <functional>
#include <span>
#include <string_view>

namespace quenbrook::platform::vdir {

// How many threads read at once, the calling one among them.
struct ReadingThreads {
    // More than there are processors: what takes long is waiting for the disk, and it has several
    // requests under way at once.
    std::size_t most = 32;
    // Fewer than these are read sooner than a thread is started.
    std::size_t filesForEach = 64;
};

// A file in an open folder. Both must outlive the reading.
struct FileToRead {
    const Folder* folder;
    const FolderEntry* entry;
};

// Takes the text of the file at `index`, which is gone when this returns, and tells whether the
// files behind it are wanted, too.
using FileVisit = std::function<bool(std::size_t index, std::string_view text)>;

// Has every file visited that can be read, by several threads at once and in no particular order;
// of large files one at a time. Behind a file whose visit says that no more are wanted some may be
// visited nevertheless, and all before it are. Throws what a visit throws.
void readFiles(
    std::span<const FileToRead> files, const ReadingThreads& threads, const FileVisit& visit);

} // namespace quenbrook::platform::vdir
