#pragma once

#include "files/Directory.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace quenbrook::files {

// Reads regular files, one after the other. Not thread-safe.
class FileReader {
  public:
    FileReader() = default;
    // One of several readers at once. They take turns at large files: who has read one keeps
    // `largeFiles`, which must outlive this, until the next call.
    explicit FileReader(std::mutex* largeFiles)
        : largeFiles_(largeFiles) {}

    // No calendar file that a person keeps is larger; one that is must not eat the memory.
    static constexpr std::size_t maximumSize = std::size_t{128} << 20;

    // The content, valid until the next call. Returns nullopt when there is no regular file of that
    // name, or none that this process may read, or it is larger than `sizeLimit`. Throws
    // std::system_error when it could not be read.
    std::optional<std::string_view> read(const Directory& directory, const DirectoryEntry& entry,
        std::size_t sizeLimit = maximumSize);

    // Whether the name was missing at the last call.
    bool isGone() const { return isGone_; }

  private:
    void takeTurn();
    void endTurn();

    std::mutex* largeFiles_ = nullptr;
    std::unique_lock<std::mutex> turn_;
    // Room for the beginning of a file.
    std::unique_ptr<char[]> beginning_;
    std::string whole_;
    bool isGone_ = false;
};

// Opens a file for reading without waiting and without taking a terminal over. Returns none, with
// errno, when it cannot be opened.
FileDescriptor openToRead(const Directory& directory, const std::string& name, bool followsSymlink);

// Reads until `size` bytes are there or the file ends: what a file system gives with one call may
// be less than was asked for. Returns how many there are. Throws std::system_error.
std::size_t readUpTo(const FileDescriptor& file, char* bytes, std::size_t size);

// Appends the rest of a file. False when `buffer` then has more than `limit` bytes. Throws
// std::system_error.
bool appendRest(const FileDescriptor& file, std::string& buffer, std::size_t limit);

} // namespace quenbrook::files
