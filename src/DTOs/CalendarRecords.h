#pragma once

#include "json/JsonRecord.h"

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
inline constexpr auto json::recordFields<CalendarInfoDTO> =
    std::tuple{json::field("id", &CalendarInfoDTO::id), json::field("name", &CalendarInfoDTO::name),
        json::field("writable", &CalendarInfoDTO::writable),
        json::field("source", &CalendarInfoDTO::source),
        json::field("sourceType", &CalendarInfoDTO::sourceType),
        json::field("color", &CalendarInfoDTO::color)};

struct ListCalendarsResponse {
    std::vector<CalendarInfoDTO> calendars;
};

template <>
inline constexpr auto json::recordFields<ListCalendarsResponse> =
    std::tuple{json::field("calendars", &ListCalendarsResponse::calendars)};

} // namespace quenbrook
