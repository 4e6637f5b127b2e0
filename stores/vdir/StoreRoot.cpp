#include "stores/vdir/StoreRoot.h"

#include "files/DirectoryLock.h"
#include "files/DurableWrite.h"
#include "files/RandomUid.h"
#include "files/Renames.h"
#include "files/SystemCall.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quenbrook::stores::vdir {
namespace {

constexpr mode_t privateDirectoryMode = 0700;

struct InitialFile {
    const char* directory;
    const char* name;
    std::string_view content;
};
constexpr std::array<const char*, 2> initialDirectories = {"local", "local/calendar"};
constexpr std::array<InitialFile, 3> initialFiles = {{
    {"local", "displayname", "Quenbrook"},
    {"local/calendar", "displayname", "Calendar"},
    {"local/calendar", "color", "#1BADF8"},
}};

std::optional<std::filesystem::path> absolutePathIn(const char* variable) {
    const char* value = std::getenv(variable);
    const std::filesystem::path path = value ? value : "";
    return path.is_absolute() ? std::optional(path) : std::nullopt;
}

files::Directory opened(const std::filesystem::path& path) {
    auto directory = files::Directory::open(path.string());
    if (!directory) {
        files::throwSystemError("open");
    }
    return std::move(*directory);
}

void makeDirectory(const std::filesystem::path& path) {
    files::throwOnError("mkdir", [&] { return ::mkdir(path.c_str(), privateDirectoryMode); });
}

// Whether a killed run of this user may have left it, and nobody else can have put anything into
// it.
bool isOurs(const std::filesystem::path& path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// A directory under another name until it is finished; removed with all it holds if it never is.
// What a killed run has left of one goes first; anything else in its way stays.
class UnfinishedDirectory {
  public:
    explicit UnfinishedDirectory(std::filesystem::path path)
        : path_(std::move(path)) {
        if (isOurs(path_)) {
            std::filesystem::remove_all(path_);
        }
        if (::mkdir(path_.c_str(), privateDirectoryMode) == 0) {
            return;
        }
        if (errno == EEXIST) {
            path_ += '-';
            path_ += files::randomUid();
        }
        makeDirectory(path_);
    }
    UnfinishedDirectory(const UnfinishedDirectory&) = delete;
    UnfinishedDirectory& operator=(const UnfinishedDirectory&) = delete;
    ~UnfinishedDirectory() {
        std::error_code ignored;
        if (!path_.empty()) {
            std::filesystem::remove_all(path_, ignored);
        }
    }

    const std::filesystem::path& path() const { return path_; }

    void finishAs(const std::filesystem::path& name) {
        const int renamed = files::renameNoReplace(AT_FDCWD, path_.c_str(), name.c_str());
        if (renamed == -1 && !files::isUnsupported(errno)) {
            files::throwSystemError("renameat2");
        }
        // A plain rename replaces no directory but an empty one.
        if (renamed == -1) {
            files::throwOnError("rename", [&] { return ::rename(path_.c_str(), name.c_str()); });
        }
        path_.clear();
    }

  private:
    std::filesystem::path path_;
};

} // namespace

std::optional<std::filesystem::path> defaultStoreRoot() {
    const std::filesystem::path below = std::filesystem::path("quenbrook") / "calendars";
    if (const auto data = absolutePathIn("XDG_DATA_HOME")) {
        return *data / below;
    }
    if (const auto home = absolutePathIn("HOME")) {
        return *home / ".local" / "share" / below;
    }
    return std::nullopt;
}

void createStoreRoot(const std::filesystem::path& root) {
    const std::filesystem::path parent = root.parent_path();
    std::filesystem::path made;
    for (const std::filesystem::path& part : parent) {
        made /= part;
        if (::mkdir(made.c_str(), privateDirectoryMode) == 0) {
            files::syncDirectory(opened(made.parent_path()));
        } else if (errno != EEXIST) {
            files::throwSystemError("mkdir");
        }
    }
    const files::Directory beside = opened(parent);
    const files::DirectoryLock lock(beside);
    UnfinishedDirectory unfinished(parent / (".unfinished-" + root.filename().string()));
    for (const char* directory : initialDirectories) {
        makeDirectory(unfinished.path() / directory);
    }
    for (const InitialFile& file : initialFiles) {
        files::createDurably(opened(unfinished.path() / file.directory), file.name, file.content);
    }
    files::syncDirectory(opened(unfinished.path()));
    unfinished.finishAs(root);
    files::syncDirectory(beside);
}

} // namespace quenbrook::stores::vdir
