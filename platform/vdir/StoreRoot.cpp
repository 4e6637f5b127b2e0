#include "platform/vdir/StoreRoot.h"

#include "platform/SystemCall.h"
#include "platform/vdir/DurableWrite.h"
#include "platform/vdir/FolderLock.h"
#include "platform/vdir/Renames.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>

namespace quenbrook::platform::vdir {
namespace {

constexpr mode_t privateFolderMode = 0700;

struct InitialFile {
    const char* folder;
    const char* name;
    std::string_view content;
};
constexpr std::array<const char*, 2> initialFolders = {"local", "local/calendar"};
constexpr std::array<InitialFile, 3> initialFiles = {{
    {"local", "displayname", "On This Computer"},
    {"local/calendar", "displayname", "Calendar"},
    {"local/calendar", "color", "#1BADF8"},
}};

std::optional<std::filesystem::path> absolutePathIn(const char* variable) {
    const char* value = std::getenv(variable);
    const std::filesystem::path path = value ? value : "";
    return path.is_absolute() ? std::optional(path) : std::nullopt;
}

Folder opened(const std::filesystem::path& path) {
    auto folder = Folder::open(path.string());
    if (!folder) {
        throwSystemError("open");
    }
    return std::move(*folder);
}

void makeFolder(const std::filesystem::path& path) {
    checked("mkdir", [&] { return ::mkdir(path.c_str(), privateFolderMode); });
}

// A folder under another name until it is finished; removed with all it holds if it never is. What
// a killed run has left of one goes first.
class UnfinishedFolder {
  public:
    explicit UnfinishedFolder(std::filesystem::path path)
        : path_(std::move(path)) {
        if (::mkdir(path_.c_str(), privateFolderMode) == 0) {
            return;
        }
        if (errno == EEXIST) {
            std::filesystem::remove_all(path_);
        }
        makeFolder(path_);
    }
    UnfinishedFolder(const UnfinishedFolder&) = delete;
    UnfinishedFolder& operator=(const UnfinishedFolder&) = delete;
    ~UnfinishedFolder() {
        std::error_code ignored;
        if (!path_.empty()) {
            std::filesystem::remove_all(path_, ignored);
        }
    }

    const std::filesystem::path& path() const { return path_; }

    void finishAs(const std::filesystem::path& name) {
        const int renamed = renameToFreeName(AT_FDCWD, path_.c_str(), name.c_str());
        if (renamed == -1 && !isUnsupported(errno)) {
            throwSystemError("renameat2");
        }
        // A plain rename replaces no folder but an empty one.
        if (renamed == -1) {
            checked("rename", [&] { return ::rename(path_.c_str(), name.c_str()); });
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
        if (::mkdir(made.c_str(), privateFolderMode) == 0) {
            syncFolder(opened(made.parent_path()));
        } else if (errno != EEXIST) {
            throwSystemError("mkdir");
        }
    }
    const Folder beside = opened(parent);
    const FolderLock lock(beside);
    UnfinishedFolder unfinished(parent / (".unfinished-" + root.filename().string()));
    for (const char* folder : initialFolders) {
        makeFolder(unfinished.path() / folder);
    }
    for (const InitialFile& file : initialFiles) {
        createDurably(opened(unfinished.path() / file.folder), file.name, file.content);
    }
    syncFolder(opened(unfinished.path()));
    unfinished.finishAs(root);
    syncFolder(beside);
}

} // namespace quenbrook::platform::vdir
