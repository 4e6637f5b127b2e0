#pragma once

#include "platform/icalendar/Outline.h"
#include "platform/icalendar/Series.h"

#include <memory>
#include <span>
#include <string_view>

namespace quenbrook::platform::icalendar {

// Reads the components of one UID out of a text; null when none of them is an event.
std::unique_ptr<const Series> readSeries(
    std::string_view text, std::span<const EventSummary* const> summaries, TimeZones& zones);

// The same by UID, searched for in an outline of the text.
std::unique_ptr<const Series> readSeriesOf(
    std::string_view text, const Outline& outline, std::string_view uid, TimeZones& zones);

} // namespace quenbrook::platform::icalendar
