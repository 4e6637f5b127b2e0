#include "files/DurableWrite.h"

#include "files/RandomUid.h"
#include "files/Renames.h"
#include "files/SystemCall.h"

#include <cstdio>
#include <tuple>
#include <utility>

#include <fcntl.h>

namespace quenbrook::files {
namespace {

// One name is enough, since writers exclude each other; what a killed one left is replaced by the
// next. Readers pass over it: it begins with a dot and does not end in ".ics".
constexpr const char* temporaryName = ".quenbrook.tmp";

constexpr mode_t privateFileMode = 0600;
constexpr mode_t specialBits = 07000;
constexpr int newFileFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;

// For what may be somebody's only copy while it is out of its place. Each such name is new, so that
// nothing has to be looked at, trusted or removed that a killed writer, or another user, has left.
std::string quarantineName() {
    return ".quenbrook.quarantine-" + randomUid() + ".tmp";
}

int syncToDisk(int descriptor) {
#ifdef __APPLE__
    // fsync alone leaves the bytes in the drive's own cache.
    if (retryOnEintr([&] { return ::fcntl(descriptor, F_FULLFSYNC); }) != -1) {
        return 0;
    }
#endif
    return retryOnEintr([&] { return ::fsync(descriptor); });
}

int renameIn(const Directory& directory, const std::string& from, const std::string& to) {
    const int both = directory.descriptor();
    return retryOnEintr([&] { return ::renameat(both, from.c_str(), both, to.c_str()); });
}

// Returns nullopt when the name does not exist or cannot be looked at.
std::optional<FileIdentity> identityOf(const Directory& directory, const std::string& name) {
    struct stat status = {};
    const int result = retryOnEintr([&] {
        return ::fstatat(directory.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
    });
    return result == 0 ? std::optional<FileIdentity>(status) : std::nullopt;
}

bool isStill(const Directory& directory, const std::string& name, const FileContent& expected) {
    return identityOf(directory, name) == expected.identity;
}

// Returns nullopt when there is none, or it cannot be read.
std::optional<FileContent> readIfPossible(const Directory& directory, const std::string& name) {
    try {
        return readForChange(directory, name);
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

// Whether a name leads to what was read under another one: identities change with a rename.
bool isSame(const Directory& directory, const std::string& name, const FileContent& expected) {
    const auto found = readIfPossible(directory, name);
    const auto access = [](const FileContent& content) {
        const FileIdentity& identity = content.identity;
        return std::tie(identity.mode, identity.owner, identity.group, content.attributes);
    };
    return found && found->text == expected.text && access(*found) == access(expected);
}

// What is left of the mode of a file that is replaced by one of another owner or group: special
// bits would lend the new owner's rights, and those who were in the group are now among the others.
mode_t reducedMode(mode_t mode, bool keepsGroup) {
    constexpr mode_t groupBits = 070;
    const mode_t plain = mode & ~specialBits;
    return keepsGroup ? plain : plain & ~groupBits & (S_IRWXU | (plain & groupBits) >> 3);
}

// A file on its way into the directory, gone again unless it is kept.
class UnfinishedFile {
  public:
    explicit UnfinishedFile(const Directory& directory)
        : directory_(directory)
        , file_(openNew()) {
        // What cannot be cleared away, a directory or what somebody else may only remove, stays.
        if (!file_.isOpen() && errno == EEXIST) {
            if (::unlinkat(directory_.descriptor(), temporaryName, 0) == -1) {
                name_ = ".quenbrook-" + randomUid() + ".tmp";
            }
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
            ::unlinkat(directory_.descriptor(), name_.c_str(), 0);
        }
    }

    void write(std::string_view text) {
        while (!text.empty()) {
            const auto count = throwOnError(
                "write", [&] { return ::write(file_.get(), text.data(), text.size()); });
            text.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    // Keeps what belongs to the file that is replaced, not to its content. Whose it is only root
    // can keep; everyone else replaces the file as their own. Nobody gets more access by that.
    void adopt(const FileContent& replaced) {
        const FileIdentity& old = replaced.identity;
        if (::fchown(file_.get(), old.owner, old.group) == -1) {
            static_cast<void>(::fchown(file_.get(), static_cast<uid_t>(-1), old.group) == 0);
        }
        const FileIdentity now = identity();
        const bool keepsGroup = now.group == old.group;
        if (!keepsGroup && hasAccessList(replaced.attributes)) {
            throw std::system_error(
                std::make_error_code(std::errc::operation_not_permitted), "fchown");
        }
        setAttributes(file_, replaced.attributes);
        const mode_t mode =
            keepsGroup && now.owner == old.owner ? old.mode : reducedMode(old.mode, keepsGroup);
        const int set = retryOnEintr([&] { return ::fchmod(file_.get(), mode & ~mode_t{S_IFMT}); });
        // Where there are no modes to set, the file stays as private as it was made.
        if (set == -1 && !isUnsupported(errno)) {
            throwSystemError("fchmod");
        }
    }

    // The bytes must be on the disk before the name leads to them.
    void sync() {
        throwOnError("fsync", [&] { return syncToDisk(file_.get()); });
    }

    // Not every file system can do each of these, and none of them replaces what is there.
    void takeNewName(const std::string& name) {
        const int directory = directory_.descriptor();
        if (renameNoReplace(directory, name_.c_str(), name.c_str()) == 0) {
            name_ = name;
            return;
        }
        if (!isUnsupported(errno)) {
            throwSystemError("renameat2");
        }
        const int linked = retryOnEintr(
            [&] { return ::linkat(directory, name_.c_str(), directory, name.c_str(), 0); });
        if (linked == 0) {
            // The first name stays if it must: the next write clears it away.
            ::unlinkat(directory, name_.c_str(), 0);
            name_ = name;
            return;
        }
        if (!isUnsupported(errno)) {
            throwSystemError("linkat");
        }
        renameOverReserved(name);
    }

    // False, and nothing done, when the file is not what was read.
    bool takePlaceOf(const std::string& name, std::string_view text, const FileContent& expected) {
        renameTo(quarantineName());
        if (renameExchange(directory_.descriptor(), name_.c_str(), name.c_str()) == 0) {
            return standsInPlaceOf(name, text, expected);
        }
        if (errno == ENOENT) {
            return false;
        }
        if (!isUnsupported(errno)) {
            throwSystemError("renameat2");
        }
        if (!isStill(directory_, name, expected)) {
            return false;
        }
        renameTo(name);
        kept_ = true;
        return true;
    }

    void keep() { kept_ = true; }

  private:
    int openNew() const {
        return retryOnEintr([&] {
            return ::openat(directory_.descriptor(), name_.c_str(), newFileFlags, privateFileMode);
        });
    }

    FileIdentity identity() const {
        struct stat status = {};
        throwOnError("fstat", [&] { return ::fstat(file_.get(), &status); });
        return FileIdentity(status);
    }

    void renameTo(const std::string& name) {
        throwOnError("renameat", [&] { return renameIn(directory_, name_, name); });
        name_ = name;
    }

    void renameOverReserved(const std::string& name) {
        if (identityOf(directory_, name)) {
            throw std::system_error(std::make_error_code(std::errc::file_exists), name);
        }
        const FileDescriptor reserved(throwOnError("openat", [&] {
            return ::openat(directory_.descriptor(), name.c_str(), newFileFlags, privateFileMode);
        }));
        const std::string written = std::exchange(name_, name);
        if (renameIn(directory_, written, name) == -1) {
            const int error = errno;
            ::unlinkat(directory_.descriptor(), written.c_str(), 0);
            throw std::system_error(error, std::generic_category(), "renameat");
        }
    }

    // Looks at what was taken out, which now has this file's name of before. When that is not what
    // was read, it goes back.
    bool standsInPlaceOf(
        const std::string& name, std::string_view text, const FileContent& expected) {
        kept_ = true;
        const bool stands = isSame(directory_, name_, expected);
        if (stands || isPutBack(name, text)) {
            retryOnEintr([&] { return ::unlinkat(directory_.descriptor(), name_.c_str(), 0); });
        }
        return stands;
    }

    // False when another program has changed or removed this file in its turn: its newest then
    // stays in place, and what was taken out stays in quarantine.
    bool isPutBack(const std::string& name, std::string_view text) {
        if (!isThis(name, text)) {
            return false;
        }
        const auto exchange = [&] {
            return renameExchange(directory_.descriptor(), name_.c_str(), name.c_str());
        };
        throwOnError("renameat2", exchange);
        if (isThis(name_, text)) {
            return true;
        }
        throwOnError("renameat2", exchange);
        return false;
    }

    // Whether a name leads to this file, with the text that was written.
    bool isThis(const std::string& name, std::string_view text) const {
        const auto found = readIfPossible(directory_, name);
        const FileIdentity own = identity();
        return found && found->text == text && found->identity.device == own.device &&
               found->identity.inode == own.inode;
    }

    const Directory& directory_;
    std::string name_ = temporaryName;
    FileDescriptor file_;
    bool kept_ = false;
};

// False when there is no such file any more.
bool isTakenOut(const Directory& directory, const std::string& name, const std::string& out) {
    const int renamed = renameIn(directory, name, out);
    if (renamed == -1 && errno != ENOENT) {
        throwSystemError("renameat");
    }
    return renamed == 0;
}

// Back to its name, unless another program has taken that meanwhile: then it stays in quarantine.
void putBack(const Directory& directory, const std::string& out, const std::string& name) {
    if (renameNoReplace(directory.descriptor(), out.c_str(), name.c_str()) == 0 ||
        errno == EEXIST) {
        return;
    }
    if (!isUnsupported(errno)) {
        throwSystemError("renameat2");
    }
    if (!identityOf(directory, name)) {
        throwOnError("renameat", [&] { return renameIn(directory, out, name); });
    }
}

} // namespace

void syncDirectory(const Directory& directory) {
    // A file system that cannot sync a directory has nothing to promise, and so nothing to break.
    if (syncToDisk(directory.descriptor()) == -1 && errno != EBADF && !isUnsupported(errno)) {
        throwSystemError("fsync");
    }
}

void createDurably(const Directory& directory, const std::string& name, std::string_view text) {
    UnfinishedFile file(directory);
    file.write(text);
    file.sync();
    file.takeNewName(name);
    syncDirectory(directory);
    file.keep();
}

bool replaceDurably(const Directory& directory, const std::string& name, std::string_view text,
    const FileContent& expected) {
    UnfinishedFile file(directory);
    file.write(text);
    file.adopt(expected);
    file.sync();
    if (!isStill(directory, name, expected) || !file.takePlaceOf(name, text, expected)) {
        return false;
    }
    syncDirectory(directory);
    return true;
}

bool removeDurably(
    const Directory& directory, const std::string& name, const FileContent& expected) {
    if (!isStill(directory, name, expected)) {
        return false;
    }
    const std::string out = quarantineName();
    if (!isTakenOut(directory, name, out)) {
        return false;
    }
    if (!isSame(directory, out, expected)) {
        putBack(directory, out, name);
        return false;
    }
    if (retryOnEintr([&] { return ::unlinkat(directory.descriptor(), out.c_str(), 0); }) == -1) {
        const int error = errno;
        putBack(directory, out, name);
        throw std::system_error(error, std::generic_category(), "unlinkat");
    }
    syncDirectory(directory);
    return true;
}

} // namespace quenbrook::files
