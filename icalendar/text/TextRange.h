#pragma once

#include <cstddef>

namespace quenbrook::icalendar {

// A stretch of bytes of a text: the byte at `end` is the first that is not in it.
struct TextRange {
    std::size_t begin = 0;
    std::size_t end = 0;
};

} // namespace quenbrook::icalendar
