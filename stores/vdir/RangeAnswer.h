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
    // In bytes, reckoned like the limit on one file.
    std::size_t size = std::size_t{256} << 20;
    // Of files that take more than modest steps.
    std::int64_t steps = 400'000'000;
};

// What was found in each file for one answer, within limits on what recurring events may add to
// it, and may take to be found: files that each stay below theirs must not add up without end. In
// the order of their keys, of the first file that goes beyond a limit and of all behind it one
// occurrence of each event is kept. Files whose rules take many steps have limits of their own, and
// do nothing to the others. In whatever order the files come, the outcome is this one. Not
// thread-safe.
class RangeAnswer {
  public:
    explicit RangeAnswer(const RangeLimits& limits = {})
        : limits_(limits) {}

    // Whether this file is within the limits so far if it takes more than modest steps. If not, all
    // that matters is whether it does.
    bool mayBeCostly(const FileKey& key) const { return !isBeyond(costly_, key); }

    // Each key comes once. Of what takes more than modest steps `firsts` are kept beyond a limit.
    void add(FileKey key, icalendar::FoundInstances found,
        std::vector<icalendar::FoundInstance> firsts = {});

    // Forgets a file that is gone. No error when it was never added.
    void remove(const FileKey& key);

    // Hands all over, by key.
    std::map<FileKey, std::vector<icalendar::FoundInstance>> take();

  private:
    struct File {
        std::vector<icalendar::FoundInstance> occurrences;
        std::vector<icalendar::FoundInstance> firsts;
        bool isCostly = false;
        // Of all but one occurrence of each event; none once these are gone.
        std::size_t added = 0;
        // Of a costly one; none once it is reduced.
        std::int64_t steps = 0;
    };
    // All files that are costly, or all that are not.
    struct Kind {
        std::size_t added = 0;
        std::int64_t steps = 0;
        // The first that was reduced.
        std::optional<FileKey> firstReduced;
    };

    static bool isBeyond(const Kind& kind, const FileKey& key) {
        return kind.firstReduced && key > *kind.firstReduced;
    }
    static void reduce(File& file);
    Kind& kindOf(const File& file) { return file.isCostly ? costly_ : modest_; }

    RangeLimits limits_;
    std::map<FileKey, File> files_;
    Kind modest_;
    Kind costly_;
};

} // namespace quenbrook::stores::vdir
