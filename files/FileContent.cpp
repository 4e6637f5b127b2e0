#include "files/FileContent.h"

#include "files/FileReader.h"
#include "files/SystemCall.h"

namespace quenbrook::files {
namespace {

std::pair<time_t, long> pairOf(const timespec& time) {
    return {time.tv_sec, time.tv_nsec};
}

} // namespace

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

std::optional<FileContent> readForChange(const Directory& directory, const std::string& name) {
    const FileDescriptor file = openToRead(directory, name, false);
    if (!file.isOpen() && errno == ENOENT) {
        return std::nullopt;
    }
    if (!file.isOpen()) {
        throwSystemError("openat");
    }
    struct stat status = {};
    throwOnError("fstat", [&] { return ::fstat(file.get(), &status); });
    if (!S_ISREG(status.st_mode)) {
        throw std::system_error(std::make_error_code(std::errc::invalid_argument));
    }
    FileContent content{{}, FileIdentity(status), attributesOf(file)};
    if (static_cast<std::size_t>(status.st_size) > FileReader::maximumSize ||
        !appendRest(file, content.text, FileReader::maximumSize)) {
        throw std::system_error(std::make_error_code(std::errc::file_too_large));
    }
    return content;
}

} // namespace quenbrook::files
