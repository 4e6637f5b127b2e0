#include "stores/evolution/Session.h"

#include "stores/evolution/Birthdays.h"
#include "stores/evolution/Credentials.h"
#include "stores/evolution/KeyFile.h"
#include "stores/evolution/Services.h"

#include <algorithm>

namespace quenbrook::stores::evolution {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// What all servers that hang may cost one run, what the bus itself may take, and what the service
// may take to make birthdays of the contacts. 0.3 s were seen.
constexpr milliseconds timeout{1500};
// The service starts with the first call, on a machine that may have just started itself.
constexpr seconds timeoutOfRegistry{10};
// Nothing but this machine is in the way of an answer. Better late than without some events.
constexpr seconds timeoutOfLocalCalendars{30};
// All that finding one event and changing it may take, its turn included.
constexpr seconds timeoutOfOneEvent{10};

constexpr const char* registryPath = "/org/gnome/evolution/dataserver/SourceManager";
constexpr const char* sourceInterface = "org.gnome.evolution.dataserver.Source";

Services services(Bus& bus) {
    const Deadline deadline = Clock::now() + timeout;
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

// Reads the properties of one interface of an object. Returns nullopt unless it is that of a
// source.
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

// A registry that goes away while it is asked, for it is being upgraded say, is started anew.
Message askRegistry(Bus& bus, const std::string& registry) {
    const Deadline deadline = Clock::now() + timeoutOfRegistry;
    const Target manager{registry, registryPath, "org.freedesktop.DBus.ObjectManager"};
    try {
        return bus.call(deadline, manager, "GetManagedObjects");
    } catch (const BusError& error) {
        if (!error.isServiceLost()) {
            throw;
        }
    }
    return bus.call(deadline, manager, "GetManagedObjects");
}

std::vector<SourceText> sources(Bus& bus, const std::string& registry) {
    Message answer = askRegistry(bus, registry);
    std::vector<SourceText> found;
    answer.readDictionary([&] {
        const std::string_view path = answer.readObjectPath();
        answer.readDictionary([&] {
            if (auto source = readSource(answer, answer.readString())) {
                source->path = path;
                found.push_back(std::move(*source));
            }
        });
    });
    return found;
}

} // namespace

Session::Session()
    : serverBudget_(timeout)
    , eventBudget_(timeoutOfOneEvent) {
    const Services found = services(bus_);
    registry_ = found.registry;
    addressBooks_ = found.addressBooks;
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

void Session::open(FactoryCalendar& calendar) {
    calendar.open();
    const Undertaking opening{&calendar, [&calendar] { return calendar.isSettled(); }};
    eventBudget_.spend([&] { wait(std::span(&opening, 1), eventBudget_.deadline()); });
}

void Session::wait(std::span<const Undertaking> undertakings) {
    wait(undertakings, Clock::now() + timeoutOfLocalCalendars);
}

void Session::wait(std::span<const Undertaking> undertakings, Deadline deadline) {
    const auto areDone = [&](bool remoteOnesToo) {
        return std::all_of(undertakings.begin(), undertakings.end(), [&](const Undertaking& each) {
            return (each.calendar->source().isRemote && !remoteOnesToo) || each.isDone();
        });
    };
    if (!bus_.serveUntil(deadline, [&] { return areDone(false); })) {
        throw BusError(DBUS_ERROR_TIMEOUT);
    }
    const bool isComplete = serverBudget_.spend(
        [&] { return bus_.serveUntil(serverBudget_.deadline(), [&] { return areDone(true); }); });
    if (isComplete) {
        return;
    }
    for (const Undertaking& each : undertakings) {
        if (!each.isDone()) {
            each.calendar->giveUp();
        }
    }
}

void Session::checkCredentials(const CalendarWrite& write) {
    const CalendarSource& source = write.calendar().source();
    if (source.isRemote) {
        evolution::checkCredentials(
            bus_, {registry_, source.path, sourceInterface}, write.deadline());
    }
}

bool Session::awaitBirthdays(FactoryCalendar& calendar) {
    return !addressBooks_ ||
           evolution::awaitBirthdays(bus_, *addressBooks_, calendar, Clock::now() + timeout);
}

TimeBudget& Session::readingBudget(const FactoryCalendar& calendar) {
    return calendar.source().isRemote ? serverBudget_ : eventBudget_;
}

} // namespace quenbrook::stores::evolution
