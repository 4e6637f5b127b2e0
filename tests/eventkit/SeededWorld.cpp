#include "tests/eventkit/stand-in/World.h"

#include <cstdlib>
#include <fstream>

#include <nlohmann/json.hpp>
#include <unicode/unistr.h>

// Gives the whole program, linked with the stand-in, a world to work on: that of the JSON file
// which the environment variable QUENBROOK_STAND_IN names, or one without calendars and with full
// access. What the program saves or removes, and what the prompt was answered, is written back to
// the file, so that the next run finds it.
namespace quenbrook::standin {
namespace {

using Json = nlohmann::json;

std::u16string utf16(const std::string& text) {
    const auto units = icu::UnicodeString::fromUTF8(text);
    return {units.getBuffer(), static_cast<std::size_t>(units.length())};
}

std::string utf8(const std::u16string& text) {
    std::string result;
    return icu::UnicodeString(text.data(), static_cast<std::int32_t>(text.size()))
        .toUTF8String(result);
}

// Whatever a test leaves out stays as a new value has it.
template <typename Value>
void read(const Json& object, const char* key, Value& value) {
    if (object.contains(key)) {
        object.at(key).get_to(value);
    }
}

template <typename Value>
void read(const Json& object, const char* key, std::optional<Value>& value) {
    if (object.contains(key)) {
        value = object.at(key).get<Value>();
    }
}

void read(const Json& object, const char* key, std::optional<std::u16string>& text) {
    if (object.contains(key)) {
        text = utf16(object.at(key).get<std::string>());
    }
}

template <typename Value>
void write(Json& object, const char* key, const std::optional<Value>& value) {
    if (value) {
        object[key] = *value;
    }
}

void write(Json& object, const char* key, const std::optional<std::u16string>& text) {
    if (text) {
        object[key] = utf8(*text);
    }
}

} // namespace

void from_json(const Json& object, Calendar& calendar) {
    calendar.identifier = utf16(object.at("identifier").get<std::string>());
    calendar.title = utf16(object.at("title").get<std::string>());
    read(object, "writable", calendar.allowsContentModifications);
    if (object.contains("source")) {
        const Json& source = object.at("source");
        calendar.source = {
            utf16(source.at("title").get<std::string>()), source.at("type").get<std::int64_t>()};
    }
    if (object.contains("color")) {
        calendar.color = Color{.components = object.at("color").get<std::vector<double>>()};
    }
}

void from_json(const Json& object, Participant& participant) {
    read(object, "url", participant.url);
    read(object, "name", participant.name);
    read(object, "status", participant.status);
}

void to_json(Json& object, const Participant& participant) {
    object = {{"status", participant.status}};
    write(object, "url", participant.url);
    write(object, "name", participant.name);
}

void from_json(const Json& object, Alarm& alarm) {
    read(object, "offset", alarm.relativeOffset);
    read(object, "date", alarm.absoluteDate);
}

void to_json(Json& object, const Alarm& alarm) {
    object = {{"offset", alarm.relativeOffset}};
    write(object, "date", alarm.absoluteDate);
}

void from_json(const Json& object, DayOfWeek& day) {
    read(object, "day", day.day);
    read(object, "week", day.weekNumber);
}

void to_json(Json& object, const DayOfWeek& day) {
    object = {{"day", day.day}, {"week", day.weekNumber}};
}

void from_json(const Json& object, RuleEnd& end) {
    read(object, "count", end.occurrenceCount);
    read(object, "date", end.endDate);
}

void to_json(Json& object, const RuleEnd& end) {
    object = {{"count", end.occurrenceCount}};
    write(object, "date", end.endDate);
}

void from_json(const Json& object, Rule& rule) {
    read(object, "frequency", rule.frequency);
    read(object, "interval", rule.interval);
    read(object, "end", rule.end);
    read(object, "daysOfTheWeek", rule.daysOfTheWeek);
    read(object, "daysOfTheMonth", rule.daysOfTheMonth);
    read(object, "monthsOfTheYear", rule.monthsOfTheYear);
    read(object, "setPositions", rule.setPositions);
}

void to_json(Json& object, const Rule& rule) {
    object = {{"frequency", rule.frequency}, {"interval", rule.interval}};
    write(object, "end", rule.end);
    write(object, "daysOfTheWeek", rule.daysOfTheWeek);
    write(object, "daysOfTheMonth", rule.daysOfTheMonth);
    write(object, "monthsOfTheYear", rule.monthsOfTheYear);
    write(object, "setPositions", rule.setPositions);
}

void from_json(const Json& object, Event& event) {
    read(object, "identifier", event.identifier);
    read(object, "calendar", event.calendar);
    read(object, "title", event.title);
    read(object, "start", event.startDate);
    read(object, "end", event.endDate);
    read(object, "allDay", event.isAllDay);
    read(object, "location", event.location);
    read(object, "notes", event.notes);
    read(object, "attendees", event.attendees);
    read(object, "alarms", event.alarms);
    read(object, "rules", event.recurrenceRules);
    read(object, "lastModified", event.lastModifiedDate);
    read(object, "availability", event.availability);
    read(object, "removed", event.removedOccurrences);
    read(object, "changed", event.changedOccurrences);
    read(object, "originalStart", event.originalStart);
}

void to_json(Json& object, const Event& event) {
    object = {{"allDay", event.isAllDay}, {"availability", event.availability}};
    write(object, "identifier", event.identifier);
    write(object, "calendar", event.calendar);
    write(object, "title", event.title);
    write(object, "start", event.startDate);
    write(object, "end", event.endDate);
    write(object, "location", event.location);
    write(object, "notes", event.notes);
    write(object, "attendees", event.attendees);
    write(object, "alarms", event.alarms);
    write(object, "rules", event.recurrenceRules);
    write(object, "lastModified", event.lastModifiedDate);
    write(object, "originalStart", event.originalStart);
    if (!event.removedOccurrences.empty()) {
        object["removed"] = event.removedOccurrences;
    }
    if (!event.changedOccurrences.empty()) {
        object["changed"] = event.changedOccurrences;
    }
}

void from_json(const Json& object, Prompt& prompt) {
    read(object, "granted", prompt.granted);
    read(object, "error", prompt.error);
    read(object, "late", prompt.answersLate);
    read(object, "shown", prompt.isShown);
}

namespace {

class SeededWorld {
  public:
    SeededWorld() {
        if (const char* path = std::getenv("QUENBROOK_STAND_IN")) {
            path_ = path;
            load();
            world_.whenChanged = [this] { save(); };
        }
    }

  private:
    void load() {
        std::ifstream file(path_);
        document_ = Json::parse(file);
        read(document_, "status", world_.authorizationStatus);
        read(document_, "prompt", world_.prompt);
        read(document_, "refusesSaves", world_.refusesSaves);
        read(document_, "refusesRemovals", world_.refusesRemovals);
        read(document_, "savesNothingWithoutError", world_.savesNothingWithoutError);
        read(document_, "removesNothingWithoutError", world_.removesNothingWithoutError);
        read(document_, "leadsToRemovedOccurrences", world_.leadsToRemovedOccurrences);
        read(document_, "namesOccurrencesApart", world_.namesOccurrencesApart);
        read(document_, "hidesUntilReset", world_.hidesUntilReset);
        read(document_, "changesIdentifiers", world_.changesIdentifiers);
        read(document_, "raisingCall", world_.raisingCall);
        read(document_, "calendars", world_.calendars);
        read(document_, "events", world_.events);
    }

    void save() {
        document_["events"] = world_.events;
        document_["status"] = world_.authorizationStatus;
        std::ofstream(path_) << document_.dump(-1, ' ', false, Json::error_handler_t::strict);
    }

    World world_;
    std::string path_;
    Json document_;
};

// Made before main() runs; what a test wrote wrongly ends the program here.
const SeededWorld seededWorld;

} // namespace

} // namespace quenbrook::standin
