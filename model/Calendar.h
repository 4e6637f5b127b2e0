#pragma once

#include "model/PlatformNumbers.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace quenbrook::model {

// The account that holds a calendar.
struct Source {
    std::string title;
    // A SourceType or another number.
    std::int64_t type = SourceType::local;

    bool operator==(const Source&) const = default;
};

// Red, green and blue in sRGB, nominally 0 to 1; an extended-range colour may lie outside.
using Color = std::array<double, 3>;

struct Calendar {
    std::string identifier;
    std::string title;
    bool allowsContentModifications = false;
    std::optional<Source> source;
    std::optional<Color> color;

    bool operator==(const Calendar&) const = default;
};

} // namespace quenbrook::model
