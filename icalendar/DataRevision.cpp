#include "icalendar/DataRevision.h"

namespace quenbrook::icalendar {

std::optional<std::string_view> dataRevision(std::string_view head) {
    constexpr std::string_view property = "\nX-EVOLUTION-DATA-REVISION:";
    const std::size_t place = head.find(property);
    if (place == std::string_view::npos) {
        return std::nullopt;
    }
    head.remove_prefix(place + property.size());
    const std::size_t end = head.find_first_of("\r\n");
    return end == std::string_view::npos ? std::nullopt : std::optional(head.substr(0, end));
}

} // namespace quenbrook::icalendar
