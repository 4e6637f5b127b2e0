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
#include <vector>

#include <sys/resource.h>

namespace quenbrook::platform::vdir {
namespace {

// How many files a thread takes at a time; fewer towards the end, so that all threads end together.
constexpr std::size_t mostInShare = 4;
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
    void add(const FileToRead& file) {
        const std::lock_guard lock(mutex_);
        files_.push_back(file);
        changed_.notify_one();
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

// How often the calling thread has waited for something since it began; nothing where the system
// does not count.
std::optional<long> waitsSoFar() {
#ifdef RUSAGE_THREAD
    struct rusage usage = {};
    if (::getrusage(RUSAGE_THREAD, &usage) == 0) {
        return usage.ru_nvcsw;
    }
#endif
    return std::nullopt;
}

// Tells from a few files at a time whether they come from memory or from a disk.
class DiskWatch {
  public:
    // To be asked after each file.
    bool hadToWait() {
        if (++files_ % filesAtATime != 0) {
            return false;
        }
        const long before = waits_;
        waits_ = waitsSoFar().value_or(before);
        return waits_ - before >= filesAtATime / 4;
    }

    // For waits that were not for a disk.
    void startAfresh() { *this = DiskWatch(); }

  private:
    static constexpr long filesAtATime = 16;

    long files_ = 0;
    long waits_ = waitsSoFar().value_or(0);
};

class Reading {
  public:
    Reading(const ReadingThreads& threads, const FileVisit& visit)
        : limits_(threads)
        , visit_(visit)
        , isSlow_(!waitsSoFar())
        , others_([this] { readShares([] {}); }) {}

    void run(const FileList& list) {
        try {
            list([this](const FileToRead& file) {
                queue_.add(file);
                ++count_;
                callOthers();
            });
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
        const std::size_t most = isSlow_ ? limits_.most : std::min(limits_.atFirst, limits_.most);
        others_.growTo(std::clamp<std::size_t>(count_ / limits_.filesForEach, 1, most) - 1);
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
            visit(number, *text);
        } else if (errno == EMFILE || errno == ENFILE) {
            const std::lock_guard lock(postponing_);
            postponed_.emplace_back(number, file);
        }
    }

    // Alone, one descriptor is enough.
    void readPostponed() {
        FileReader reader;
        std::sort(postponed_.begin(), postponed_.end(),
            [](const auto& left, const auto& right) { return left.first < right.first; });
        for (const auto& [number, file] : postponed_) {
            const auto text =
                queue_.isWanted(number) ? reader.read(*file.folder, *file.entry) : std::nullopt;
            if (text) {
                visit(number, *text);
            }
        }
    }

    void visit(std::size_t number, std::string_view text) {
        if (!visit_(number, text)) {
            queue_.endAt(number);
        }
    }

    const ReadingThreads& limits_;
    const FileVisit& visit_;
    FileQueue queue_;
    std::size_t count_ = 0;
    // Some thread has had to wait for a disk.
    std::atomic<bool> isSlow_;
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
