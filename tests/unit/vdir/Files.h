#pragma once

#include "files/Directory.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quenbrook::test {

// A directory of the test's own with a few words for what tests do in it.
class Files {
  public:
    std::filesystem::path path(const std::string& name = {}) const {
        return name.empty() ? directory_.path() : directory_.path() / name;
    }

    // The directories on the way are made.
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

    void makeDirectory(const std::string& name) const {
        std::filesystem::create_directories(path(name));
    }

    void link(const std::string& name, const std::string& target) const {
        std::filesystem::create_directories(path(name).parent_path());
        std::filesystem::create_symlink(target, path(name));
    }

    // Every name in a directory, those that begin with a dot too.
    std::set<std::string> names(const std::string& directory = {}) const {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(path(directory))) {
            found.insert(entry.path().filename().string());
        }
        return found;
    }

    files::Directory open(const std::string& name = {}) const {
        auto opened = files::Directory::open(path(name).string());
        if (!opened) {
            throw std::runtime_error("no directory " + name);
        }
        return std::move(*opened);
    }

  private:
    support::TemporaryFolder directory_;
};

} // namespace quenbrook::test
