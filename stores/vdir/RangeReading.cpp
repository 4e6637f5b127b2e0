#include "stores/vdir/RangeReading.h"

#include "files/SystemCall.h"
#include "stores/vdir/EventFiles.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <iterator>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

namespace quenbrook::stores::vdir {
namespace {

using icalendar::FoundInstance;

// How many calendars are read together, each with a descriptor of its own.
constexpr std::size_t directoriesTogether = 64;

// Reads calendars in batches, each of them listed at once and read together.
class RangeReading {
  public:
    RangeReading(const files::Directory& root, const icalendar::RangeQuery& query,
        const files::ReadingThreads& threads)
        : root_(root)
        , query_(query)
        , threads_(threads) {}

    void add(std::size_t number, const CalendarDirectory& calendar) {
        if (files_.size() == directoriesTogether) {
            readBatch();
        }
        try {
            open(number, calendar);
        } catch (const std::system_error& error) {
            // There may be too many open directories for one more.
            if (!files::isWantOfDescriptors(error) || files_.empty()) {
                throw;
            }
            opened_.erase(opened_.begin() + std::ssize(files_), opened_.end());
            readBatch();
            open(number, calendar);
        }
    }

    std::map<FileKey, std::vector<FoundInstance>> finish() {
        readBatch();
        return answer_.take();
    }

  private:
    void open(std::size_t number, const CalendarDirectory& calendar) {
        if (auto directory = root_.openDirectory(calendar.path)) {
            files_.emplace_back(opened_.emplace_back(std::move(*directory)));
            numbers_.push_back(number);
        }
    }

    void readBatch() {
        readEventFiles(
            files_, threads_,
            [this](std::size_t directory, const std::string& name, std::string_view text) {
                visit({numbers_[directory], name}, text);
                return true;
            },
            [this](std::size_t directory, const std::string& name) {
                answer_.remove({numbers_[directory], name});
            });
        files_.clear();
        numbers_.clear();
        opened_.clear();
    }

    void visit(FileKey key, std::string_view text) {
        auto found = query_.instancesOfModestSteps(text);
        const bool isCostly = found.steps >= icalendar::RangeQuery::modestSteps;
        std::vector<FoundInstance> firsts;
        if (isCostly) {
            std::copy_if(found.instances.begin(), found.instances.end(), std::back_inserter(firsts),
                std::mem_fn(&FoundInstance::isFirst));
            if (mayBeCostly(key)) {
                found = query_.instancesIn(text);
            }
        }
        if (isCostly || !found.instances.empty()) {
            const std::lock_guard lock(answering_);
            answer_.add(std::move(key), std::move(found), std::move(firsts));
        }
    }

    bool mayBeCostly(const FileKey& key) {
        const std::lock_guard lock(answering_);
        return answer_.mayBeCostly(key);
    }

    const files::Directory& root_;
    const icalendar::RangeQuery& query_;
    files::ReadingThreads threads_;
    // Its elements stay where they are.
    std::deque<files::Directory> opened_;
    std::vector<EventFiles> files_;
    std::vector<std::size_t> numbers_;
    std::mutex answering_;
    RangeAnswer answer_;
};

} // namespace

std::map<FileKey, std::vector<FoundInstance>> readRange(const files::Directory& root,
    std::span<const CalendarDirectory> calendars, const icalendar::RangeQuery& query,
    const files::ReadingThreads& threads) {
    RangeReading reading(root, query, threads);
    for (std::size_t i = 0; i < calendars.size(); ++i) {
        reading.add(i, calendars[i]);
    }
    return reading.finish();
}

} // namespace quenbrook::stores::vdir
