#include "platform/vdir/DurableWrite.h"

#include "platform/vdir/SystemCall.h"

#include <cstdio>

#include <fcntl.h>

namespace quenbrook::platform::vdir {
namespace {

// One name is enough, since writers exclude each other; what a killed one left is replaced by the
// next. Readers pass over it: it begins with a dot and does not end in ".ics".
constexpr const char* temporaryName = ".quenbrook.tmp";

constexpr mode_t privateMode = 0600;

void syncToDisk(int descriptor) {
#ifdef __APPLE__
    // fsync alone leaves the bytes in the drive's own cache.
    if (uninterrupted([&] { return ::fcntl(descriptor, F_FULLFSYNC); }) != -1) {
        return;
    }
#endif
    checked("fsync", [&] { return ::fsync(descriptor); });
}

bool isStill(const Folder& folder, const std::string& name, const FileIdentity& expected) {
    struct stat status = {};
    const int result = uninterrupted(
        [&] { return ::fstatat(folder.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW); });
    if (result == -1 && errno == ENOENT) {
        return false;
    }
    if (result == -1) {
        throwSystemError("fstatat");
    }
    return FileIdentity(status) == expected;
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
        checked("fchmod", [&] { return ::fchmod(file_.get(), replaced.mode & 07777); });
    }

    // The bytes must be on the disk before the name leads to them.
    void sync() { syncToDisk(file_.get()); }

    void renameToNew(const std::string& name) {
        renameWithoutReplacing(name);
        name_ = name;
    }

    void renameOver(const std::string& name) {
        checked("renameat", [&] {
            return ::renameat(
                folder_.descriptor(), temporaryName, folder_.descriptor(), name.c_str());
        });
        name_ = name;
    }

    void keep() { kept_ = true; }

  private:
    int openNew() const {
        return uninterrupted([&] {
            return ::openat(folder_.descriptor(), temporaryName,
                O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, privateMode);
        });
    }

    void renameWithoutReplacing(const std::string& name) const {
        const int folder = folder_.descriptor();
#ifdef __APPLE__
        checked("renameatx_np", [&] {
            return ::renameatx_np(folder, temporaryName, folder, name.c_str(), RENAME_EXCL);
        });
#else
        const int renamed = uninterrupted([&] {
            return ::renameat2(folder, temporaryName, folder, name.c_str(), RENAME_NOREPLACE);
        });
        if (renamed == 0) {
            return;
        }
        if (errno != EINVAL && errno != ENOSYS) {
            throwSystemError("renameat2");
        }
        // File systems that cannot do that can make a second link, which never replaces either.
        checked("linkat", [&] { return ::linkat(folder, temporaryName, folder, name.c_str(), 0); });
        // The first one stays if it must: the next write clears it away.
        ::unlinkat(folder, temporaryName, 0);
#endif
    }

    const Folder& folder_;
    FileDescriptor file_;
    std::string name_ = temporaryName;
    bool kept_ = false;
};

} // namespace

void syncFolder(const Folder& folder) {
    syncToDisk(folder.descriptor());
}

void createDurably(const Folder& folder, const std::string& name, std::string_view text) {
    UnfinishedFile file(folder);
    file.write(text);
    file.sync();
    file.renameToNew(name);
    syncFolder(folder);
    file.keep();
}

bool replaceDurably(const Folder& folder, const std::string& name, std::string_view text,
    const FileIdentity& expected) {
    UnfinishedFile file(folder);
    file.write(text);
    file.adopt(expected);
    file.sync();
    if (!isStill(folder, name, expected)) {
        return false;
    }
    file.renameOver(name);
    // There is no way back: the old content is gone.
    file.keep();
    syncFolder(folder);
    return true;
}

bool removeDurably(const Folder& folder, const std::string& name, const FileIdentity& expected) {
    if (!isStill(folder, name, expected)) {
        return false;
    }
    checked("unlinkat", [&] { return ::unlinkat(folder.descriptor(), name.c_str(), 0); });
    syncFolder(folder);
    return true;
}

} // namespace quenbrook::platform::vdir
