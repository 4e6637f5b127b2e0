#include "platform/vdir/Folder.h"

#include "platform/SystemCall.h"
#include "platform/vdir/UnmarkedCalls.h"

#include <algorithm>

#include <fcntl.h>

namespace quenbrook::platform::vdir {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
// Opening a FIFO or a device must neither wait nor take a terminal over.
constexpr int fileFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr std::size_t firstRead = std::size_t{64} << 10;

FolderEntry::Kind kindOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return FolderEntry::Kind::file;
    }
    return S_ISDIR(mode) ? FolderEntry::Kind::folder : FolderEntry::Kind::other;
}

FolderEntry entryOf(int folder, const dirent& item) {
    if (item.d_type == DT_REG) {
        return {item.d_name, FolderEntry::Kind::file, false};
    }
    if (item.d_type == DT_DIR) {
        return {item.d_name, FolderEntry::Kind::folder, false};
    }
    if (item.d_type != DT_LNK && item.d_type != DT_UNKNOWN) {
        return {item.d_name, FolderEntry::Kind::other, false};
    }
    struct stat link = {};
    struct stat target = {};
    if (::fstatat(folder, item.d_name, &link, AT_SYMLINK_NOFOLLOW) != 0 ||
        ::fstatat(folder, item.d_name, &target, 0) != 0) {
        return {item.d_name, FolderEntry::Kind::other, item.d_type == DT_LNK};
    }
    return {item.d_name, kindOf(target.st_mode), S_ISLNK(link.st_mode)};
}

std::pair<time_t, long> pairOf(const timespec& time) {
    return {time.tv_sec, time.tv_nsec};
}

bool isRegular(const FileDescriptor& file) {
    struct stat status = {};
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

// Appends what is left in the file, up to `limit` bytes in the buffer altogether; false when there
// is more or reading fails.
bool readRest(int descriptor, std::string& buffer, std::size_t limit) {
    std::size_t length = buffer.size();
    while (true) {
        buffer.resize(std::min(std::max(firstRead, 2 * length), limit + 1));
        const ssize_t count = uninterrupted(
            [&] { return ::read(descriptor, buffer.data() + length, buffer.size() - length); });
        length += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        if (count <= 0 || length > limit) {
            buffer.resize(length);
            return count == 0;
        }
    }
}

} // namespace

const dirent* FolderListing::nextItem() {
    while (const dirent* item = stream_ ? ::readdir(stream_.get()) : nullptr) {
        if (item->d_name[0] != '.') {
            return item;
        }
    }
    stream_.reset();
    return nullptr;
}

std::optional<FolderEntry> FolderListing::next() {
    const dirent* item = nextItem();
    return item ? std::optional(entryOf(::dirfd(stream_.get()), *item)) : std::nullopt;
}

std::optional<std::string> FolderListing::nextFolder() {
    while (const dirent* item = nextItem()) {
        if (item->d_type == DT_REG) {
            continue;
        }
        FolderEntry entry = entryOf(::dirfd(stream_.get()), *item);
        if (entry.kind == FolderEntry::Kind::folder) {
            return std::move(entry.name);
        }
    }
    return std::nullopt;
}

std::optional<Folder> Folder::open(const std::string& path) {
    FileDescriptor descriptor(uninterrupted([&] { return ::open(path.c_str(), folderFlags); }));
    return descriptor.isOpen() ? std::optional(Folder(std::move(descriptor))) : std::nullopt;
}

std::optional<Folder> Folder::openFolder(const std::string& name) const {
    FileDescriptor opened(
        uninterrupted([&] { return ::openat(descriptor(), name.c_str(), folderFlags); }));
    return opened.isOpen() ? std::optional(Folder(std::move(opened))) : std::nullopt;
}

std::optional<FolderListing> Folder::list() const {
    // The stream takes its descriptor over and moves its position, so it gets one of its own.
    FileDescriptor own(uninterrupted([&] { return ::openat(descriptor(), ".", folderFlags); }));
    DIR* const stream = own.isOpen() ? ::fdopendir(own.get()) : nullptr;
    if (stream == nullptr) {
        return std::nullopt;
    }
    own.release();
    return FolderListing(stream);
}

std::vector<FolderEntry> Folder::entries() const {
    std::vector<FolderEntry> found;
    auto listing = list();
    for (auto entry = listing ? listing->next() : std::nullopt; entry; entry = listing->next()) {
        found.push_back(std::move(*entry));
    }
    return found;
}

std::vector<std::string> Folder::folders() const {
    std::vector<std::string> found;
    auto listing = list();
    for (auto name = listing ? listing->nextFolder() : std::nullopt; name;
         name = listing->nextFolder()) {
        found.push_back(std::move(*name));
    }
    return found;
}

bool Folder::isWritable() const {
    return ::faccessat(descriptor(), ".", W_OK | X_OK, AT_EACCESS) == 0;
}

FileIdentity::FileIdentity(const struct stat& status)
    : device(status.st_dev)
    , inode(status.st_ino)
    , size(status.st_size)
#ifdef __APPLE__
    , modified(pairOf(status.st_mtimespec))
    , changed(pairOf(status.st_ctimespec))
#else
    , modified(pairOf(status.st_mtim))
    , changed(pairOf(status.st_ctim))
#endif
    , mode(status.st_mode)
    , owner(status.st_uid)
    , group(status.st_gid) {
}

std::optional<std::string_view> FileReader::read(
    const Folder& folder, const FolderEntry& entry, std::size_t sizeLimit) {
    endTurn();
    if (entry.kind != FolderEntry::Kind::file) {
        return std::nullopt;
    }
    FileDescriptor file = open(folder, entry);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    // What a listing called a regular file needs no second look.
    if (entry.isLink && !isRegular(file)) {
        return std::nullopt;
    }
    // Nearly every file comes whole with one call: fewer bytes than asked for are all there are.
    const std::size_t asked = std::min(firstRead, sizeLimit + 1);
    makeRoom(asked);
    const ssize_t count =
        uninterrupted([&] { return readUnmarked(file.get(), beginning_.get(), asked); });
    const auto length = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    if (count < 0 || length > sizeLimit) {
        return std::nullopt;
    }
    const std::string_view text(beginning_.get(), length);
    if (length < asked) {
        finished_.take(std::move(file));
        return text;
    }
    takeTurn();
    whole_ = text;
    if (!isRegular(file) || !readRest(file.get(), whole_, sizeLimit)) {
        return std::nullopt;
    }
    return whole_;
}

FileDescriptor FileReader::open(const Folder& folder, const FolderEntry& entry) {
    const int flags = fileFlags | (entry.isLink ? 0 : O_NOFOLLOW);
    const auto opened = [&] {
        return openUnmarked(folder.descriptor(), entry.name.c_str(), flags);
    };
    FileDescriptor file(uninterrupted(opened));
    const bool areTooManyOpen = !file.isOpen() && (errno == EMFILE || errno == ENFILE);
    return areTooManyOpen && finished_.close() ? FileDescriptor(uninterrupted(opened))
                                               : std::move(file);
}

// What is not read is not written to either: most files are much smaller than what is asked for.
void FileReader::makeRoom(std::size_t size) {
    if (room_ < size) {
        beginning_ = std::make_unique_for_overwrite<char[]>(size);
        room_ = size;
    }
}

void FileReader::takeTurn() {
    if (largeFiles_ != nullptr) {
        turn_ = std::unique_lock(*largeFiles_);
    }
}

void FileReader::endTurn() {
    if (turn_.owns_lock()) {
        std::string().swap(whole_);
        turn_.unlock();
    }
}

std::optional<FileContent> readForChange(const Folder& folder, const std::string& name) {
    const FileDescriptor file(uninterrupted(
        [&] { return ::openat(folder.descriptor(), name.c_str(), fileFlags | O_NOFOLLOW); }));
    if (!file.isOpen() && errno == ENOENT) {
        return std::nullopt;
    }
    if (!file.isOpen()) {
        throwSystemError("openat");
    }
    struct stat status = {};
    checked("fstat", [&] { return ::fstat(file.get(), &status); });
    if (!S_ISREG(status.st_mode)) {
        throw std::system_error(std::make_error_code(std::errc::invalid_argument));
    }
    FileContent content{{}, FileIdentity(status)};
    if (static_cast<std::size_t>(status.st_size) > FileReader::maximumSize ||
        !readRest(file.get(), content.text, FileReader::maximumSize)) {
        throw std::system_error(std::make_error_code(std::errc::file_too_large));
    }
    return content;
}

} // namespace quenbrook::platform::vdir
