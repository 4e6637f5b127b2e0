#include "stores/evolution/SavedFile.h"

#include "files/FileDescriptor.h"
#include "files/SystemCall.h"
#include "icalendar/DataRevision.h"

#include <array>
#include <charconv>
#include <filesystem>
#include <thread>
#include <tuple>

#include <fcntl.h>

namespace quenbrook::stores::evolution {
namespace {

// A small calendar is saved in less than a millisecond, one of 10,000 events in 70 at most.
constexpr std::chrono::microseconds pauseForFile{500};
// The revision stands before the first component.
constexpr std::size_t headSize = 1024;

files::FileDescriptor openForReading(const std::string& path, int flags) {
    return files::FileDescriptor(files::retryOnEintr(
        [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | flags); }));
}

// Empty when there is none.
std::string revisionIn(const files::FileDescriptor& file) {
    std::array<char, headSize> head{};
    const ssize_t count =
        files::retryOnEintr([&] { return ::pread(file.get(), head.data(), head.size(), 0); });
    const std::string_view text(head.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    return std::string(icalendar::dataRevision(text).value_or(""));
}

void sync(const files::FileDescriptor& file) {
    files::throwOnError("fsync", [&] { return ::fsync(file.get()); });
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
        const files::FileDescriptor file = openForReading(path, O_NONBLOCK);
        if (file.isOpen() && isAtLeast(revisionIn(file), revision)) {
            sync(file);
            const files::FileDescriptor directory =
                openForReading(std::filesystem::path(path).parent_path().string(), O_DIRECTORY);
            if (directory.isOpen()) {
                sync(directory);
            }
            return true;
        }
        std::this_thread::sleep_for(pauseForFile);
    } while (Clock::now() < deadline);
    return false;
}

} // namespace quenbrook::stores::evolution
