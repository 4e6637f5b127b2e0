#include "stores/vdir/CalendarDirectories.h"

#include "files/FileReader.h"
#include "stores/vdir/EventFiles.h"
#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace quenbrook::stores::vdir {
namespace {

constexpr char pathSeparator = '/';

// More than any name, colour or word that is meant.
constexpr std::size_t maximumPropertySize = 4096;

using model::SourceType;

constexpr std::string_view defaultSourceType = "local";
constexpr std::int64_t unknownSourceType = SourceType::birthdays + 1;
// By SourceType.
constexpr std::array<std::string_view, 6> sourceTypes = {
    "local", "exchange", "caldav", "mobileme", "subscription", "birthdays"};

std::int64_t sourceTypeOf(std::string_view word) {
    const auto* const found = std::find(sourceTypes.begin(), sourceTypes.end(), word);
    return found == sourceTypes.end() ? unknownSourceType : found - sourceTypes.begin();
}

// How often the root is listed again while directories in it are renamed.
constexpr int mostListings = 100;

// What a one-line file beside the events says, without the white space around it. Returns nullopt
// when it says nothing or is not UTF-8.
std::optional<std::string> propertyOf(const files::Directory& directory, std::string_view name) {
    files::FileReader reader;
    const files::DirectoryEntry entry{std::string(name), files::DirectoryEntry::Kind::file, true};
    const auto content = reader.read(directory, entry, maximumPropertySize);
    if (!content || !unicode::isValidUTF8(*content)) {
        return std::nullopt;
    }
    const std::string_view text = unicode::trimmed(*content);
    return text.empty() ? std::nullopt : std::optional(std::string(text));
}

std::optional<model::Color> colorOf(std::string_view text) {
    if ((text.size() != 7 && text.size() != 9) || text[0] != '#') {
        return std::nullopt;
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::array<int, 4> components{};
    for (std::size_t i = 1; i < text.size(); ++i) {
        const std::size_t digit = digits.find(
            text[i] >= 'A' && text[i] <= 'F' ? static_cast<char>(text[i] - 'A' + 'a') : text[i]);
        if (digit == std::string_view::npos) {
            return std::nullopt;
        }
        int& component = components.at((i - 1) / 2);
        component = component * 16 + static_cast<int>(digit);
    }
    return model::Color{components[0] / 255.0, components[1] / 255.0, components[2] / 255.0};
}

// Whether the error of an opening that has failed says that there is a directory, which this
// process may not read.
bool isClosed(int error) {
    return error == EACCES || error == EPERM;
}

// `directory` is absent when it may not be read.
CalendarDirectory calendarDirectory(const std::string& path, const std::string& name,
    const std::optional<files::Directory>& directory, const std::optional<model::Source>& source) {
    model::Calendar calendar;
    calendar.identifier = unicode::repairedUTF8(path);
    calendar.title = unicode::repairedUTF8(name);
    calendar.source = source;
    if (directory) {
        calendar.title = propertyOf(*directory, "displayname").value_or(calendar.title);
        calendar.color = colorOf(propertyOf(*directory, "color").value_or(""));
        calendar.allowsContentModifications =
            directory->isWritable() && (!source || (source->type != SourceType::subscription &&
                                                       source->type != SourceType::birthdays));
    }
    return {std::make_shared<const model::Calendar>(std::move(calendar)), path};
}

model::Source sourceOf(const files::Directory& account, const std::string& name) {
    return {propertyOf(account, "displayname").value_or(unicode::repairedUTF8(name)),
        sourceTypeOf(propertyOf(account, "type").value_or(std::string(defaultSourceType)))};
}

std::vector<std::string> directoriesIn(const std::vector<files::DirectoryEntry>& entries) {
    std::vector<std::string> names;
    for (const files::DirectoryEntry& entry : entries) {
        if (entry.kind == files::DirectoryEntry::Kind::directory) {
            names.push_back(entry.name);
        }
    }
    return names;
}

// The directories of an account; none when this is a calendar.
std::vector<std::string> calendarsIn(const files::Directory& directory) {
    bool holdsEvents = false;
    directory.forEachEntry([&](const files::DirectoryEntry& entry) {
        holdsEvents = isEventFile(entry);
        return !holdsEvents;
    });
    if (holdsEvents) {
        return {};
    }
    // The only event file may just be exchanged.
    const std::vector<files::DirectoryEntry> entries = directory.list().entries;
    return std::any_of(entries.begin(), entries.end(), isEventFile) ? std::vector<std::string>()
                                                                    : directoriesIn(entries);
}

bool begins(std::string_view identifier, std::string_view whole, char separator) {
    return whole.size() > identifier.size() && whole.starts_with(identifier) &&
           whole[identifier.size()] == separator;
}

} // namespace

CalendarDirectories::CalendarDirectories(const files::Directory& root)
    : root_(root)
    , names_(directoriesIn(root.list().entries)) {}

std::vector<CalendarDirectory> CalendarDirectories::all() {
    const auto any = [](std::string_view) { return true; };
    return matching(any, any);
}

std::optional<CalendarDirectory> CalendarDirectories::find(std::string_view identifier) {
    std::vector<CalendarDirectory> found = matching(
        [&](std::string_view name) {
            return name == identifier || begins(name, identifier, pathSeparator);
        },
        [&](std::string_view each) { return each == identifier; });
    return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
}

std::vector<CalendarDirectory> CalendarDirectories::ofEvent(std::string_view identifier) {
    return matching(
        [&](std::string_view name) {
            return begins(name, identifier, identifierSeparator) ||
                   begins(name, identifier, pathSeparator);
        },
        [&](std::string_view each) { return begins(each, identifier, identifierSeparator); });
}

std::vector<CalendarDirectory> CalendarDirectories::matching(
    const IsWanted& mayHold, const IsWanted& isWanted) {
    for (int listing = 0; listing < mostListings; ++listing) {
        std::vector<CalendarDirectory> found;
        const bool isComplete =
            std::all_of(names_.begin(), names_.end(), [&](const std::string& name) {
                return !mayHold(unicode::repairedUTF8(name)) || append(name, isWanted, found);
            });
        if (isComplete) {
            std::stable_sort(found.begin(), found.end(),
                [](const CalendarDirectory& left, const CalendarDirectory& right) {
                    return left.calendar->identifier < right.calendar->identifier;
                });
            return found;
        }
        names_ = directoriesIn(root_.list().entries);
    }
    throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy));
}

// False when a directory is gone that was listed.
bool CalendarDirectories::append(const std::string& name, const IsWanted& isWanted,
    std::vector<CalendarDirectory>& found) const {
    const std::optional<files::Directory> directory = root_.openDirectory(name);
    if (!directory && !isClosed(errno)) {
        return false;
    }
    const auto calendars = directory ? calendarsIn(*directory) : std::vector<std::string>();
    if (calendars.empty()) {
        if (isWanted(unicode::repairedUTF8(name))) {
            found.push_back(calendarDirectory(name, name, directory, std::nullopt));
        }
        return true;
    }
    std::optional<model::Source> source;
    for (const std::string& calendar : calendars) {
        std::string path = name;
        path += pathSeparator;
        path += calendar;
        if (!isWanted(unicode::repairedUTF8(path))) {
            continue;
        }
        const std::optional<files::Directory> opened = directory->openDirectory(calendar);
        if (!opened && !isClosed(errno)) {
            return false;
        }
        source = source ? source : sourceOf(*directory, name);
        found.push_back(calendarDirectory(path, calendar, opened, source));
    }
    return true;
}

} // namespace quenbrook::stores::vdir
