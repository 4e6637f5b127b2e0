#include "src/DTOs/CalendarMapping.h"
#include "src/EventStoreClient.h"

#include <utility>

namespace quenbrook {

std::vector<CalendarInfoDTO> EventStoreClient::listCalendars() {
    std::vector<model::Calendar> calendars = store_->calendars();
    std::vector<CalendarInfoDTO> listed;
    listed.reserve(calendars.size());
    for (model::Calendar& calendar : calendars) {
        listed.push_back(mapCalendar(std::move(calendar)));
    }
    return listed;
}

} // namespace quenbrook
