#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>

#include <unistd.h>

namespace quenbrook::fuzz {

inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// A directory for the whole of the fuzzing, in memory where the system has such a place: what a
// disk takes for a sync is not what is to be found out.
inline const std::filesystem::path& place() {
    static const std::filesystem::path made = [] {
        const bool hasMemory = ::access("/dev/shm", W_OK | X_OK) == 0;
        std::string pattern = (hasMemory ? std::filesystem::path("/dev/shm")
                                         : std::filesystem::temp_directory_path()) /
                              "quenbrook-fuzz-XXXXXX";
        require(::mkdtemp(pattern.data()) != nullptr);
        std::atexit([] { std::filesystem::remove_all(place()); });
        return std::filesystem::path(pattern);
    }();
    return made;
}

inline void write(const std::filesystem::path& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

using Contents = std::map<std::string, std::string>;

// Every file of a directory with its bytes.
inline Contents contentsOf(const std::filesystem::path& directory) {
    Contents all;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        std::ifstream file(entry.path(), std::ios::binary);
        all[entry.path().filename().string()] =
            std::string(std::istreambuf_iterator<char>(file), {});
    }
    return all;
}

inline void clear(const std::filesystem::path& directory) {
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        std::filesystem::remove(entry.path());
    }
}

} // namespace quenbrook::fuzz
