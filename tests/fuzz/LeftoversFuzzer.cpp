#include "files/DirectoryLock.h"
#include "files/DurableWrite.h"
#include "tests/fuzz/Directory.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

// What a writer finds in a directory after a kill, or after somebody has planted it: temporary,
// quarantined, foreign, empty and torn files in every combination. Each step is two bytes: the
// first chooses what is done to which name, the second the content. No content disappears but what
// a write replaces or removes and what is left of a write that was never finished.
namespace quenbrook::fuzz {
namespace {

constexpr std::array<const char*, 8> names = {"a.ics", "b.ics", ".quenbrook.tmp",
    ".quenbrook.quarantine-A.tmp", ".quenbrook.taken.tmp", ".quenbrook.note.tmp", ".hidden.ics",
    "displayname"};
constexpr std::string_view temporary = names[2];

enum Step { plant, link, create, replace, replaceLate, remove, removeLate, makeDirectory, steps };

std::string contentOf(std::uint8_t byte) {
    return std::string(byte % 5, static_cast<char>('a' + byte % 23)) + std::to_string(byte / 40);
}

class Leftovers {
  public:
    Leftovers()
        : directory_(files::Directory::open(place().string()).value()) {}

    void take(std::uint8_t what, std::uint8_t content) {
        const std::string name = names.at(what / steps % names.size());
        const std::string text = contentOf(content);
        const std::filesystem::path path = place() / name;
        const bool isFile = std::filesystem::is_regular_file(std::filesystem::symlink_status(path));
        const bool isThere = std::filesystem::exists(std::filesystem::symlink_status(path));
        switch (what % steps) {
        case plant:
            if (isFile || !isThere) {
                write(path, text);
            }
            break;
        case link:
            if (!isThere) {
                std::filesystem::create_symlink("a.ics", path);
            }
            break;
        case makeDirectory:
            if (!isThere) {
                std::filesystem::create_directory(path);
            }
            break;
        default:
            writeDurably(static_cast<Step>(what % steps), name, text, isFile, isThere);
        }
    }

  private:
    // Its own temporary name is for nobody's file.
    void writeDurably(
        Step step, const std::string& name, const std::string& text, bool isFile, bool isThere) {
        if (name == temporary || (step != create && !isFile)) {
            return;
        }
        Contents expected = state();
        const bool temporaryStays =
            std::filesystem::is_directory(std::filesystem::symlink_status(place() / temporary));
        const files::DirectoryLock lock(directory_);
        bool isDone = false;
        const bool isLate = step == replaceLate || step == removeLate;
        try {
            if (step == create) {
                files::createDurably(directory_, name, text);
                isDone = true;
            } else {
                const auto content = files::readForChange(directory_, name);
                require(content.has_value());
                if (isLate) {
                    // Another program was faster.
                    write(place() / ".new", "theirs " + text);
                    std::filesystem::rename(place() / ".new", place() / name);
                    expected[name] = "theirs " + text;
                }
                isDone = step == replace || step == replaceLate
                             ? files::replaceDurably(directory_, name, text, *content)
                             : files::removeDurably(directory_, name, *content);
            }
        } catch (const std::system_error&) {
            require(step == create && isThere);
        }
        require(isDone == (step == create ? !isThere : !isLate));
        if (isDone && step == remove) {
            expected.erase(name);
        } else if (isDone) {
            expected[name] = text;
        }
        Contents found = state();
        if (!temporaryStays) {
            expected.erase(std::string(temporary));
            found.erase(std::string(temporary));
        }
        require(found == expected);
    }

    // Every name with what it holds.
    Contents state() const {
        Contents all;
        for (const auto& entry : std::filesystem::directory_iterator(place())) {
            const std::string name = entry.path().filename().string();
            if (entry.is_symlink()) {
                all[name] = "-> " + std::filesystem::read_symlink(entry.path()).string();
            } else if (entry.is_directory()) {
                all[name] = "directory";
            } else {
                std::ifstream file(entry.path(), std::ios::binary);
                all[name] = std::string(std::istreambuf_iterator<char>(file), {});
            }
        }
        return all;
    }

    files::Directory directory_;
};

} // namespace
} // namespace quenbrook::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t mostBytes = 64;
    quenbrook::fuzz::Leftovers leftovers;
    for (std::size_t i = 0; i + 1 < std::min(size, mostBytes); i += 2) {
        leftovers.take(data[i], data[i + 1]);
    }
    quenbrook::fuzz::clear(quenbrook::fuzz::place());
    return 0;
}
