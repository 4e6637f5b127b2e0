#include "stores/evolution/CalendarLock.h"

#include "files/DirectoryLock.h"
#include "files/SystemCall.h"
#include "stores/evolution/Environment.h"

#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

namespace quenbrook::stores::evolution {
namespace {

namespace filesystem = std::filesystem;

// An absolute path that a variable holds; empty when there is none.
filesystem::path placeIn(const char* variable) {
    const filesystem::path place(environment(variable));
    return place.is_absolute() ? place : filesystem::path();
}

// Not XDG_RUNTIME_DIR: a run that finds the bus by DBUS_SESSION_BUS_ADDRESS alone does not know it,
// and would take its lock elsewhere.
filesystem::path lockDirectory() {
    const filesystem::path cache = placeIn("XDG_CACHE_HOME");
    if (!cache.empty()) {
        return cache / "quenbrook";
    }
    const filesystem::path home = placeIn("HOME");
    if (home.empty()) {
        throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory));
    }
    return home / ".cache" / "quenbrook";
}

// A name of its own for each calendar, whatever its identifier holds.
std::string fileName(std::string_view calendar) {
    constexpr std::string_view plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_@";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string name;
    for (const char character : calendar) {
        const auto byte = static_cast<unsigned char>(character);
        if (plain.find(character) != std::string_view::npos) {
            name += character;
        } else {
            name += {'%', digits[byte >> 4], digits[byte & 0x0F]};
        }
    }
    return name + ".lock";
}

files::FileDescriptor openLockFile(std::string_view calendar) {
    const filesystem::path directory = lockDirectory();
    filesystem::create_directories(directory.parent_path());
    if (::mkdir(directory.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        files::throwSystemError("mkdir");
    }
    const filesystem::path file = directory / fileName(calendar);
    return files::FileDescriptor(files::throwOnError("open", [&] {
        return ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    }));
}

} // namespace

CalendarLock::CalendarLock(std::string_view calendar, Deadline deadline)
    : file_(openLockFile(calendar)) {
    files::lockUntil(file_.get(), deadline);
}

} // namespace quenbrook::stores::evolution
