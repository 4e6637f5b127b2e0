#include "stores/evolution/Sources.h"

#include "stores/evolution/KeyFile.h"
#include "unicode/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <tuple>

namespace quenbrook::stores::evolution {
namespace {

constexpr std::string_view sourceGroup = "Data Source";
constexpr std::string_view calendarGroup = "Calendar";
constexpr std::string_view localGroup = "Local Backend";
constexpr std::string_view addressBookGroup = "Address Book";
constexpr std::string_view contactsGroup = "Contacts Backend";

using model::SourceType;

// Backends that speak CalDAV, or whatever a server of their own does, are not in here.
constexpr std::array<std::pair<std::string_view, std::int64_t>, 8> accountTypes{{
    {"local", SourceType::local},
    {"ews", SourceType::exchange},
    {"microsoft365", SourceType::exchange},
    {"mapi", SourceType::exchange},
    {"webcal", SourceType::subscription},
    {"http", SourceType::subscription},
    {"weather", SourceType::subscription},
    {"contacts", SourceType::birthdays},
}};

std::int64_t accountType(std::string_view backend) {
    const auto* const found = std::find_if(accountTypes.begin(), accountTypes.end(),
        [&](const auto& each) { return each.first == backend; });
    return found == accountTypes.end() ? std::int64_t{SourceType::calDAV} : found->second;
}

using KeyFiles = std::map<std::string, KeyFile, std::less<>>;

const KeyFile* find(const KeyFiles& sources, const std::optional<std::string>& uid) {
    const auto found = uid ? sources.find(*uid) : sources.end();
    return found == sources.end() ? nullptr : &found->second;
}

const KeyFile* parentOf(const KeyFiles& sources, const KeyFile& source) {
    return find(sources, source.value(sourceGroup, "Parent"));
}

bool isEnabled(const KeyFiles& sources, const KeyFile& source) {
    const KeyFile* each = &source;
    // A source that is its own ancestor ends here.
    for (std::size_t depth = 0; each != nullptr && depth <= sources.size(); ++depth) {
        if (!each->flag(sourceGroup, "Enabled", true)) {
            return false;
        }
        each = parentOf(sources, *each);
    }
    return each == nullptr;
}

// Returns nullopt unless all of the text is a number.
std::optional<unsigned> numberOf(std::string_view digits, int base) {
    unsigned number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, number, base);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

// The path in a URI of a file. Returns nullopt when it is none.
std::optional<std::string> filePath(std::string_view uri) {
    constexpr std::string_view scheme = "file://";
    if (!uri.starts_with(scheme)) {
        return std::nullopt;
    }
    uri.remove_prefix(scheme.size());
    std::string path;
    for (std::size_t i = 0; i < uri.size(); ++i) {
        const bool mayBeEscape = uri[i] == '%' && i + 2 < uri.size();
        const auto byte = mayBeEscape ? numberOf(uri.substr(i + 1, 2), 16) : std::nullopt;
        path += byte ? static_cast<char>(*byte) : uri[i];
        i += byte ? 2 : 0;
    }
    return path;
}

std::optional<model::Color> parseHexColor(std::string_view digits) {
    const std::size_t width = digits.size() == 8 ? 2 : digits.size() / 3;
    const bool isKnown =
        digits.size() == 3 || digits.size() == 6 || digits.size() == 8 || digits.size() == 12;
    if (!isKnown) {
        return std::nullopt;
    }
    const double brightest = static_cast<double>((1U << (4 * width)) - 1);
    model::Color color{};
    for (std::size_t i = 0; i < digits.size(); i += width) {
        const auto component = numberOf(digits.substr(i, width), 16);
        if (!component) {
            return std::nullopt;
        }
        if (i / width < color.size()) {
            color[i / width] = *component / brightest;
        }
    }
    return color;
}

std::optional<model::Color> parseDecimalColor(std::string_view list) {
    model::Color color{};
    for (double& component : color) {
        const std::size_t end = std::min(list.find(','), list.size());
        const auto value = numberOf(unicode::trimmed(list.substr(0, end)), 10);
        if (!value || *value > 255) {
            return std::nullopt;
        }
        component = *value / 255.0;
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return color;
}

CalendarSource describe(const std::string& uid, const KeyFile& source, const KeyFile* parent,
    std::span<const std::string> languages) {
    CalendarSource described;
    const auto name = [&](const KeyFile& of) {
        return unicode::repairedUTF8(
            of.localizedValue(sourceGroup, "DisplayName", languages).value_or(""));
    };
    const std::string backend = source.value(calendarGroup, "BackendName").value_or("");
    const std::int64_t type = accountType(backend);
    described.calendar.identifier = uid;
    described.calendar.title = name(source);
    if (parent != nullptr) {
        described.calendar.source = model::Source{name(*parent), type};
    }
    if (const auto color = source.value(calendarGroup, "Color")) {
        described.calendar.color = parseColor(*color);
    }
    described.isLocal = type == SourceType::local;
    described.isBirthdays = type == SourceType::birthdays;
    described.isRemote = !described.isLocal && !described.isBirthdays;
    if (const auto file = source.value(localGroup, "CustomFile")) {
        described.file = filePath(*file);
    }
    return described;
}

// Whether the birthdays of its contacts are shown: that of an address book of this machine, unless
// it says otherwise.
bool hasBirthdays(const KeyFiles& sources, const KeyFile& source) {
    const bool isLocal = source.value(addressBookGroup, "BackendName") == "local";
    return source.hasGroup(addressBookGroup) && isEnabled(sources, source) &&
           source.flag(contactsGroup, "IncludeMe", isLocal);
}

std::tuple<std::string_view, std::string_view, std::string_view> place(
    const model::Calendar& calendar) {
    return {calendar.source ? std::string_view(calendar.source->title) : std::string_view(),
        calendar.title, calendar.identifier};
}

} // namespace

std::vector<CalendarSource> calendarSources(
    std::span<const SourceText> sources, std::span<const std::string> languages) {
    KeyFiles keyFiles;
    std::map<std::string, std::string> paths;
    for (const SourceText& source : sources) {
        keyFiles.emplace(source.uid, source.data);
        paths.emplace(source.uid, source.path);
    }
    std::vector<std::string> addressBooks;
    std::vector<CalendarSource> calendars;
    for (const auto& [uid, source] : keyFiles) {
        if (hasBirthdays(keyFiles, source)) {
            addressBooks.push_back(uid);
        }
        if (source.hasGroup(calendarGroup) && isEnabled(keyFiles, source)) {
            calendars.push_back(describe(uid, source, parentOf(keyFiles, source), languages));
            calendars.back().path = paths[uid];
        }
    }
    for (CalendarSource& calendar : calendars) {
        if (calendar.isBirthdays) {
            calendar.addressBooks = addressBooks;
        }
    }
    std::sort(calendars.begin(), calendars.end(),
        [](const CalendarSource& left, const CalendarSource& right) {
            return place(left.calendar) < place(right.calendar);
        });
    return calendars;
}

std::optional<model::Color> parseColor(std::string_view text) {
    text = unicode::trimmed(text);
    if (text.starts_with('#')) {
        return parseHexColor(text.substr(1));
    }
    for (const std::string_view function : {"rgb(", "rgba("}) {
        if (text.starts_with(function) && text.ends_with(')')) {
            text.remove_prefix(function.size());
            text.remove_suffix(1);
            return parseDecimalColor(text);
        }
    }
    return std::nullopt;
}

} // namespace quenbrook::stores::evolution
