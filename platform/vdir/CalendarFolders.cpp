#include "platform/vdir/CalendarFolders.h"

#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <optional>

namespace quenbrook::platform::vdir {
namespace {

// More than any name, colour or word that is meant.
constexpr std::size_t maximumPropertySize = 4096;

struct SourceType {
    std::string_view word;
    std::int64_t number;
};
constexpr std::string_view defaultSourceType = "local";
constexpr std::int64_t unknownSourceType = 6;
constexpr std::int64_t subscription = 4;
constexpr std::int64_t birthdays = 5;
constexpr std::array<SourceType, 6> sourceTypes = {{
    {"local", 0},
    {"exchange", 1},
    {"caldav", 2},
    {"mobileme", 3},
    {"subscription", subscription},
    {"birthdays", birthdays},
}};

std::int64_t sourceTypeOf(std::string_view word) {
    const auto found = std::find_if(sourceTypes.begin(), sourceTypes.end(),
        [&](const SourceType& type) { return type.word == word; });
    return found == sourceTypes.end() ? unknownSourceType : found->number;
}

// What a one-line file beside the events says, without the white space around it; nothing when it
// says nothing or is not UTF-8.
std::optional<std::string> propertyOf(const Folder& folder, std::string_view name) {
    FileReader reader;
    const FolderEntry entry{std::string(name), FolderEntry::Kind::file, true};
    const auto content = reader.read(folder, entry, maximumPropertySize);
    if (!content || !isValidUTF8(*content)) {
        return std::nullopt;
    }
    const std::string_view text = trimmed(*content);
    return text.empty() ? std::nullopt : std::optional(std::string(text));
}

std::optional<Color> colorOf(std::string_view text) {
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
    return Color{components[0] / 255.0, components[1] / 255.0, components[2] / 255.0};
}

CalendarFolder calendarFolder(const std::string& path, const std::string& name,
    const std::optional<Folder>& folder, const std::optional<Source>& source) {
    Calendar calendar;
    calendar.identifier = repairedUTF8(path);
    calendar.title = repairedUTF8(name);
    calendar.source = source;
    if (folder) {
        calendar.title = propertyOf(*folder, "displayname").value_or(calendar.title);
        calendar.color = colorOf(propertyOf(*folder, "color").value_or(""));
        calendar.allowsContentModifications =
            folder->isWritable() &&
            (!source || (source->type != subscription && source->type != birthdays));
    }
    return {std::make_shared<const Calendar>(std::move(calendar)), path};
}

} // namespace

std::vector<CalendarFolder> calendarFolders(const Folder& root) {
    std::vector<CalendarFolder> found;
    for (const std::string& name : root.folders()) {
        const std::optional<Folder> folder = root.openFolder(name);
        const auto calendars = folder ? folder->folders() : std::vector<std::string>();
        if (calendars.empty()) {
            found.push_back(calendarFolder(name, name, folder, std::nullopt));
            continue;
        }
        const Source account{propertyOf(*folder, "displayname").value_or(repairedUTF8(name)),
            sourceTypeOf(propertyOf(*folder, "type").value_or(std::string(defaultSourceType)))};
        for (const std::string& calendar : calendars) {
            std::string path = name;
            path.append("/").append(calendar);
            found.push_back(calendarFolder(path, calendar, folder->openFolder(calendar), account));
        }
    }
    std::sort(
        found.begin(), found.end(), [](const CalendarFolder& left, const CalendarFolder& right) {
            return left.calendar->identifier < right.calendar->identifier;
        });
    return found;
}

} // namespace quenbrook::platform::vdir
