#include "src/DTOs/CalendarMapping.h"

#include "src/DTOs/WordTable.h"

#include <array>
#include <utility>

namespace quenbrook {
namespace {

// By SourceType; MobileMe went over to CalDAV.
constexpr std::array<std::string_view, 6> sourceTypeWords = {
    "local", "exchange", "caldav", "caldav", "subscription", "birthdays"};

unsigned byteOf(double component) {
    // The order of the comparisons decides for what is not a number.
    const double clamped = component < 1.0 ? (component >= 0.0 ? component : 0.0) : 1.0;
    const double halfUp = clamped * 255.0 + 0.5;
    return static_cast<unsigned>(halfUp);
}

} // namespace

CalendarInfoDTO mapCalendar(model::Calendar calendar) {
    CalendarInfoDTO info;
    info.id = std::move(calendar.identifier);
    info.name = std::move(calendar.title);
    info.writable = calendar.allowsContentModifications;
    if (calendar.source) {
        info.source = std::move(calendar.source->title);
        info.sourceType = sourceTypeWord(calendar.source->type);
    }
    info.color = hexColor(calendar.color);
    return info;
}

std::string_view sourceTypeWord(std::int64_t type) {
    return wordAt(sourceTypeWords, type).value_or("unknown");
}

std::optional<std::string> hexColor(const std::optional<model::Color>& color) {
    if (!color) {
        return std::nullopt;
    }
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text = "#";
    for (const double component : *color) {
        const unsigned byte = byteOf(component);
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 0xF]);
    }
    return text;
}

} // namespace quenbrook
