#include "platform/evolution/Session.h"

#include "platform/evolution/KeyFile.h"
#include "platform/evolution/Services.h"

#include <algorithm>

namespace quenbrook::platform::evolution {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// What all servers that hang may cost one run, and what the bus itself may take.
constexpr milliseconds patience{1500};
// The service starts with the first call, on a machine that may have just started itself.
constexpr seconds patienceWithRegistry{10};
// Nothing but this machine is in the way of an answer. Better late than without some events.
constexpr seconds patienceWithLocalCalendars{30};

constexpr const char* registryPath = "/org/gnome/evolution/dataserver/SourceManager";
constexpr const char* sourceInterface = "org.gnome.evolution.dataserver.Source";

Services services(Bus& bus) {
    const Deadline deadline = Clock::now() + patience;
    std::vector<std::string> names;
    for (const char* method : {"ListActivatableNames", "ListNames"}) {
        Message answer = bus.call(deadline, busItself, method);
        answer.readStrings([&](std::string_view name) { names.emplace_back(name); });
        if (auto found = findServices(names)) {
            return std::move(*found);
        }
    }
    throw BusError(DBUS_ERROR_SERVICE_UNKNOWN);
}

// Reads the properties of one interface of an object; nothing unless it is that of a source.
std::optional<SourceText> readSource(Message& answer, std::string_view interface) {
    if (interface != sourceInterface) {
        answer.skip();
        return std::nullopt;
    }
    SourceText source;
    answer.readDictionary([&] {
        const std::string_view name = answer.readString();
        const auto value = answer.readVariantString();
        if (value && name == "UID") {
            source.uid = *value;
        } else if (value && name == "Data") {
            source.data = *value;
        }
    });
    return source;
}

std::vector<SourceText> sources(Bus& bus, const std::string& registry) {
    Message answer = bus.call(Clock::now() + patienceWithRegistry,
        {registry, registryPath, "org.freedesktop.DBus.ObjectManager"}, "GetManagedObjects");
    std::vector<SourceText> found;
    answer.readDictionary([&] {
        answer.readObjectPath();
        answer.readDictionary([&] {
            if (auto source = readSource(answer, answer.readString())) {
                found.push_back(std::move(*source));
            }
        });
    });
    return found;
}

} // namespace

Session::Session()
    : patienceLeft_(patience) {
    const Services found = services(bus_);
    for (CalendarSource& source : calendarSources(sources(bus_, found.registry), userLanguages())) {
        calendars_.push_back(
            std::make_unique<FactoryCalendar>(bus_, found.factory, std::move(source)));
    }
}

FactoryCalendar* Session::calendar(std::string_view identifier) const {
    const auto found = std::find_if(calendars_.begin(), calendars_.end(),
        [&](const auto& each) { return each->identifier() == identifier; });
    return found == calendars_.end() ? nullptr : found->get();
}

void Session::open(std::span<FactoryCalendar* const> calendars) {
    std::vector<Undertaking> undertakings;
    for (FactoryCalendar* calendar : calendars) {
        calendar->open();
        undertakings.push_back({calendar, [calendar] { return calendar->isSettled(); }});
    }
    wait(undertakings);
}

void Session::wait(std::span<const Undertaking> undertakings) {
    const auto areDone = [&](bool remoteOnesToo) {
        return std::all_of(undertakings.begin(), undertakings.end(), [&](const Undertaking& each) {
            return (each.calendar->source().isRemote && !remoteOnesToo) || each.isDone();
        });
    };
    const bool isComplete =
        bus_.serveUntil(Clock::now() + patienceWithLocalCalendars, [&] { return areDone(false); });
    if (!isComplete) {
        throw BusError(DBUS_ERROR_TIMEOUT);
    }
    const auto start = Clock::now();
    if (bus_.serveUntil(start + patienceLeft_, [&] { return areDone(true); })) {
        return;
    }
    patienceLeft_ = std::max(patienceLeft_ - (Clock::now() - start), Clock::duration::zero());
    for (const Undertaking& each : undertakings) {
        if (!each.isDone()) {
            each.calendar->giveUp();
        }
    }
}

Deadline Session::readingDeadline(const FactoryCalendar& calendar) const {
    return Clock::now() + (calendar.source().isRemote
                                  ? patienceLeft_
                                  : Clock::duration(patienceWithLocalCalendars));
}

} // namespace quenbrook::platform::evolution
