#pragma once

#include "tests/fuzz/Require.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <system_error>

#include <unistd.h>

namespace quenbrook::fuzz {

// A directory of its own, in memory where the system has such a place: what a disk takes for a sync
// is not what is to be found out.
class Place {
  public:
    Place() {
        const bool hasMemory = ::access("/dev/shm", W_OK | X_OK) == 0;
        std::string pattern = (hasMemory ? std::filesystem::path("/dev/shm")
                                         : std::filesystem::temp_directory_path()) /
                              "quenbrook-fuzz-XXXXXX";
        require(::mkdtemp(pattern.data()) != nullptr);
        path_ = pattern;
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// For the whole of the fuzzing.
inline const std::filesystem::path& place() {
    static const Place made;
    return made.path();
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
