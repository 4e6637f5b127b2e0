// Reads every .ics file of one folder from its first byte to its last, and does nothing with it.

#include <array>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

void readWhole(int folder, const char* name) {
    static std::array<char, 1 << 16> buffer;
    const int file = ::openat(folder, name, O_RDONLY | O_CLOEXEC);
    while (file >= 0 && ::read(file, buffer.data(), buffer.size()) > 0) {
    }
    ::close(file);
}

} // namespace

int main(int argc, char** argv) {
    DIR* const folder = argc == 2 ? ::opendir(argv[1]) : nullptr;
    if (folder == nullptr) {
        return 1;
    }
    while (const dirent* const entry = ::readdir(folder)) {
        if (std::string_view(entry->d_name).ends_with(".ics")) {
            readWhole(::dirfd(folder), entry->d_name);
        }
    }
    ::closedir(folder);
    return 0;
}
