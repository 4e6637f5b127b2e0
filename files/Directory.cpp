#include "files/Directory.h"

#include "files/NameWatch.h"
#include "files/SystemCall.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace quenbrook::files {
namespace {

using Nanoseconds = std::chrono::nanoseconds;

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// How many listings in a row must add no name where nothing else tells that none is missing, and
// how many there are at most beside a program that never stops making names.
constexpr int idleListings = 4;
constexpr int mostListings = 200;

struct CloseStream {
    void operator()(DIR* stream) const { ::closedir(stream); }
};
using DirectoryStream = std::unique_ptr<DIR, CloseStream>;

DirectoryEntry::Kind kindOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return DirectoryEntry::Kind::file;
    }
    return S_ISDIR(mode) ? DirectoryEntry::Kind::directory : DirectoryEntry::Kind::other;
}

std::optional<struct stat> statusOf(int directory, const char* name, int flags) {
    struct stat status = {};
    if (retryOnEintr([&] { return ::fstatat(directory, name, &status, flags); }) == 0) {
        return status;
    }
    if (!isAnswer(errno)) {
        throwSystemError("fstatat");
    }
    return std::nullopt;
}

// Of a name whose type is known, or else DT_UNKNOWN.
DirectoryEntry entryOf(int directory, const char* name, unsigned char type) {
    if (type == DT_REG) {
        return {name, DirectoryEntry::Kind::file, false};
    }
    if (type == DT_DIR) {
        return {name, DirectoryEntry::Kind::directory, false};
    }
    if (type != DT_LNK && type != DT_UNKNOWN) {
        return {name, DirectoryEntry::Kind::other, false};
    }
    const auto link = statusOf(directory, name, AT_SYMLINK_NOFOLLOW);
    const auto target = link ? statusOf(directory, name, 0) : std::nullopt;
    return {name, target ? kindOf(target->st_mode) : DirectoryEntry::Kind::other,
        type == DT_LNK || (link && S_ISLNK(link->st_mode))};
}

bool isHidden(const char* name) {
    return name[0] == '.';
}

// Returns null at the end.
const dirent* nextItem(DIR* stream) {
    errno = 0;
    const dirent* const item = ::readdir(stream);
    // A directory that was removed since it was opened has no entries.
    if (item == nullptr && errno != 0 && errno != ENOENT) {
        throwSystemError("readdir");
    }
    return item;
}

// When names were last made, changed or removed in a directory.
Nanoseconds changeTime(int directory) {
    struct stat status = {};
    throwOnError("fstat", [&] { return ::fstat(directory, &status); });
#ifdef __APPLE__
    const timespec& changed = status.st_ctimespec;
#else
    const timespec& changed = status.st_ctim;
#endif
    return std::chrono::seconds(changed.tv_sec) + Nanoseconds(changed.tv_nsec);
}

// Whether another change right now may get the time that this one has: many kernels count in ticks
// of up to 10 ms, some file systems in units of up to 2 s.
bool isRecent(Nanoseconds changed) {
    const bool isCoarse = changed % std::chrono::seconds(1) == Nanoseconds(0);
    const Nanoseconds unit =
        isCoarse ? Nanoseconds(std::chrono::seconds(2)) : std::chrono::milliseconds(20);
    const Nanoseconds age = std::chrono::system_clock::now().time_since_epoch() - changed;
    return age < unit && age > -unit;
}

bool comesBefore(const DirectoryEntry& left, const DirectoryEntry& right) {
    return left.name < right.name;
}

// Adds the entries whose names are not there yet; those that are there are told by the newer.
std::vector<DirectoryEntry> united(
    std::vector<DirectoryEntry> newer, std::vector<DirectoryEntry> older) {
    if (newer.empty() || older.empty()) {
        return newer.empty() ? std::move(older) : std::move(newer);
    }
    newer.insert(newer.end(), older.begin(), older.end());
    std::stable_sort(newer.begin(), newer.end(), comesBefore);
    const auto isSameName = [](const DirectoryEntry& left, const DirectoryEntry& right) {
        return left.name == right.name;
    };
    newer.erase(std::unique(newer.begin(), newer.end(), isSameName), newer.end());
    return newer;
}

std::vector<DirectoryEntry> listed(const Directory& directory) {
    std::vector<DirectoryEntry> entries;
    directory.forEachEntry([&](DirectoryEntry entry) {
        entries.push_back(std::move(entry));
        return true;
    });
    return entries;
}

std::vector<DirectoryEntry> entriesOf(int directory, const std::set<std::string>& names) {
    std::vector<DirectoryEntry> entries;
    for (const std::string& name : names) {
        if (!isHidden(name.c_str())) {
            entries.push_back(entryOf(directory, name.c_str(), DT_UNKNOWN));
        }
    }
    return entries;
}

// Whether each name is still there, and none of them is what another one was before it was renamed.
bool areAllThere(int directory, const std::vector<DirectoryEntry>& entries) {
    std::map<std::pair<dev_t, ino_t>, nlink_t> names;
    return std::all_of(entries.begin(), entries.end(), [&](const DirectoryEntry& entry) {
        const auto status = statusOf(directory, entry.name.c_str(), AT_SYMLINK_NOFOLLOW);
        if (!status) {
            return errno != ENOENT;
        }
        return ++names[{status->st_dev, status->st_ino}] <= std::max<nlink_t>(status->st_nlink, 1);
    });
}

} // namespace

bool isAnswer(int error) {
    constexpr std::array<int, 9> answers = {
        ENOENT, ENOTDIR, EACCES, EPERM, ELOOP, ENAMETOOLONG, ENXIO, ENODEV, EISDIR};
    return std::find(answers.begin(), answers.end(), error) != answers.end();
}

std::optional<Directory> Directory::open(const std::string& path) {
    return opened(retryOnEintr([&] { return ::open(path.c_str(), directoryFlags); }));
}

std::optional<Directory> Directory::openDirectory(const std::string& name) const {
    return opened(
        retryOnEintr([&] { return ::openat(descriptor(), name.c_str(), directoryFlags); }));
}

std::optional<Directory> Directory::opened(int descriptor) {
    if (descriptor == -1 && !isAnswer(errno)) {
        throwSystemError("open");
    }
    return descriptor == -1 ? std::nullopt : std::optional(Directory(FileDescriptor(descriptor)));
}

void Directory::forEachEntry(const std::function<bool(DirectoryEntry entry)>& take) const {
    // The stream takes its descriptor over and moves its position, so it gets one of its own.
    FileDescriptor own(
        throwOnError("openat", [&] { return ::openat(descriptor(), ".", directoryFlags); }));
    const DirectoryStream stream(::fdopendir(own.get()));
    if (!stream) {
        throwSystemError("fdopendir");
    }
    own.release();
    bool isWanted = true;
    while (const dirent* const item = isWanted ? nextItem(stream.get()) : nullptr) {
        isWanted =
            isHidden(item->d_name) || take(entryOf(descriptor(), item->d_name, item->d_type));
    }
}

// On some file systems (btrfs, tmpfs) a name that is changed moves behind, or in front of, a
// listing that is under way.
Listing Directory::list() const {
    const Nanoseconds changed = changeTime(descriptor());
    const bool isTold = !isRecent(changed);
    // Made only beside a writer: its end takes milliseconds.
    std::optional<NameWatch> watch;
    std::vector<DirectoryEntry> all;
    int idle = 0;
    for (int i = 0; i < mostListings; ++i) {
        const std::size_t known = all.size();
        all = united(listed(*this), std::move(all));
        idle = all.size() == known ? idle + 1 : 0;
        const bool isUnchanged = changeTime(descriptor()) == changed;
        if (isUnchanged && isTold) {
            return {std::move(all), true};
        }
        if (!isUnchanged && !watch) {
            watch.emplace(descriptor());
            continue;
        }
        const auto newNames = watch ? watch->newNames() : std::nullopt;
        if (newNames) {
            all = united(entriesOf(descriptor(), *newNames), std::move(all));
        }
        if (newNames || idle == idleListings) {
            if (areAllThere(descriptor(), all)) {
                return {std::move(all), false};
            }
            all.clear();
            idle = 0;
        }
    }
    // What is being moved all the time is nowhere for sure.
    throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy));
}

bool Directory::isWritable() const {
    const auto mayWrite = [&](int flags) {
        return retryOnEintr([&] { return ::faccessat(descriptor(), ".", W_OK | X_OK, flags); }) ==
               0;
    };
    // Sandboxes older than the call behind AT_EACCESS refuse it, whatever the directory is.
    if (mayWrite(AT_EACCESS) || (errno == EPERM && mayWrite(0))) {
        return true;
    }
    if (errno != EACCES && errno != EROFS && errno != EPERM) {
        throwSystemError("faccessat");
    }
    return false;
}

} // namespace quenbrook::files
