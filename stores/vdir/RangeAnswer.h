#pragma once

#include "icalendar/CalendarReader.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace quenbrook::stores::vdir {

// A file of a calendar, by the calendar's number in the answer and its own name.
using FileKey = std::pair<std::size_t, std::string>;

// What was found in each file for one answer, within a limit on what recurring events may add to
// it: files that each stay below theirs must not add up without end. In the order of their keys, of
// the first file that goes beyond the limit and of all behind it one occurrence of each event is
// kept. In whatever order the files come, the outcome is this one. Not thread-safe.
class RangeAnswer {
  public:
    // In bytes, reckoned like the limit on one file.
    static constexpr std::size_t maximumSize = std::size_t{256} << 20;

    explicit RangeAnswer(std::size_t limit = maximumSize)
        : limit_(limit) {}

    // Each key comes once.
    void add(FileKey key, std::vector<icalendar::FoundInstance> occurrences);

    // Takes a file out that is gone; does nothing when nothing was found in it.
    void remove(const FileKey& key);

    // Hands all over, by key.
    std::map<FileKey, std::vector<icalendar::FoundInstance>> take();

  private:
    struct File {
        std::vector<icalendar::FoundInstance> occurrences;
        // Of all but one occurrence of each event; none once these are gone.
        std::size_t added = 0;
    };
    using Files = std::map<FileKey, File>;

    void reduce(File& file);

    std::size_t limit_;
    std::size_t added_ = 0;
    Files files_;
    // The first that was reduced.
    std::optional<FileKey> firstReduced_;
};

} // namespace quenbrook::stores::vdir
