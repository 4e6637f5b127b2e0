#include "platform/vdir/FileReading.h"

#include "platform/vdir/Threads.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <utility>
#include <vector>

#include <sys/resource.h>

namespace quenbrook::platform::vdir {
namespace {

// How many files are handed over and how many a thread takes at a time; fewer towards the end, so
// that all threads end together.
constexpr std::size_t namedAtATime = 16;
constexpr std::size_t mostInShare = 8;
constexpr std::size_t sharesAhead = 32;

struct Share {
    std::array<FileToRead, mostInShare> files{};
    std::size_t count = 0;
    // Of the first one.
    std::size_t number = 0;
    // It was not there yet when it was asked for.
    bool cameLate = false;
};

// Deals out the files while they are being named, each of them once.
class FileQueue {
  public:
    void add(std::span<const FileToRead> files) {
        const std::lock_guard lock(mutex_);
        files_.insert(files_.end(), files.begin(), files.end());
        changed_.notify_all();
    }

    // There are no more.
    void complete() {
        const std::lock_guard lock(mutex_);
        isComplete_ = true;
        changed_.notify_all();
    }

    // Waits until there is a file. Nothing when all are dealt out.
    std::optional<Share> take() {
        std::unique_lock lock(mutex_);
        Share share;
        while (!isComplete_ && next_ == files_.size() && isWanted(next_)) {
            share.cameLate = true;
            changed_.wait(lock);
        }
        const std::size_t left = files_.size() - next_;
        if (left == 0 || !isWanted(next_)) {
            return std::nullopt;
        }
        share.number = next_;
        share.count = std::clamp<std::size_t>(left / sharesAhead, 1, mostInShare);
        std::copy_n(
            files_.begin() + static_cast<std::ptrdiff_t>(next_), share.count, share.files.begin());
        next_ += share.count;
        return share;
    }

    bool isWanted(std::size_t number) const { return number < end_; }

    // No file is wanted any more whose number is not below this one.
    void endAt(std::size_t end) {
        const std::lock_guard lock(mutex_);
        end_ = std::min<std::size_t>(end_, end);
        changed_.notify_all();
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<FileToRead> files_;
    std::size_t next_ = 0;
    bool isComplete_ = false;
    std::atomic<std::size_t> end_ = SIZE_MAX;
};

#ifdef RUSAGE_THREAD
constexpr bool countsWaits = true;
// How often the calling thread has waited for something since it began.
long waitsSoFar() {
    struct rusage usage = {};
    ::getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}
#else
constexpr bool countsWaits = false;
long waitsSoFar() {
    return 0;
}
#endif

// Tells from a few files at a time whether they come from memory or from a disk, from more of them
// the longer it does not change.
class DiskWatch {
  public:
    // To be asked after each file.
    bool hadToWait() {
        if (++files_ < nextLook_) {
            return false;
        }
        const long seen = std::exchange(filesSeen_, files_);
        const long before = std::exchange(waits_, waitsSoFar());
        nextLook_ = files_ + std::min(files_, most);
        // After the first few there is nothing yet to compare with.
        return seen > 0 && waits_ - before >= (files_ - seen) / 4;
    }

    // For waits that were not for a disk.
    void startAfresh() { *this = DiskWatch(); }

  private:
    static constexpr long fewest = 8;
    static constexpr long most = 64;

    long files_ = 0;
    long nextLook_ = fewest;
    long filesSeen_ = 0;
    long waits_ = 0;
};

class Reading {
  public:
    Reading(const ReadingThreads& threads, const FileVisit& visit)
        : limits_(threads)
        , atFirst_(threads.atFirst)
        , visit_(visit)
        , others_([this] { readShares([] {}); }) {}

    void run(const FileList& list) {
        std::vector<FileToRead> named;
        const auto handOver = [&] {
            queue_.add(named);
            count_ += named.size();
            named.clear();
            callOthers();
        };
        try {
            list([&](const FileToRead& file) {
                named.push_back(file);
                if (named.size() == namedAtATime) {
                    handOver();
                }
            });
            handOver();
        } catch (...) {
            queue_.endAt(0);
            throw;
        }
        queue_.complete();
        readShares([this] { callOthers(); });
        others_.join();
        readPostponed();
    }

  private:
    // Only from the thread that has made this.
    void callOthers() {
        const std::size_t most = std::min(count_ / limits_.filesForEach, limits_.most);
        if (most > 1) {
            others_.growTo((isSlow_ ? most : std::min(most, atFirst())) - 1);
        }
    }

    // To count the processors takes as long as to read a few files.
    std::size_t atFirst() {
        if (!atFirst_) {
            atFirst_ = std::max(1U, std::thread::hardware_concurrency());
        }
        return *atFirst_;
    }

    template <class AfterEach>
    void readShares(AfterEach afterEach) {
        FileReader reader(&largeFiles_);
        DiskWatch disk;
        try {
            while (const auto share = queue_.take()) {
                if (share->cameLate) {
                    disk.startAfresh();
                }
                for (std::size_t i = 0; i < share->count; ++i) {
                    read(share->files[i], share->number + i, reader);
                    isSlow_ = isSlow_ || disk.hadToWait();
                    afterEach();
                }
            }
        } catch (...) {
            queue_.endAt(0);
            throw;
        }
    }

    // When there are too many open files for one more it waits until it is alone.
    void read(const FileToRead& file, std::size_t number, FileReader& reader) {
        if (!queue_.isWanted(number)) {
            return;
        }
        errno = 0;
        const auto text = reader.read(*file.folder, *file.entry);
        if (text) {
            if (!visit_(number, *text)) {
                queue_.endAt(number);
            }
        } else if (errno == EMFILE || errno == ENFILE) {
            const std::lock_guard lock(postponing_);
            postponed_.emplace_back(number, file);
        }
    }

    // Alone, one descriptor is enough.
    void readPostponed() {
        FileReader reader;
        auto files = std::exchange(postponed_, {});
        std::sort(files.begin(), files.end(),
            [](const auto& left, const auto& right) { return left.first < right.first; });
        for (const auto& [number, file] : files) {
            read(file, number, reader);
        }
    }

    const ReadingThreads& limits_;
    std::optional<std::size_t> atFirst_;
    const FileVisit& visit_;
    FileQueue queue_;
    std::size_t count_ = 0;
    // Some thread has had to wait for a disk.
    std::atomic<bool> isSlow_ = !countsWaits;
    std::mutex largeFiles_;
    std::mutex postponing_;
    std::vector<std::pair<std::size_t, FileToRead>> postponed_;
    // The last, so that they end before the rest goes.
    Threads others_;
};

} // namespace

void readFiles(const FileList& list, const ReadingThreads& threads, const FileVisit& visit) {
    Reading(threads, visit).run(list);
}

} // namespace quenbrook::platform::vdir
