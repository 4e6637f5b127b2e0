#pragma once

#include "files/FileDescriptor.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quenbrook::files {

struct DirectoryEntry {
    enum class Kind { file, directory, other };

    std::string name;
    Kind kind = Kind::other;
    // A symlink to something of that kind, or a name that was not listed.
    bool isSymlink = false;
};

// The entries of a directory, in no particular order.
struct Listing {
    std::vector<DirectoryEntry> entries;
    // They were all there at one instant. Otherwise names were changed while they were listed; none
    // is missing that was there all the time.
    bool isSnapshot = true;
};

// An open directory. Names are looked up in it without building paths; nothing that is opened here
// can make the program wait, a FIFO or a device neither. Const members may run in several threads
// at once.
class Directory {
  public:
    // Returns nullopt when there is no directory of that name, or none that this process may read;
    // errno tells which. Throws std::system_error when the system could not tell.
    static std::optional<Directory> open(const std::string& path);
    std::optional<Directory> openDirectory(const std::string& name) const;

    int descriptor() const { return descriptor_.get(); }

    // Hands over entry after entry but those whose names begin with a dot, for as long as `take`
    // returns true. What other programs rename meanwhile may be missing or come twice. Throws
    // std::system_error when the directory cannot be read to its end, and what `take` throws.
    void forEachEntry(const std::function<bool(DirectoryEntry entry)>& take) const;

    // All of these entries, each once. What is renamed or exchanged meanwhile is among them, under
    // its old or its new name. Throws like forEachEntry, and when names never come to rest.
    Listing list() const;

    // Whether this process may add, replace and remove files. Throws std::system_error when the
    // system could not tell.
    bool isWritable() const;

  private:
    explicit Directory(FileDescriptor descriptor)
        : descriptor_(std::move(descriptor)) {}

    static std::optional<Directory> opened(int descriptor);

    FileDescriptor descriptor_;
};

// Whether an error of open() or stat() tells what a name is: it does not exist, is of another type,
// or may not be accessed by this process. Any other error leaves that unknown.
bool isAnswer(int error);

} // namespace quenbrook::files
