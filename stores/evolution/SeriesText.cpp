#include "stores/evolution/SeriesText.h"

#include "icalendar/YearlyRules.h"
#include "stores/evolution/LibicalValues.h"
#include "stores/evolution/Zones.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace quenbrook::stores::evolution {
namespace {

using icalendar::EventText;

// What a change befalls: one event or exception; one exception, the series being left as it is; or
// all of them.
constexpr const char* justThis = "this";
constexpr const char* onlyThis = "only-this";
constexpr const char* allOfThem = "all";

// Refuse what the server has changed meanwhile.
constexpr std::uint32_t failOnConflict = 1;
constexpr std::uint32_t overwrite = 0;

constexpr std::string_view notFoundError =
    "org.gtk.GDBus.UnmappedGError.Quark._e_2dcal_2dclient_2derror_2dquark.Code1";
constexpr std::string_view outOfSyncError =
    "org.gtk.GDBus.UnmappedGError.Quark._e_2dclient_2derror_2dquark.Code21";

// How long the service may take to fetch what its server has, and how often it is asked.
constexpr std::chrono::seconds timeoutOfServer{2};
constexpr std::chrono::milliseconds pauseForServer{20};

using UidAndRecurrenceId = std::pair<std::string, std::string>;

bool isIn(const std::vector<EventText>& events, const EventText& wanted, bool withSameText) {
    return std::any_of(events.begin(), events.end(), [&](const EventText& each) {
        return each.recurrenceId == wanted.recurrenceId &&
               (!withSameText || each.text == wanted.text);
    });
}

} // namespace

bool isConflict(const BusError& error) {
    return error.name() == outOfSyncError;
}

SeriesText::SeriesText(std::string uid, std::string stream, std::vector<std::string> ownZones)
    : uid_(std::move(uid))
    , stream_(std::move(stream))
    , ownZones_(std::move(ownZones)) {}

std::optional<SeriesText> SeriesText::read(
    FactoryCalendar& calendar, const std::string& uid, Deadline deadline) {
    icalendar::StreamAssembly components;
    try {
        Message answer = calendar.read(deadline, "GetObject", uid, "");
        const std::string_view text = answer.readString();
        components.add(calendar.source().isBirthdays
                           ? icalendar::withYearlyRulesInMonthOfStart(text)
                           : std::string(text));
    } catch (const BusError& error) {
        // Who cannot look has not said that there is no such event.
        if (error.name() != notFoundError) {
            throw;
        }
        return std::nullopt;
    }
    std::vector<std::string> ownZones;
    for (const std::string& name : zonesToFetch(components)) {
        try {
            ownZones.emplace_back(calendar.read(deadline, "GetTimezone", name).readString());
        } catch (const BusError& error) {
            // A zone that nobody knows.
            if (error.isUnanswered()) {
                throw;
            }
        }
    }
    for (const std::string& zone : ownZones) {
        components.add(zone);
    }
    return SeriesText(uid, components.stream(), std::move(ownZones));
}

void SeriesText::replace(CalendarWrite& write, const std::string& changed, Dropped dropping) const {
    const auto before = icalendar::eventTexts(stream_, uid_, valueForLibical);
    const auto after = icalendar::eventTexts(changed, uid_, valueForLibical);
    if (after.empty()) {
        const std::vector<UidAndRecurrenceId> whole{{uid_, {}}};
        write.call("RemoveObjects", whole, allOfThem, failOnConflict);
        return;
    }
    std::vector<std::string> written;
    for (const EventText& event : after) {
        if (!isIn(before, event, true)) {
            written.push_back(event.text);
        }
    }
    std::vector<UidAndRecurrenceId> dropped;
    for (const EventText& event : before) {
        if (!isIn(after, event, false)) {
            dropped.emplace_back(uid_, event.recurrenceId);
        }
    }
    // The series first: with an occurrence excluded it stands until its exception is gone too, in
    // the other order the occurrence would be back as it was before the exception.
    if (!written.empty()) {
        defineZones(write.calendar(), write.deadline());
        write.call("ModifyObjects", written, justThis, failOnConflict);
    }
    if (dropped.empty()) {
        return;
    }
    // What changes a series on a server changes the excluded dates of the series too when it drops
    // an exception: it takes the date out, unless it is told to exclude it itself, and excludes the
    // first one where there is none. In the one case it is told, in the other the series is put
    // right, over nobody else's change: that of a moment ago would have been a conflict.
    const bool isRemote = write.calendar().source().isRemote;
    const bool excludesItself = isRemote && dropping == Dropped::excluded;
    write.call("RemoveObjects", dropped, excludesItself ? justThis : onlyThis, failOnConflict);
    if (isRemote && !excludesItself && !written.empty()) {
        write.call("ModifyObjects", written, justThis, overwrite);
    }
}

void SeriesText::awaitOther(FactoryCalendar& calendar, Deadline deadline) const {
    const Deadline end = std::min(deadline, Clock::now() + timeoutOfServer);
    calendar.call(end, "Refresh");
    while (Clock::now() < end) {
        const auto present = read(calendar, uid_, end);
        if (!present || present->stream() != stream_) {
            return;
        }
        std::this_thread::sleep_for(pauseForServer);
    }
}

void SeriesText::defineZones(const FactoryCalendar& calendar, Deadline deadline) const {
    for (const std::string& zone : ownZones_) {
        calendar.call(deadline, "AddTimezone", zone);
    }
}

void createEvent(CalendarWrite& write, const std::string& event) {
    write.call("CreateObjects", std::vector{event}, failOnConflict);
}

} // namespace quenbrook::stores::evolution
