#pragma once

#include "platform/JsonRecord.h"

#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace quenbrook {

struct CalendarInfoDTO {
    std::string id;
    std::string name;
    bool writable = false;
    // The title of the account that holds the calendar; absent, as is its type, when there is none.
    std::optional<std::string> source;
    // local, exchange, caldav, subscription, birthdays or unknown.
    std::optional<std::string> sourceType;
    // `#RRGGBB` in upper case, sRGB.
    std::optional<std::string> color;
};

template <>
inline constexpr auto platform::recordFields<CalendarInfoDTO> = std::tuple{
    platform::field("id", &CalendarInfoDTO::id), platform::field("name", &CalendarInfoDTO::name),
    platform::field("writable", &CalendarInfoDTO::writable),
    platform::field("source", &CalendarInfoDTO::source),
    platform::field("sourceType", &CalendarInfoDTO::sourceType),
    platform::field("color", &CalendarInfoDTO::color)};

struct ListCalendarsResponse {
    std::vector<CalendarInfoDTO> calendars;
};

template <>
inline constexpr auto platform::recordFields<ListCalendarsResponse> =
    std::tuple{platform::field("calendars", &ListCalendarsResponse::calendars)};

} // namespace quenbrook
