#include "icalendar/text/Component.h"

#include "unicode/Text.h"

#include <algorithm>

namespace quenbrook::icalendar {
namespace {

constexpr std::size_t maximumDepth = 8;
constexpr std::size_t maximumLines = 200'000;
// Most events have no more, so that all of their properties find room at once.
constexpr std::size_t usualProperties = 12;

} // namespace

const Property* Component::first(std::string_view propertyName) const {
    const auto found = std::find_if(properties.begin(), properties.end(),
        [&](const Property& property) { return equalsIgnoringCase(property.name, propertyName); });
    return found == properties.end() ? nullptr : &*found;
}

std::optional<ParsedComponent> ParsedComponent::parse(std::string_view text, TextRange range) {
    ParsedComponent parsed;
    // Unfolded, no line is longer than it is in the text.
    parsed.unfolded_ = std::make_unique_for_overwrite<char[]>(range.end - range.begin + 1);
    char* unfolded = parsed.unfolded_.get();
    const auto append = [&](std::string_view piece) {
        unfolded = std::copy(piece.begin(), piece.end(), unfolded);
    };

    // Only the last child of each open component is open, so these pointers stay valid.
    std::vector<Component*> open;
    text = text.substr(0, range.end);
    TextRange place{range.begin, range.begin};
    for (std::size_t lines = 0; lines < maximumLines; ++lines) {
        const char* const line = unfolded;
        const auto next = unfoldAt(text, place.end, append);
        if (!next) {
            return std::nullopt;
        }
        place = {place.end, *next};
        const std::optional<ContentLine> content = parseContentLine({line, unfolded});
        if (!content) {
            continue;
        }
        // With parameters they are none, to the quick pass over a text neither.
        const bool isPlain = content->parameters.empty();
        if (isPlain && equalsIgnoringCase(content->name, "BEGIN")) {
            if (open.size() == maximumDepth) {
                return std::nullopt;
            }
            Component& child = open.empty() ? parsed.root_ : open.back()->components.emplace_back();
            child.name = unicode::trimmed(content->value);
            child.range.begin = place.begin;
            child.properties.reserve(open.empty() ? usualProperties : 0);
            open.push_back(&child);
        } else if (open.empty()) {
            return std::nullopt;
        } else if (isPlain && equalsIgnoringCase(content->name, "END")) {
            Component& ended = *open.back();
            if (!equalsIgnoringCase(unicode::trimmed(content->value), ended.name)) {
                return std::nullopt;
            }
            ended.bodyEnd = place.begin;
            ended.range.end = place.end;
            open.pop_back();
            if (open.empty()) {
                return parsed;
            }
        } else {
            open.back()->properties.push_back({*content, place});
        }
    }
    return std::nullopt;
}

} // namespace quenbrook::icalendar
