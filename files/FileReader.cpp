#include "files/FileReader.h"

#include "files/SystemCall.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>

namespace quenbrook::files {
namespace {

// Nearly every file is smaller.
constexpr std::size_t firstRead = std::size_t{64} << 10;

// Returns nullopt for what is no regular file.
std::optional<std::size_t> regularSize(const FileDescriptor& file) {
    struct stat status = {};
    throwOnError("fstat", [&] { return ::fstat(file.get(), &status); });
    return S_ISREG(status.st_mode) ? std::optional(static_cast<std::size_t>(status.st_size))
                                   : std::nullopt;
}

// Runs what reads the file. Returns nullopt when it fails as it does for what is no regular file,
// or none that this process may read: some servers tell that only here.
template <class Read>
auto unlessUnreadable(const FileDescriptor& file, Read read) -> std::optional<decltype(read())> {
    try {
        return read();
    } catch (const std::system_error& error) {
        if (isAnswer(error.code().value()) || !regularSize(file)) {
            return std::nullopt;
        }
        throw;
    }
}

} // namespace

FileDescriptor openToRead(
    const Directory& directory, const std::string& name, bool followsSymlink) {
    const int flags =
        O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (followsSymlink ? 0 : O_NOFOLLOW);
    return FileDescriptor(
        retryOnEintr([&] { return ::openat(directory.descriptor(), name.c_str(), flags); }));
}

std::size_t readUpTo(const FileDescriptor& file, char* bytes, std::size_t size) {
    std::size_t length = 0;
    while (length < size) {
        const ssize_t count =
            throwOnError("read", [&] { return ::read(file.get(), bytes + length, size - length); });
        if (count == 0) {
            break;
        }
        length += static_cast<std::size_t>(count);
    }
    return length;
}

bool appendRest(const FileDescriptor& file, std::string& buffer, std::size_t limit) {
    std::size_t length = buffer.size();
    while (length <= limit) {
        const std::size_t asked = std::min(std::max(firstRead, length), limit + 1 - length);
        buffer.resize(length + asked);
        const std::size_t count = readUpTo(file, buffer.data() + length, asked);
        length += count;
        buffer.resize(length);
        if (count < asked) {
            return length <= limit;
        }
    }
    return false;
}

std::optional<std::string_view> FileReader::read(
    const Directory& directory, const DirectoryEntry& entry, std::size_t sizeLimit) {
    endTurn();
    isGone_ = false;
    if (entry.kind != DirectoryEntry::Kind::file) {
        return std::nullopt;
    }
    const FileDescriptor file = openToRead(directory, entry.name, entry.isSymlink);
    if (!file.isOpen()) {
        if (!isAnswer(errno)) {
            throwSystemError("openat");
        }
        isGone_ = errno == ENOENT;
        return std::nullopt;
    }
    // What a listing called a regular file needs no second look.
    if (entry.isSymlink && !regularSize(file)) {
        return std::nullopt;
    }
    const std::size_t asked = std::min(firstRead, sizeLimit + 1);
    // What is not read is not written to either: most files are much smaller than this.
    if (!beginning_) {
        beginning_ = std::make_unique_for_overwrite<char[]>(firstRead);
    }
    const auto length =
        unlessUnreadable(file, [&] { return readUpTo(file, beginning_.get(), asked); });
    if (!length || *length > sizeLimit) {
        return std::nullopt;
    }
    const std::string_view beginning(beginning_.get(), *length);
    if (*length < asked) {
        return beginning;
    }
    const auto size = regularSize(file);
    if (!size || *size > sizeLimit) {
        return std::nullopt;
    }
    takeTurn();
    whole_ = beginning;
    const auto isWhole =
        unlessUnreadable(file, [&] { return appendRest(file, whole_, sizeLimit); });
    return isWhole.value_or(false) ? std::optional<std::string_view>(whole_) : std::nullopt;
}

void FileReader::takeTurn() {
    if (largeFiles_ != nullptr) {
        turn_ = std::unique_lock(*largeFiles_);
    }
}

void FileReader::endTurn() {
    std::string().swap(whole_);
    if (turn_.owns_lock()) {
        turn_.unlock();
    }
}

} // namespace quenbrook::files
