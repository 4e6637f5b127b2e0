// Reads every .ics file of one folder from its first byte to its last, and does nothing with it:
//
//     bench_read_all FOLDER [THREADS]

#include <array>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

using Buffer = std::array<char, 1 << 16>;

void readWhole(int folder, const char* name, Buffer& buffer) {
    const int file = ::openat(folder, name, O_RDONLY | O_CLOEXEC);
    while (file >= 0 && ::read(file, buffer.data(), buffer.size()) > 0) {
    }
    ::close(file);
}

bool isCalendarFile(const dirent& entry) {
    return std::string_view(entry.d_name).ends_with(".ics");
}

void readOneAfterTheOther(DIR* folder) {
    static Buffer buffer;
    while (const dirent* const entry = ::readdir(folder)) {
        if (isCalendarFile(*entry)) {
            readWhole(::dirfd(folder), entry->d_name, buffer);
        }
    }
}

void readWithThreads(DIR* folder, std::size_t count) {
    std::vector<std::string> names;
    while (const dirent* const entry = ::readdir(folder)) {
        if (isCalendarFile(*entry)) {
            names.emplace_back(entry->d_name);
        }
    }
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        const auto buffer = std::make_unique<Buffer>();
        for (std::size_t i = next++; i < names.size(); i = next++) {
            readWhole(::dirfd(folder), names[i].c_str(), *buffer);
        }
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i < count; ++i) {
        threads.emplace_back(work);
    }
    work();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace

int main(int argc, char** argv) {
    DIR* const folder = argc >= 2 ? ::opendir(argv[1]) : nullptr;
    if (folder == nullptr) {
        return 1;
    }
    const std::size_t threads = argc >= 3 ? std::strtoul(argv[2], nullptr, 10) : 1;
    if (threads > 1) {
        readWithThreads(folder, threads);
    } else {
        readOneAfterTheOther(folder);
    }
    ::closedir(folder);
    return 0;
}
