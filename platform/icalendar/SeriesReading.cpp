#include "platform/icalendar/SeriesReading.h"

namespace quenbrook::platform::icalendar {

std::unique_ptr<const Series> readSeries(
    std::string_view text, std::span<const EventSummary* const> summaries, TimeZones& zones) {
    std::vector<EventComponent> components;
    for (const EventSummary* summary : summaries) {
        if (auto component = readEventComponent(text, summary->range, zones))
            components.push_back(std::move(*component));
    }
    if (components.empty())
        return nullptr;
    return std::make_unique<const Series>(std::move(components));
}

std::unique_ptr<const Series> readSeriesOf(
    std::string_view text, const Outline& outline, std::string_view uid, TimeZones& zones) {
    std::vector<const EventSummary*> summaries;
    for (const EventSummary& event : outline.events) {
        if (event.uid == uid)
            summaries.push_back(&event);
    }
    return readSeries(text, summaries, zones);
}

} // namespace quenbrook::platform::icalendar
