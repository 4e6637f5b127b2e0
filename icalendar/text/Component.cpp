#include "icalendar/text/Component.h"

#include "unicode/Text.h"

#include <algorithm>
#include <cstring>

namespace quenbrook::icalendar {
namespace {

constexpr std::size_t maximumDepth = 8;
constexpr std::size_t maximumLines = 200'000;
// Most events have no more, so that all of their properties find room at once.
constexpr std::size_t usualProperties = 12;

// Takes one logical line after the other, unfolding into a buffer as large as the text.
class Unfolder {
  public:
    Unfolder(std::string_view text, TextRange range, char* buffer)
        : text_(text.substr(0, range.end))
        , position_(range.begin)
        , buffer_(buffer) {}

    struct LogicalLine {
        std::string_view text;
        TextRange range;
    };

    std::optional<LogicalLine> next() {
        const std::size_t begin = position_;
        char* const start = buffer_;
        const auto next =
            unfoldAt(text_, position_, [&](std::string_view piece) { append(piece); });
        if (!next) {
            return std::nullopt;
        }
        position_ = *next;
        return LogicalLine{{start, static_cast<std::size_t>(buffer_ - start)}, {begin, position_}};
    }

  private:
    void append(std::string_view piece) {
        // An empty view may carry a null pointer, which memcpy must not be given.
        if (!piece.empty()) {
            std::memcpy(buffer_, piece.data(), piece.size());
        }
        buffer_ += piece.size();
    }

    std::string_view text_;
    std::size_t position_;
    char* buffer_;
};

} // namespace

const Property* Component::first(std::string_view propertyName) const {
    const auto found = std::find_if(properties.begin(), properties.end(),
        [&](const Property& property) { return equalsIgnoringCase(property.name, propertyName); });
    return found == properties.end() ? nullptr : &*found;
}

std::optional<ParsedComponent> ParsedComponent::parse(std::string_view text, TextRange range) {
    ParsedComponent parsed;
    parsed.unfolded_ = std::make_unique_for_overwrite<char[]>(range.end - range.begin + 1);
    Unfolder unfolder(text, range, parsed.unfolded_.get());

    // Only the last child of each open component is open, so these pointers stay valid.
    std::vector<Component*> open;
    std::size_t lines = 0;
    while (const auto line = unfolder.next()) {
        if (++lines > maximumLines) {
            return std::nullopt;
        }
        const std::optional<ContentLine> content = parseContentLine(line->text);
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
            child.range.begin = line->range.begin;
            child.properties.reserve(open.empty() ? usualProperties : 0);
            open.push_back(&child);
        } else if (open.empty()) {
            return std::nullopt;
        } else if (isPlain && equalsIgnoringCase(content->name, "END")) {
            Component& ended = *open.back();
            if (!equalsIgnoringCase(unicode::trimmed(content->value), ended.name)) {
                return std::nullopt;
            }
            ended.bodyEnd = line->range.begin;
            ended.range.end = line->range.end;
            open.pop_back();
            if (open.empty()) {
                return parsed;
            }
        } else {
            open.back()->properties.push_back({*content, line->range});
        }
    }
    return std::nullopt;
}

} // namespace quenbrook::icalendar
