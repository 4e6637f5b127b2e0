#pragma once

#include "stores/CalendarStore.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace quenbrook::stores::evolution {

// What the source registry tells of one source.
struct SourceText {
    std::string uid;
    // A key file.
    std::string data;
    // Its object in the registry.
    std::string path;
};

// A calendar as the source registry describes it.
struct CalendarSource {
    // All but whether it may be changed.
    model::Calendar calendar;
    // Its source in the registry.
    std::string path;
    // Whether its events come from a file of the service's own, which the service writes after it
    // has answered.
    bool isLocal = false;
    // Whether they are made of the contacts.
    bool isBirthdays = false;
    // Those of birthdays: the sources of the address books with these contacts.
    std::vector<std::string> addressBooks;
    // Whether a server somewhere else has a say in how quickly it answers.
    bool isRemote = false;
    // Where the file of a local calendar is, when it is not where the service keeps its own.
    std::optional<std::string> file;
};

// The calendars among the sources that are enabled, and so are all above them: by account and name,
// then identifier. `languages` are those of the user, best first.
std::vector<CalendarSource> calendarSources(
    std::span<const SourceText> sources, std::span<const std::string> languages);

// A colour as people write it into a source: #RGB, #RRGGBB, #RRGGBBAA, #RRRRGGGGBBBB, or rgb() and
// rgba() with components up to 255. Returns nullopt for anything else.
std::optional<model::Color> parseColor(std::string_view text);

} // namespace quenbrook::stores::evolution
