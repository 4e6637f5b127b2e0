#include "stores/evolution/Birthdays.h"

#include "stores/evolution/Queries.h"

#include <array>
#include <set>
#include <thread>
#include <utility>

namespace quenbrook::stores::evolution {
namespace {

constexpr const char* addressBooksPath = "/org/gnome/evolution/dataserver/AddressBookFactory";
constexpr const char* addressBooksInterface = "org.gnome.evolution.dataserver.AddressBookFactory";
constexpr const char* addressBookInterface = "org.gnome.evolution.dataserver.AddressBook";

constexpr std::chrono::milliseconds pauseForContacts{20};

// Each makes an event of a contact that has a name.
constexpr std::array<const char*, 2> dates{"birth_date", "anniversary"};

std::string contactsWith(const char* date) {
    return "(and (or (exists \"file_as\") (exists \"full_name\") (exists \"given_name\") "
           "(exists \"nickname\")) (exists \"" +
           std::string(date) + "\"))";
}

using DatesOfContacts = std::set<std::pair<std::string, std::string>>;

void addDates(Bus& bus, const std::string& addressBooks, const std::string& addressBook,
    Deadline deadline, DatesOfContacts& found) {
    const Target factory{addressBooks, addressBooksPath, addressBooksInterface};
    Message place = bus.call(deadline, factory, "OpenAddressBook", addressBook);
    Target opened;
    opened.path = place.readString();
    opened.destination = place.readString();
    opened.interface = addressBookInterface;
    bus.call(deadline, opened, "Open");
    for (const char* date : dates) {
        bus.call(deadline, opened, "GetContactListUids", contactsWith(date))
            .readStrings([&](std::string_view uid) { found.emplace(uid, date); });
    }
}

std::size_t expectedEvents(
    Bus& bus, const std::string& addressBooks, const FactoryCalendar& calendar, Deadline deadline) {
    DatesOfContacts found;
    for (const std::string& addressBook : calendar.source().addressBooks) {
        try {
            addDates(bus, addressBooks, addressBook, deadline, found);
        } catch (const BusError& error) {
            if (error.isUnanswered()) {
                throw;
            }
        }
    }
    return found.size();
}

std::size_t presentEvents(FactoryCalendar& calendar, Deadline deadline) {
    std::size_t count = 0;
    calendar.read(deadline, "GetObjectList", everyEvent).readStrings([&](std::string_view) {
        ++count;
    });
    return count;
}

} // namespace

bool awaitBirthdays(
    Bus& bus, const std::string& addressBooks, FactoryCalendar& calendar, Deadline deadline) {
    try {
        const std::size_t expected = expectedEvents(bus, addressBooks, calendar, deadline);
        while (expected > 0 && presentEvents(calendar, deadline) < expected) {
            if (Clock::now() >= deadline) {
                return false;
            }
            std::this_thread::sleep_for(pauseForContacts);
        }
        return true;
    } catch (const BusError& error) {
        if (!error.isUnanswered()) {
            throw;
        }
        return false;
    }
}

} // namespace quenbrook::stores::evolution
