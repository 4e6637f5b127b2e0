#pragma once

#include "files/FileReader.h"

#include <cstddef>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace quenbrook::files {

// How many threads read at once, the calling one among them: more than there are processors,
// because those that wait for a disk do not need one.
struct ReadingThreads {
    std::size_t most = 16;
    // Fewer than these are read sooner than a thread is started.
    std::size_t filesForEach = 64;
};

// A file in an open directory. Both must outlive it.
struct FileToRead {
    const Directory* directory;
    const DirectoryEntry* entry;
};

// Takes the text of the file of this number, which is gone when this returns, and tells whether the
// files behind it are wanted, too. Runs in several threads at once.
using FileVisit = std::function<bool(std::size_t number, std::string_view text)>;

// Has every file visited that FileReader reads, in no particular order; of large files one at a
// time. Behind a file whose visit says that no more are wanted some may be visited nevertheless,
// and all before it are. Returns the numbers of those that were gone, in order. Throws
// std::system_error when one could not be read, and what a visit throws.
std::vector<std::size_t> readFiles(
    std::span<const FileToRead> files, const ReadingThreads& threads, const FileVisit& visit);

} // namespace quenbrook::files
