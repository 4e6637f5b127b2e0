#include "files/FileReading.h"

#include "files/SystemCall.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <sys/resource.h>

namespace quenbrook::files {
namespace {

// Each arena takes 64 MiB of the address space, which may be limited, and keeps what was freed in
// it to itself.
[[maybe_unused]] constexpr int mostArenas = 3;

// What the limit says a thread's stack is to be.
constexpr rlim_t smallestStack = rlim_t{512} << 10;

bool hasRoomForStacks() {
    struct rlimit stack = {};
    return ::getrlimit(RLIMIT_STACK, &stack) != 0 || stack.rlim_cur >= smallestStack;
}

class Reading {
  public:
    Reading(std::span<const FileToRead> files, const FileVisit& visit)
        : files_(files)
        , visit_(visit)
        , end_(files.size()) {}

    std::vector<std::size_t> run(const ReadingThreads& limits) {
        const std::size_t count = std::min(files_.size() / limits.filesForEach, limits.most);
        if (count > 1 && hasRoomForStacks()) {
            start(count - 1);
        }
        work();
        for (std::thread& other : others_) {
            other.join();
        }
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        readPostponed();
        std::sort(gone_.begin(), gone_.end());
        return std::move(gone_);
    }

  private:
    // What the system does not let start is done without.
    void start(std::size_t count) {
#ifdef __GLIBC__
        ::mallopt(M_ARENA_MAX, mostArenas);
#endif
        others_.reserve(count);
        try {
            while (others_.size() < count) {
                others_.emplace_back([this] { work(); });
            }
        } catch (const std::system_error&) {
        }
    }

    // An exception must not leave a thread.
    void work() noexcept {
        try {
            FileReader reader(&largeFiles_);
            for (std::size_t i = next_++; i < end_; i = next_++) {
                readUnlessTooManyAreOpen(i, reader);
            }
        } catch (...) {
            const std::lock_guard lock(mutex_);
            failure_ = std::current_exception();
            end_ = 0;
        }
    }

    void readUnlessTooManyAreOpen(std::size_t number, FileReader& reader) {
        try {
            read(number, reader);
        } catch (const std::system_error& error) {
            if (!isWantOfDescriptors(error)) {
                throw;
            }
            const std::lock_guard lock(mutex_);
            postponed_.push_back(number);
        }
    }

    void read(std::size_t number, FileReader& reader) {
        const FileToRead& file = files_[number];
        if (const auto text = reader.read(*file.directory, *file.entry)) {
            if (!visit_(number, *text)) {
                endAt(number);
            }
        } else if (reader.isGone()) {
            const std::lock_guard lock(mutex_);
            gone_.push_back(number);
        }
    }

    // No file is wanted any more whose number is not below this one.
    void endAt(std::size_t number) {
        const std::lock_guard lock(mutex_);
        end_ = std::min<std::size_t>(end_, number);
    }

    // Alone, one descriptor is enough.
    void readPostponed() {
        FileReader reader;
        std::sort(postponed_.begin(), postponed_.end());
        for (const std::size_t number : postponed_) {
            if (number < end_) {
                read(number, reader);
            }
        }
    }

    std::span<const FileToRead> files_;
    const FileVisit& visit_;
    std::atomic<std::size_t> next_ = 0;
    std::atomic<std::size_t> end_;
    std::mutex largeFiles_;
    // Of what follows.
    std::mutex mutex_;
    std::vector<std::size_t> postponed_;
    std::vector<std::size_t> gone_;
    std::exception_ptr failure_;
    std::vector<std::thread> others_;
};

} // namespace

std::vector<std::size_t> readFiles(
    std::span<const FileToRead> files, const ReadingThreads& threads, const FileVisit& visit) {
    return Reading(files, visit).run(threads);
}

} // namespace quenbrook::files
