#pragma once

#include "platform/FileDescriptor.h"
#include "platform/vdir/UnmarkedCalls.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>

namespace quenbrook::platform::vdir {

struct FolderEntry {
    enum class Kind { file, folder, other };

    std::string name;
    Kind kind = Kind::other;
    // A link to something of that kind, or a name that was not listed.
    bool isLink = false;
};

// What is in a folder, entry after entry, in no particular order and without names that begin with
// a dot. It has a descriptor of its own, up to its end.
class FolderListing {
  public:
    // Nothing at the end, or when no more can be read.
    std::optional<FolderEntry> next();
    // The same, of the folders and links to folders only, and without a look at the others' names.
    std::optional<std::string> nextFolder();

  private:
    friend class Folder;

    const dirent* nextItem();

    struct Close {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };

    explicit FolderListing(DIR* stream)
        : stream_(stream) {}

    std::unique_ptr<DIR, Close> stream_;
};

// An open folder. Names are looked up in it without building paths; nothing that is opened here
// can make the program wait, be it a FIFO or a device.
class Folder {
  public:
    // Nothing when there is no folder that can be read; errno tells why.
    static std::optional<Folder> open(const std::string& path);
    std::optional<Folder> openFolder(const std::string& name) const;

    int descriptor() const { return descriptor_.get(); }

    // Nothing when it cannot be listed; errno tells why.
    std::optional<FolderListing> list() const;
    // The whole listing, or as much as can be read.
    std::vector<FolderEntry> entries() const;
    // The names of the folders in it, and of links to folders: faster among many files.
    std::vector<std::string> folders() const;

    // Whether this process may add, replace and remove files.
    bool isWritable() const;

  private:
    explicit Folder(FileDescriptor descriptor)
        : descriptor_(std::move(descriptor)) {}

    FileDescriptor descriptor_;
};

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

// Reads regular files, one after the other.
class FileReader {
  public:
    FileReader() = default;
    // One of several readers at once. They take turns at files that do not come whole with one
    // call: who has read one keeps `largeFiles`, which must outlive this, until the next call.
    explicit FileReader(std::mutex* largeFiles)
        : largeFiles_(largeFiles) {}

    // No calendar file that a person keeps is larger; one that is must not eat the memory.
    static constexpr std::size_t maximumSize = std::size_t{128} << 20;

    // The content, valid until the next call. Nothing when there is no regular file of that name
    // that can be read, or it is larger than maximumSize. `sizeLimit` may lower that.
    std::optional<std::string_view> read(
        const Folder& folder, const FolderEntry& entry, std::size_t sizeLimit = maximumSize);

  private:
    FileDescriptor open(const Folder& folder, const FolderEntry& entry);
    void makeRoom(std::size_t size);
    void takeTurn();
    void endTurn();

    std::mutex* largeFiles_ = nullptr;
    std::unique_lock<std::mutex> turn_;
    std::unique_ptr<char[]> beginning_;
    std::size_t room_ = 0;
    std::string whole_;
    FinishedFiles finished_;
};

// A file that is about to be changed.
struct FileContent {
    std::string text;
    FileIdentity identity;
};

// Nothing when there is no file of that name. Throws std::system_error when it cannot be read, is a
// link or no regular file, or is larger than FileReader::maximumSize.
std::optional<FileContent> readForChange(const Folder& folder, const std::string& name);

} // namespace quenbrook::platform::vdir
