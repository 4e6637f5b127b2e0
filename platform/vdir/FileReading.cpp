#include "platform/vdir/FileReading.h"

#include "platform/vdir/Threads.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <optional>
#include <vector>

namespace quenbrook::platform::vdir {
namespace {

// Deals the numbers from 0 up to an end out to several threads, each of them once.
class Numbers {
  public:
    explicit Numbers(std::size_t end)
        : end_(end) {}

    std::optional<std::size_t> next() {
        const std::size_t number = next_.fetch_add(1, std::memory_order_relaxed);
        return isWanted(number) ? std::optional(number) : std::nullopt;
    }

    bool isWanted(std::size_t number) const {
        return number < end_.load(std::memory_order_relaxed);
    }

    // Deals no number out any more that is not below this one.
    void endAt(std::size_t end) {
        std::size_t before = end_.load(std::memory_order_relaxed);
        while (end < before && !end_.compare_exchange_weak(before, end)) {
        }
    }

  private:
    std::atomic<std::size_t> next_{0};
    std::atomic<std::size_t> end_;
};

class Reading {
  public:
    Reading(std::span<const FileToRead> files, const FileVisit& visit)
        : files_(files)
        , visit_(visit)
        , numbers_(files.size()) {}

    void run(std::size_t threads) {
        callFromThreads(threads, [this] { readNumbers(); });
        readPostponed();
    }

  private:
    void readNumbers() {
        FileReader reader(&largeFiles_);
        try {
            while (const auto number = numbers_.next()) {
                if (!read(*number, reader)) {
                    const std::lock_guard lock(postponing_);
                    postponed_.push_back(*number);
                }
            }
        } catch (...) {
            numbers_.endAt(0);
            throw;
        }
    }

    // Alone, one descriptor is enough.
    void readPostponed() {
        FileReader reader;
        std::sort(postponed_.begin(), postponed_.end());
        for (const std::size_t number : postponed_) {
            if (numbers_.isWanted(number)) {
                read(number, reader);
            }
        }
    }

    // False when there were too many open files for one more.
    bool read(std::size_t number, FileReader& reader) {
        errno = 0;
        const auto text = reader.read(*files_[number].folder, *files_[number].entry);
        if (!text) {
            return errno != EMFILE && errno != ENFILE;
        }
        if (!visit_(number, *text)) {
            numbers_.endAt(number);
        }
        return true;
    }

    std::span<const FileToRead> files_;
    const FileVisit& visit_;
    Numbers numbers_;
    std::mutex largeFiles_;
    std::mutex postponing_;
    std::vector<std::size_t> postponed_;
};

} // namespace

void readFiles(
    std::span<const FileToRead> files, const ReadingThreads& threads, const FileVisit& visit) {
    Reading(files, visit)
        .run(std::clamp<std::size_t>(files.size() / threads.filesForEach, 1, threads.most));
}

} // namespace quenbrook::platform::vdir
