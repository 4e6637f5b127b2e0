#pragma once

#include "platform/vdir/Folder.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quenbrook::test {

// A folder of the test's own with a few words for what tests do in it.
class Files {
  public:
    std::filesystem::path path(const std::string& name = {}) const {
        return name.empty() ? folder_.path() : folder_.path() / name;
    }

    // The folders on the way are made.
    void write(const std::string& name, std::string_view content) const {
        std::filesystem::create_directories(path(name).parent_path());
        std::ofstream(path(name), std::ios::binary | std::ios::trunc) << content;
    }

    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        if (!file) {
            throw std::runtime_error("no file " + name);
        }
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void makeFolder(const std::string& name) const {
        std::filesystem::create_directories(path(name));
    }

    void link(const std::string& name, const std::string& target) const {
        std::filesystem::create_directories(path(name).parent_path());
        std::filesystem::create_symlink(target, path(name));
    }

    // Every name in a folder, those that begin with a dot too.
    std::set<std::string> names(const std::string& folder = {}) const {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(path(folder))) {
            found.insert(entry.path().filename().string());
        }
        return found;
    }

    platform::vdir::Folder open(const std::string& name = {}) const {
        auto opened = platform::vdir::Folder::open(path(name).string());
        if (!opened) {
            throw std::runtime_error("no folder " + name);
        }
        return std::move(*opened);
    }

  private:
    support::TemporaryFolder folder_;
};

} // namespace quenbrook::test
