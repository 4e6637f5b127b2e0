#include "platform/icalendar/EventTexts.h"

#include "platform/icalendar/Outline.h"
#include "platform/icalendar/text/Component.h"
#include "platform/icalendar/text/ComponentEdit.h"
#include "platform/icalendar/text/ContentLine.h"
#include "platform/icalendar/time/Zone.h"

#include <algorithm>
#include <set>

namespace quenbrook::platform::icalendar {
namespace {

constexpr std::string_view streamBegin = "BEGIN:VCALENDAR";
constexpr std::string_view streamEnd = "END:VCALENDAR";

std::string_view part(std::string_view text, const TextRange& range) {
    return text.substr(range.begin, range.end - range.begin);
}

void appendOnLinesOfItsOwn(std::string& text, std::string_view component) {
    text += component;
    if (!text.empty() && text.back() != '\n') {
        text += crlf;
    }
}

// Only properties whose names begin with one of these letters can hold dates with a zone.
bool mayNameZone(std::string_view line) {
    constexpr std::string_view letters = "DdEeRr";
    return !line.empty() && letters.find(line.front()) != std::string_view::npos;
}

// Calls `visit` with each logical line that may name a zone.
template <class Visit>
void visitDates(std::string_view text, Visit visit) {
    std::string unfolded;
    std::size_t position = 0;
    while (const auto line = physicalLineAt(text, position)) {
        position = line->next;
        if (!mayNameZone(line->text)) {
            continue;
        }
        std::string_view logical = line->text;
        if (auto more = continuationAt(text, position)) {
            unfolded = logical;
            for (; more; more = continuationAt(text, position)) {
                unfolded += more->text.substr(1);
                position = more->next;
            }
            logical = unfolded;
        }
        visit(logical);
    }
}

std::set<std::string> definedZones(std::string_view stream) {
    std::set<std::string> names;
    for (const TextRange& range : outlineOf(stream).timeZones) {
        const auto zone = ParsedComponent::parse(stream, range);
        const Property* identifier = zone ? (*zone)->first("TZID") : nullptr;
        if (identifier) {
            names.insert(decodeText(identifier->value));
        }
    }
    return names;
}

constexpr std::string_view blanks = " \t";

std::string_view withoutOuterBlanks(std::string_view value) {
    const std::size_t first = std::min(value.find_first_not_of(blanks), value.size());
    value.remove_prefix(first);
    return value.substr(0, value.find_last_not_of(blanks) + 1);
}

// The line without what libical makes nothing of.
void tidy(const Property& property, TextEdit& edit, std::string_view lineEnd) {
    const std::string_view value = withoutOuterBlanks(property.value);
    if (value.empty()) {
        edit.replace(property.range, {});
    } else if (value.size() != property.value.size()) {
        std::string line(property.name);
        line += property.parameters.empty() ? "" : ";";
        line += property.parameters;
        line += ":";
        line += value;
        edit.replace(property.range, foldLine(line, lineEnd));
    }
}

void tidy(const Component& component, TextEdit& edit, std::string_view lineEnd) {
    for (const Property& property : component.properties) {
        tidy(property, edit, lineEnd);
    }
    for (const Component& inner : component.components) {
        tidy(inner, edit, lineEnd);
    }
}

} // namespace

void StreamAssembly::add(std::string_view text) {
    if (!equalsIgnoringCase(text.substr(0, streamBegin.size()), streamBegin)) {
        appendOnLinesOfItsOwn(components_, text);
        return;
    }
    const Outline outline = outlineOf(text);
    for (const TextRange& zone : outline.timeZones) {
        appendOnLinesOfItsOwn(components_, part(text, zone));
    }
    for (const EventSummary& event : outline.events) {
        appendOnLinesOfItsOwn(components_, part(text, event.range));
    }
}

std::vector<std::string> StreamAssembly::undefinedZones() const {
    std::set<std::string> named;
    visitDates(components_, [&](std::string_view line) {
        // Most lines name no zone, and the others name the same few.
        if (line.find('=') > line.find(':')) {
            return;
        }
        const auto content = parseContentLine(line);
        if (auto zone = content ? parameterValue(*content, "TZID") : std::nullopt) {
            named.insert(std::move(*zone));
        }
    });
    std::erase_if(named, [](const std::string& name) { return Zone::system(name).has_value(); });
    if (!named.empty()) {
        for (const std::string& name : definedZones(stream())) {
            named.erase(name);
        }
    }
    return {named.begin(), named.end()};
}

std::string StreamAssembly::stream() const {
    std::string text(streamBegin);
    text.reserve(streamBegin.size() + components_.size() + streamEnd.size() + 2 * crlf.size());
    text += crlf;
    text += components_;
    text += streamEnd;
    text += crlf;
    return text;
}

std::vector<EventText> eventTexts(std::string_view stream, std::string_view uid) {
    std::vector<EventText> events;
    for (const EventSummary& summary : outlineOf(stream).events) {
        const auto component = uidOf(stream, summary) == uid
                                   ? ParsedComponent::parse(stream, summary.range)
                                   : std::nullopt;
        if (!component) {
            continue;
        }
        TextEdit edit(stream);
        tidy(**component, edit, lineEndOf(stream));
        const Property* id = (*component)->first("RECURRENCE-ID");
        events.push_back({id ? std::string(id->value) : std::string(), edit.result(summary.range)});
    }
    return events;
}

} // namespace quenbrook::platform::icalendar
