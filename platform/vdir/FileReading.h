#pragma once

#include "platform/vdir/Folder.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

namespace quenbrook::platform::vdir {

// How many threads read at once, the calling one among them.
struct ReadingThreads {
    // As many as there are processors when it is not said: more do not read any faster what is in
    // memory.
    std::optional<std::size_t> atFirst;
    // Once one of them has had to wait for a disk, which has several requests under way at once.
    // Where the system does not tell, these read from the beginning.
    std::size_t most = 32;
    // Fewer than these are read sooner than a thread is started.
    std::size_t filesForEach = 64;
};

// A file in a folder that was open before the reading began. Both must outlive it.
struct FileToRead {
    const Folder* folder;
    const FolderEntry* entry;
};

// Names the files by handing them to `take`, one after the other.
using FileList = std::function<void(const std::function<void(const FileToRead&)>& take)>;

// Takes the text of the file that was named as number `number`, from 0 on, which is gone when this
// returns, and tells whether the files behind it are wanted, too.
using FileVisit = std::function<bool(std::size_t number, std::string_view text)>;

// Has every file visited that can be read, by several threads at once and in no particular order,
// the first while others are still being named; of large files one at a time. Behind a file whose
// visit says that no more are wanted some may be visited nevertheless, and all before it are.
// Throws what the list or a visit throws.
void readFiles(const FileList& list, const ReadingThreads& threads, const FileVisit& visit);

} // namespace quenbrook::platform::vdir
