#include "tests/contract/ContractSupport.h"

#include "tests/support/EventsOf.h"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <sstream>

namespace quenbrook::contract {

using model::Event;
using model::Instant;

namespace {

class Description {
  public:
    template <typename Value>
    void add(std::string_view name, const Value& value) {
        text_ << name << ": " << value << '\n';
    }
    void add(std::string_view name, const std::optional<std::string>& value) {
        text_ << name << ": ";
        value ? text_ << std::quoted(*value) : text_ << "absent";
        text_ << '\n';
    }
    void add(std::string_view name, Instant value) { add(name, value.time_since_epoch().count()); }
    void add(std::string_view name, const std::vector<std::int64_t>& values) {
        text_ << name << ':';
        for (const std::int64_t value : values) {
            text_ << ' ' << value;
        }
        text_ << '\n';
    }
    std::string text() const { return text_.str(); }

  private:
    std::ostringstream text_;
};

} // namespace

Instant utc(
    int year, unsigned month, unsigned day, int hour, int minute, int second, int millisecond) {
    const std::chrono::year_month_day date{
        std::chrono::year{year}, std::chrono::month{month}, std::chrono::day{day}};
    return std::chrono::sys_days{date} + std::chrono::hours{hour} + std::chrono::minutes{minute} +
           std::chrono::seconds{second} + std::chrono::milliseconds{millisecond};
}

Instant localMidnight(int year, unsigned month, unsigned day) {
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = static_cast<int>(month) - 1;
    local.tm_mday = static_cast<int>(day);
    local.tm_isdst = -1;
    return Instant{std::chrono::seconds{std::mktime(&local)}};
}

EventSeed anEvent(std::string name) {
    EventSeed seed;
    seed.name = std::move(name);
    seed.title = "Title of " + seed.name;
    seed.start = utc(2026, 1, 5, 10);
    seed.end = utc(2026, 1, 5, 11);
    return seed;
}

model::EventChanges aNewEvent(std::string title) {
    model::EventChanges changes;
    changes.title = std::move(title);
    changes.start = utc(2026, 1, 5, 10);
    changes.end = utc(2026, 1, 5, 11);
    changes.isAllDay = false;
    return changes;
}

std::string describe(const Event& event) {
    Description description;
    description.add("identifier", event.identifier);
    description.add(
        "calendar", event.calendar ? std::optional(event.calendar->identifier) : std::nullopt);
    description.add("title", event.title);
    description.add("start", event.start);
    description.add("end", event.end);
    description.add("isAllDay", event.isAllDay);
    description.add("location", event.location);
    description.add("notes", event.notes);
    for (const auto& participant : event.participants) {
        description.add("participant", std::optional(participant.url));
        description.add("  name", participant.name);
        description.add("  status", participant.status);
    }
    description.add("alarms", event.alarmCount);
    for (const auto& rule : event.recurrenceRules) {
        description.add("rule", rule.frequency);
        description.add("  interval", rule.interval);
        if (rule.end && rule.end->endDate) {
            description.add("  until", *rule.end->endDate);
        } else if (rule.end) {
            description.add("  count", rule.end->occurrenceCount);
        }
        description.add("  days of the week", rule.daysOfTheWeek);
        description.add("  days of the month", rule.daysOfTheMonth);
        description.add("  months of the year", rule.monthsOfTheYear);
    }
    description.add("availability", event.availability);
    return description.text();
}

Event eventOf(const EventSeed& seed) {
    Event event;
    event.title = seed.title;
    event.start = seed.start;
    event.end = seed.end;
    event.isAllDay = seed.isAllDay;
    event.location = seed.location;
    event.notes = seed.notes;
    event.participants = seed.participants;
    event.alarmCount = seed.alarms.size();
    event.recurrenceRules = seed.recurrenceRules;
    event.lastModified = seed.lastModified;
    event.availability = seed.availability;
    return event;
}

std::optional<std::string> asKept(const std::string& text, const StoreCapabilities& capabilities) {
    if (capabilities.keepsBlanks) {
        return text;
    }
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return std::nullopt;
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string expected(const EventSeed& seed, const std::string& identifier,
    const model::Calendar& calendar, const StoreCapabilities& capabilities) {
    Event event = eventOf(seed);
    event.identifier = identifier;
    event.calendar = std::make_shared<model::Calendar>(calendar);
    if (!event.title && !capabilities.keepsAbsentTitles) {
        event.title = "";
    }
    for (auto* text : {&event.title, &event.location, &event.notes}) {
        if (*text) {
            *text = asKept(**text, capabilities);
        }
    }
    for (auto& rule : event.recurrenceRules) {
        if (!capabilities.keepsOrderOfDays) {
            const auto fromMonday = [](std::int64_t day) { return (day + 5) % 7; };
            std::sort(rule.daysOfTheWeek.begin(), rule.daysOfTheWeek.end(),
                [&](auto left, auto right) { return fromMonday(left) < fromMonday(right); });
        }
    }
    if (!capabilities.supportsAvailability) {
        event.availability = -1;
    }
    return describe(event);
}

std::vector<Event> eventsOfJanuary(stores::CalendarStore& store) {
    return tests::eventsOf(store, utc(2026, 1, 1), utc(2026, 2, 1));
}

std::vector<std::string> titlesOf(const std::vector<Event>& events) {
    std::vector<std::string> titles;
    for (const Event& event : events) {
        titles.push_back(event.title.value_or(""));
    }
    return titles;
}

std::vector<Instant> startsOf(const std::vector<Event>& events) {
    std::vector<Instant> starts;
    for (const Event& event : events) {
        starts.push_back(event.start);
    }
    return starts;
}

const std::vector<TextCase>& texts() {
    static const std::vector<TextCase> cases{
        {"nothing", ""},
        {"a blank", " "},
        {"blanks around", "  two before, two after  "},
        {"what iCalendar escapes", R"(back\slash; semicolon, comma: colon "quoted" \n \\n)"},
        {"line feeds", "first\nsecond\n\nfourth\n"},
        {"a tab", "left\tright"},
        {"Latin and Greek", "Café Ωmega"},
        {"astral characters", "\xF0\x9F\x97\x93 \xF0\x9F\x87\xA9\xF0\x9F\x87\xAA \xF0\x90\x8D\x88"},
        {"a combining mark", "e\xCC\x81"},
        {"noncharacters", "\xEF\xBF\xBF \xEF\xB7\x90"},
        {"line separators", "a\xE2\x80\xA8"
                            "b\xE2\x80\xA9"
                            "c\xC2\x85"
                            "d"},
        {"a byte order mark", "\xEF\xBB\xBFtext"},
        {"what looks like a property", "END:VEVENT\nBEGIN:VEVENT"},
        {"what looks like a folded line", "one\n two\n\tthree"},
        {"a long line", std::string(10'000, 'x') + "\xF0\x9F\x97\x93" + std::string(10'000, 'y')},
        {"many long characters",
            [] {
                std::string text;
                for (int i = 0; i < 1'000; ++i) {
                    text += "\xF0\x9F\x97\x93";
                }
                return text;
            }()},
    };
    return cases;
}

} // namespace quenbrook::contract
