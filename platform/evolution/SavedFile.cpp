#include "platform/evolution/SavedFile.h"

#include "platform/FileDescriptor.h"
#include "platform/SystemCall.h"

#include <array>
#include <charconv>
#include <filesystem>
#include <thread>
#include <tuple>

#include <fcntl.h>

namespace quenbrook::platform::evolution {
namespace {

// A small calendar is saved in less than a millisecond, one of 10,000 events in 70 at most.
constexpr std::chrono::microseconds pauseForFile{500};
// The revision stands before the first component.
constexpr std::size_t headSize = 1024;
constexpr std::string_view revisionProperty = "\nX-EVOLUTION-DATA-REVISION:";

FileDescriptor openForReading(const std::string& path, int flags) {
    return FileDescriptor(uninterrupted(
        [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | flags); }));
}

// Empty when there is none.
std::string revisionIn(const FileDescriptor& file) {
    std::array<char, headSize> head{};
    const ssize_t count =
        uninterrupted([&] { return ::pread(file.get(), head.data(), head.size(), 0); });
    std::string_view text(head.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    const std::size_t property = text.find(revisionProperty);
    if (property == std::string_view::npos) {
        return {};
    }
    text.remove_prefix(property + revisionProperty.size());
    const std::size_t end = text.find_first_of("\r\n");
    return end == std::string_view::npos ? std::string() : std::string(text.substr(0, end));
}

void sync(const FileDescriptor& file) {
    checked("fsync", [&] { return ::fsync(file.get()); });
}

// The instant as it is written, and the count behind it.
std::tuple<std::string_view, unsigned long> parts(std::string_view revision) {
    const std::size_t parenthesis = std::min(revision.find('('), revision.size());
    const std::string_view rest = revision.substr(std::min(parenthesis + 1, revision.size()));
    unsigned long count = 0;
    std::from_chars(rest.data(), rest.data() + rest.size(), count);
    return {revision.substr(0, parenthesis), count};
}

} // namespace

bool isAtLeast(std::string_view revision, std::string_view wanted) {
    return revision == wanted || (!revision.empty() && parts(revision) >= parts(wanted));
}

bool waitUntilSaved(const std::string& path, std::string_view revision, Deadline deadline) {
    do {
        // The service replaces the file as a whole.
        const FileDescriptor file = openForReading(path, O_NONBLOCK);
        if (file.isOpen() && isAtLeast(revisionIn(file), revision)) {
            sync(file);
            const FileDescriptor folder =
                openForReading(std::filesystem::path(path).parent_path().string(), O_DIRECTORY);
            if (folder.isOpen()) {
                sync(folder);
            }
            return true;
        }
        std::this_thread::sleep_for(pauseForFile);
    } while (Clock::now() < deadline);
    return false;
}

} // namespace quenbrook::platform::evolution
