#include "src/Subcommands.h"

#include "src/DecodeStdin.h"
#include "src/WriteJSON.h"

#include <algorithm>
#include <array>

namespace quenbrook {
namespace {

void listCalendars(EventStoreClient& client, std::string_view, const Streams& streams) {
    writeJSON(streams, ListCalendarsResponse{client.listCalendars()});
}

void listEvents(EventStoreClient& client, std::string_view input, const Streams& streams) {
    const auto request = decodeStdin<ListEventsRequest>(input);
    json::JsonListWriter<ListEventsResponse> answer;
    client.listEvents(request.startISO, request.endISO, request.calendarIds,
        [&](const EventInfoDTO& event) { encoding([&] { answer.append(event); }); });
    streams.writeOutput(lineOf([&] { return answer.take(); }));
}

template <class Request, auto operation>
void answer(EventStoreClient& client, std::string_view input, const Streams& streams) {
    writeJSON(streams, (client.*operation)(decodeStdin<Request>(input)));
}

constexpr std::array<Subcommand, 7> table = {{
    {"list-calendars", listCalendars},
    {"list-events", listEvents},
    {"create-event", answer<CreateEventRequest, &EventStoreClient::createEvent>},
    {"update-event", answer<UpdateEventRequest, &EventStoreClient::updateEvent>},
    {"cancel-event", answer<CancelEventRequest, &EventStoreClient::cancelEvent>},
    {"get-event", answer<GetEventRequest, &EventStoreClient::getEvent>},
    {"get-attendee-status", answer<GetAttendeeStatusRequest, &EventStoreClient::getAttendeeStatus>},
}};

} // namespace

std::span<const Subcommand> subcommands() {
    return table;
}

const Subcommand* findSubcommand(std::string_view word) {
    const auto* const row = std::find_if(
        table.begin(), table.end(), [word](const Subcommand& each) { return each.word == word; });
    return row == table.end() ? nullptr : row;
}

} // namespace quenbrook
