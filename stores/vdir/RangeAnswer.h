#pragma once

#include "icalendar/CalendarReader.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quenbrook::stores::vdir {

// A file of a calendar, by the calendar's number in the answer and its own name.
using FileKey = std::pair<std::size_t, std::string>;

// What all files may add up to.
struct RangeLimits {
    // Of what recurs, and of large events, each; in bytes, reckoned as FoundEvent::size is.
    std::size_t size = std::size_t{256} << 20;
    // Of costly files.
    std::int64_t steps = 400'000'000;
};

// A limit that files share in the order of their keys. The first file with which the sum goes
// beyond it is beyond it, and so are all behind that file. In whatever order they come, the outcome
// is this one. Not thread-safe.
class SharedLimit {
  public:
    explicit SharedLimit(std::int64_t limit)
        : limit_(limit) {}

    bool isBeyond(const FileKey& key) const { return firstBeyond_ && key >= *firstBeyond_; }

    // Each key comes once. Returns the files that are beyond the limit now and were not before.
    std::vector<FileKey> add(const FileKey& key, std::int64_t amount);

    // Forgets a file that is gone. No error when it was never added.
    void remove(const FileKey& key);

  private:
    std::int64_t limit_;
    std::int64_t sum_ = 0;
    // Of those that are not beyond it, and add to it.
    std::map<FileKey, std::int64_t> amounts_;
    std::optional<FileKey> firstBeyond_;
};

// What was found in each file for one answer, within limits on what recurring and large events may
// add to it, and may take to be found: files that each stay below theirs must not add up without
// end. Of a file beyond the limit on recurring events the first occurrence of each is kept, of one
// beyond the limit on large events all others. Files whose rules take many steps are costly: these
// have limits of their own, beyond which the first occurrence of each event that is not large is
// kept, and do nothing to the others. Not thread-safe.
class RangeAnswer {
  public:
    explicit RangeAnswer(const RangeLimits& limits = {});

    // Whether this file is within the limits so far if it takes more than modest steps. If not, all
    // that matters is whether it does.
    bool mayBeCostly(const FileKey& key) const {
        return !costlySize_.isBeyond(key) && !costlySteps_.isBeyond(key);
    }

    // Each key comes once. `firsts` are what modest steps find of a costly file.
    void add(FileKey key, icalendar::FoundInstances found,
        std::vector<icalendar::FoundInstance> firsts = {});

    // Forgets a file that is gone. No error when it was never added.
    void remove(const FileKey& key);

    // Hands all over, by key.
    std::map<FileKey, std::vector<icalendar::FoundInstance>> take();

  private:
    using Occurrences = std::vector<icalendar::FoundInstance>;

    void fallBack(const std::vector<FileKey>& beyond);
    void drop(
        const std::vector<FileKey>& beyond, bool (*isDropped)(const icalendar::FoundInstance&));

    std::map<FileKey, Occurrences> files_;
    // What is kept of the costly ones that are within their limits so far, beyond these.
    std::map<FileKey, Occurrences> firsts_;
    // Of all occurrences but the first of each event.
    SharedLimit size_;
    // Of the first occurrence of each large event.
    SharedLimit largeSize_;
    // Of both together, of the costly files.
    SharedLimit costlySize_;
    SharedLimit costlySteps_;
};

} // namespace quenbrook::stores::vdir
