#include "icalendar/EventTexts.h"

#include "icalendar/stream/StreamScan.h"
#include "icalendar/text/Component.h"
#include "icalendar/text/ComponentEdit.h"
#include "icalendar/text/ContentLine.h"
#include "icalendar/time/VTimeZone.h"
#include "icalendar/time/Zone.h"

#include <algorithm>
#include <set>

namespace quenbrook::icalendar {
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

// Only properties whose names begin with one of these letters can hold dates with a zone, and most
// lines have no parameters.
bool mayNameZone(std::string_view line) {
    constexpr std::string_view letters = "DdEeRr";
    return !line.empty() && letters.find(line.front()) != std::string_view::npos &&
           line.find('=') < line.find(':');
}

void changeValues(const Component& component, TextEdit& edit, std::string_view lineEnd,
    const ValueChange& change) {
    for (const Property& property : component.properties) {
        const auto value = change(property.value);
        if (!value) {
            edit.replace(property.range, {});
        } else if (*value != property.value) {
            edit.replace(property.range, foldLine(withValue(property, *value), lineEnd));
        }
    }
    for (const Component& inner : component.components) {
        changeValues(inner, edit, lineEnd, change);
    }
}

} // namespace

void StreamAssembly::add(std::string_view text) {
    if (!equalsIgnoringCase(text.substr(0, streamBegin.size()), streamBegin)) {
        appendOnLinesOfItsOwn(components_, text);
        return;
    }
    const StreamScan scan = scanStream(text);
    for (const TextRange& zone : scan.timeZones) {
        appendOnLinesOfItsOwn(components_, part(text, zone));
    }
    for (const EventSummary& event : scan.events) {
        appendOnLinesOfItsOwn(components_, part(text, event.range));
    }
}

std::vector<std::string> StreamAssembly::undefinedZones() const {
    std::set<std::string> named;
    std::string unfolded;
    std::size_t position = 0;
    while (const auto line = contentLineAt(components_, position, unfolded)) {
        position = line->next;
        const auto content = mayNameZone(line->text) ? parseContentLine(line->text) : std::nullopt;
        if (auto zone = content ? parameterValue(*content, "TZID") : std::nullopt) {
            named.insert(std::move(*zone));
        }
    }
    std::erase_if(named, [](const std::string& name) { return Zone::system(name).has_value(); });
    if (!named.empty()) {
        const std::string text = stream();
        for (const auto& [name, range] : definedZones(text, scanStream(text).timeZones)) {
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

std::vector<EventText> eventTexts(
    std::string_view stream, std::string_view uid, const ValueChange& change) {
    std::vector<EventText> events;
    for (const EventSummary& summary : scanStream(stream).events) {
        const auto component = uidOf(stream, summary) == uid
                                   ? ParsedComponent::parse(stream, summary.range)
                                   : std::nullopt;
        if (!component) {
            continue;
        }
        TextEdit edit(stream);
        changeValues(**component, edit, lineEndOf(stream), change);
        const Property* id = (*component)->first("RECURRENCE-ID");
        events.push_back({id ? std::string(id->value) : std::string(), edit.result(summary.range)});
    }
    return events;
}

} // namespace quenbrook::icalendar
