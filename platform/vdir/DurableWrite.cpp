#include "platform/vdir/DurableWrite.h"

#include "platform/SystemCall.h"
#include "platform/vdir/NotedChange.h"
#include "platform/vdir/Renames.h"

#include <cstdio>
#include <tuple>
#include <utility>

#include <fcntl.h>

namespace quenbrook::platform::vdir {
namespace {

// One name is enough, since writers exclude each other; what a killed one left is replaced by the
// next. Readers pass over it: it begins with a dot and does not end in ".ics".
constexpr const char* temporaryName = ".quenbrook.tmp";

constexpr mode_t privateFileMode = 0600;
constexpr mode_t permissions = 07777;
constexpr int newFileFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;

int syncToDisk(int descriptor) {
#ifdef __APPLE__
    // fsync alone leaves the bytes in the drive's own cache.
    if (uninterrupted([&] { return ::fcntl(descriptor, F_FULLFSYNC); }) != -1) {
        return 0;
    }
#endif
    return uninterrupted([&] { return ::fsync(descriptor); });
}

// Nothing when there is nothing of that name, or it cannot be told.
std::optional<FileIdentity> identityOf(const Folder& folder, const std::string& name) {
    struct stat status = {};
    const int result = uninterrupted(
        [&] { return ::fstatat(folder.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW); });
    return result == 0 ? std::optional<FileIdentity>(status) : std::nullopt;
}

bool isStill(const Folder& folder, const std::string& name, const FileContent& expected) {
    return identityOf(folder, name) == expected.identity;
}

// A file on its way into the folder, gone again unless it is kept.
class UnfinishedFile {
  public:
    explicit UnfinishedFile(const Folder& folder)
        : folder_(folder)
        , file_(openNew()) {
        if (!file_.isOpen() && errno == EEXIST) {
            checked("unlinkat", [&] { return ::unlinkat(folder_.descriptor(), temporaryName, 0); });
            file_ = FileDescriptor(openNew());
        }
        if (!file_.isOpen()) {
            throwSystemError("openat");
        }
    }
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;
    ~UnfinishedFile() {
        if (!kept_) {
            ::unlinkat(folder_.descriptor(), name_.c_str(), 0);
        }
    }

    void write(std::string_view text) {
        while (!text.empty()) {
            const auto count =
                checked("write", [&] { return ::write(file_.get(), text.data(), text.size()); });
            text.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    // Keeps what belongs to the file that is replaced, not to its content.
    void adopt(const FileIdentity& replaced) {
        // Only root can keep another's ownership; everyone else replaces the file as their own.
        static_cast<void>(::fchown(file_.get(), replaced.owner, replaced.group) == 0);
        const int set =
            uninterrupted([&] { return ::fchmod(file_.get(), replaced.mode & permissions); });
        // Where there are no modes to set, the file stays as private as it was made.
        if (set == -1 && !isUnsupported(errno)) {
            throwSystemError("fchmod");
        }
    }

    // The bytes must be on the disk before the name leads to them.
    void sync() {
        checked("fsync", [&] { return syncToDisk(file_.get()); });
    }

    // Not every file system can do each of these, and none of them replaces what is there.
    void takeNewName(const std::string& name, std::string_view text) {
        const int folder = folder_.descriptor();
        if (renameToFreeName(folder, temporaryName, name.c_str()) == 0) {
            name_ = name;
            return;
        }
        if (!isUnsupported(errno)) {
            throwSystemError("renameat2");
        }
        const int linked =
            uninterrupted([&] { return ::linkat(folder, temporaryName, folder, name.c_str(), 0); });
        if (linked == 0) {
            // The first link stays if it must: the next write clears it away.
            ::unlinkat(folder, temporaryName, 0);
            name_ = name;
            return;
        }
        if (!isUnsupported(errno)) {
            throwSystemError("linkat");
        }
        renameOverReserved(name, text);
    }

    // False, and nothing done, when the file is not what was read.
    bool takePlaceOf(const std::string& name, std::string_view text, const FileContent& expected) {
        NotedChange change(folder_, {name, fingerprintOf(expected.text), fingerprintOf(text)});
        if (!change.isNoted()) {
            renameOver(name);
            keep();
            return true;
        }
        renameOver(takenName);
        // From here on this file is the change's to remove.
        keep();
        if (exchangeNames(folder_.descriptor(), takenName, name.c_str()) == 0) {
            const auto taken = identityOf(folder_, takenName);
            return change.end() && adoptLater(taken, expected.identity);
        }
        if (errno == ENOENT) {
            return false;
        }
        if (!isUnsupported(errno)) {
            throwSystemError("renameat2");
        }
        if (!isStill(folder_, name, expected)) {
            return false;
        }
        renameOver(name);
        return true;
    }

    void keep() { kept_ = true; }

  private:
    int openNew() const {
        return uninterrupted([&] {
            return ::openat(folder_.descriptor(), temporaryName, newFileFlags, privateFileMode);
        });
    }

    void renameOver(const std::string& name) {
        checked("renameat", [&] {
            return ::renameat(
                folder_.descriptor(), name_.c_str(), folder_.descriptor(), name.c_str());
        });
        name_ = name;
    }

    void renameOverReserved(const std::string& name, std::string_view text) {
        if (identityOf(folder_, name)) {
            throw std::system_error(std::make_error_code(std::errc::file_exists), name);
        }
        // Where there can be a note, the next writer gives up a reservation that a kill has left.
        const NotedChange change(folder_, {name, std::nullopt, fingerprintOf(text)});
        const FileDescriptor reserved(checked("openat", [&] {
            return ::openat(folder_.descriptor(), name.c_str(), newFileFlags, privateFileMode);
        }));
        const std::string written = std::exchange(name_, name);
        const int renamed = uninterrupted([&] {
            return ::renameat(
                folder_.descriptor(), written.c_str(), folder_.descriptor(), name.c_str());
        });
        if (renamed == -1) {
            const int error = errno;
            ::unlinkat(folder_.descriptor(), written.c_str(), 0);
            throw std::system_error(error, std::generic_category(), "renameat");
        }
    }

    // Another program may have set other permissions just before the file was taken out.
    bool adoptLater(const std::optional<FileIdentity>& taken, const FileIdentity& adopted) {
        if (taken && std::tie(taken->mode, taken->owner, taken->group) !=
                         std::tie(adopted.mode, adopted.owner, adopted.group)) {
            adopt(*taken);
        }
        return true;
    }

    const Folder& folder_;
    FileDescriptor file_;
    std::string name_ = temporaryName;
    bool kept_ = false;
};

// False when there is no such file any more.
bool isTakenOut(const Folder& folder, const std::string& name) {
    const int renamed = uninterrupted([&] {
        return ::renameat(folder.descriptor(), name.c_str(), folder.descriptor(), takenName);
    });
    if (renamed == -1 && errno != ENOENT) {
        throwSystemError("renameat");
    }
    return renamed == 0;
}

} // namespace

void syncFolder(const Folder& folder) {
    // A file system that cannot sync a folder has nothing to promise, and so nothing to break.
    if (syncToDisk(folder.descriptor()) == -1 && errno != EBADF && !isUnsupported(errno)) {
        throwSystemError("fsync");
    }
}

void createDurably(const Folder& folder, const std::string& name, std::string_view text) {
    UnfinishedFile file(folder);
    file.write(text);
    file.sync();
    file.takeNewName(name, text);
    syncFolder(folder);
    file.keep();
}

bool replaceDurably(const Folder& folder, const std::string& name, std::string_view text,
    const FileContent& expected) {
    UnfinishedFile file(folder);
    file.write(text);
    file.adopt(expected.identity);
    file.sync();
    if (!isStill(folder, name, expected) || !file.takePlaceOf(name, text, expected)) {
        return false;
    }
    syncFolder(folder);
    return true;
}

bool removeDurably(const Folder& folder, const std::string& name, const FileContent& expected) {
    if (!isStill(folder, name, expected)) {
        return false;
    }
    NotedChange change(folder, {name, fingerprintOf(expected.text), std::nullopt});
    if (!change.isNoted()) {
        checked("unlinkat", [&] { return ::unlinkat(folder.descriptor(), name.c_str(), 0); });
    } else if (!isTakenOut(folder, name) || !change.end()) {
        return false;
    }
    syncFolder(folder);
    return true;
}

} // namespace quenbrook::platform::vdir
