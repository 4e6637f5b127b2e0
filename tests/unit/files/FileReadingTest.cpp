#include "files/FileReading.h"

#include "tests/unit/files/EveryDescriptor.h"
#include "tests/unit/vdir/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <new>
#include <numeric>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace quenbrook::files {
namespace {

constexpr ReadingThreads manyThreads = {.most = 8, .filesForEach = 1};
constexpr ReadingThreads oneThread = {.most = 1, .filesForEach = 1};
// Does not come whole with one call.
constexpr std::size_t large = std::size_t{200} << 10;
// Far more than anything takes: what never comes is to fail, not to hang.
constexpr std::chrono::seconds timeout(60);

class FileReading : public testing::Test {
  protected:
    void write(std::size_t count, std::size_t size) {
        for (std::size_t i = 0; i < count; ++i) {
            const std::string number = std::to_string(entries_.size());
            files_.write(number, number + "\n" + std::string(size, 'x'));
            entries_.push_back({number, DirectoryEntry::Kind::file, false});
        }
    }

    std::vector<std::size_t> read(const ReadingThreads& threads, const FileVisit& visit) const {
        const Directory directory = files_.open();
        std::vector<FileToRead> files;
        for (const DirectoryEntry& entry : entries_) {
            files.push_back({&directory, &entry});
        }
        return readFiles(files, threads, visit);
    }

    test::Files files_;
    std::vector<DirectoryEntry> entries_;
};

TEST_F(FileReading, VisitsEachFileOnceWithItsOwnText) {
    write(300, 10);
    write(5, large);
    write(300, 10);
    for (const ReadingThreads& threads : {oneThread, manyThreads, ReadingThreads{}}) {
        std::mutex mutex;
        std::vector<std::size_t> visited;
        read(threads, [&](std::size_t index, std::string_view text) {
            EXPECT_EQ(text.substr(0, text.find('\n')), std::to_string(index));
            EXPECT_EQ(text.size() > large, index >= 300 && index < 305);
            const std::lock_guard lock(mutex);
            visited.push_back(index);
            return true;
        });
        std::sort(visited.begin(), visited.end());
        std::vector<std::size_t> all(entries_.size());
        std::iota(all.begin(), all.end(), 0U);
        EXPECT_EQ(visited, all);
    }
}

TEST_F(FileReading, TellsWhichFilesAreGone) {
    write(100, 10);
    entries_[7].name = "missing";
    entries_[70].name = "lost";
    std::atomic<int> visits = 0;
    const auto count = [&](std::size_t, std::string_view) {
        ++visits;
        return true;
    };
    EXPECT_EQ(read(manyThreads, count), (std::vector<std::size_t>{7, 70}));
    EXPECT_EQ(visits, 98);
}

TEST_F(FileReading, FailsWhenAFileCannotBeRead) {
    write(100, 10);
    const Directory directory = files_.open();
    std::vector<FileToRead> files;
    for (const DirectoryEntry& entry : entries_) {
        files.push_back({&directory, &entry});
    }
    const auto visit = [](std::size_t, std::string_view) { return true; };
    test::EveryDescriptor others;
    EXPECT_THROW(readFiles(files, manyThreads, visit), std::system_error);
    others.giveBack(1);
    EXPECT_EQ(readFiles(files, manyThreads, visit), std::vector<std::size_t>());
}

TEST_F(FileReading, StartsNoThreadForFewFiles) {
    write(2 * ReadingThreads{}.filesForEach - 1, 10);
    std::set<std::thread::id> threads;
    read({}, [&](std::size_t, std::string_view) {
        threads.insert(std::this_thread::get_id());
        return true;
    });
    EXPECT_EQ(threads, std::set{std::this_thread::get_id()});
}

TEST_F(FileReading, ReadsWithAsManyThreadsAsThereAreFilesFor) {
    write(1000, 10);
    std::mutex mutex;
    std::set<std::thread::id> threads;
    read({.most = 50, .filesForEach = 100}, [&](std::size_t, std::string_view) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const std::lock_guard lock(mutex);
        threads.insert(std::this_thread::get_id());
        return true;
    });
    EXPECT_EQ(threads.size(), 10U);
}

TEST_F(FileReading, VisitsOtherFilesWhileOneIsVisited) {
    write(2, 10);
    std::promise<void> other;
    read(manyThreads, [&](std::size_t index, std::string_view) {
        if (index == 1) {
            other.set_value();
        } else {
            EXPECT_EQ(other.get_future().wait_for(timeout), std::future_status::ready);
        }
        return true;
    });
}

TEST_F(FileReading, VisitsLargeFilesOneAtATime) {
    write(20, large);
    std::atomic<int> visits = 0;
    std::atomic<int> inside = 0;
    read(manyThreads, [&](std::size_t, std::string_view) {
        EXPECT_EQ(++inside, 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        --inside;
        ++visits;
        return true;
    });
    EXPECT_EQ(visits, 20);
}

TEST_F(FileReading, VisitsSmallFilesBesideALargeOne) {
    write(1, large);
    write(1, 10);
    std::promise<void> small;
    read(manyThreads, [&](std::size_t index, std::string_view) {
        if (index == 1) {
            small.set_value();
        } else {
            EXPECT_EQ(small.get_future().wait_for(timeout), std::future_status::ready);
        }
        return true;
    });
}

TEST_F(FileReading, VisitsAllBeforeTheFileThatIsTheLastWanted) {
    write(1000, 10);
    for (const ReadingThreads& threads : {oneThread, manyThreads}) {
        std::mutex mutex;
        std::set<std::size_t> visited;
        read(threads, [&](std::size_t index, std::string_view) {
            {
                const std::lock_guard lock(mutex);
                visited.insert(index);
            }
            // Leaves the others the time to run ahead, but not to the end.
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return index != 100;
        });
        for (std::size_t i = 0; i <= 100; ++i) {
            EXPECT_TRUE(visited.contains(i)) << i;
        }
        EXPECT_LT(visited.size(), entries_.size());
    }
}

TEST_F(FileReading, ThrowsWhatAVisitThrowsAndReadsNoFurther) {
    write(1000, 10);
    for (const ReadingThreads& threads : {oneThread, manyThreads}) {
        std::atomic<std::size_t> visits = 0;
        const auto visit = [&](std::size_t index, std::string_view) -> bool {
            ++visits;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (index == 50) {
                throw std::bad_alloc();
            }
            return true;
        };
        EXPECT_THROW(read(threads, visit), std::bad_alloc);
        EXPECT_LT(visits, entries_.size());
    }
}

} // namespace
} // namespace quenbrook::files
