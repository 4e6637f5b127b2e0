#include "icalendar/text/ComponentEdit.h"

#include <algorithm>
#include <utility>

namespace quenbrook::icalendar {

std::string_view lineEndOf(std::string_view text) {
    const std::size_t ofFirstLine = text.find('\n', lengthOfPreamble(text));
    const std::size_t feed = ofFirstLine == std::string_view::npos ? text.find('\n') : ofFirstLine;
    const bool bareFeed = feed != std::string_view::npos && (feed == 0 || text[feed - 1] != '\r');
    return bareFeed ? "\n" : "\r\n";
}

void TextEdit::replace(TextRange range, std::string replacement) {
    replacements_.push_back({range, std::move(replacement)});
}

std::string TextEdit::result(TextRange range) const {
    std::vector<const Replacement*> ordered;
    for (const Replacement& each : replacements_) {
        if (each.range.begin >= range.begin && each.range.end <= range.end) {
            ordered.push_back(&each);
        }
    }
    std::stable_sort(
        ordered.begin(), ordered.end(), [](const Replacement* left, const Replacement* right) {
            // What is inserted at a place comes before what is replaced from there on.
            return std::pair(left->range.begin, left->range.end) <
                   std::pair(right->range.begin, right->range.end);
        });
    std::string changed;
    std::size_t position = range.begin;
    for (const Replacement* each : ordered) {
        changed += text_.substr(position, each->range.begin - position);
        changed += each->text;
        position = each->range.end;
    }
    return changed + std::string(text_.substr(position, range.end - position));
}

ComponentEdit::ComponentEdit(std::string_view text, const Component& component, TextEdit& edit)
    : component_(component)
    , edit_(edit)
    , lineEnd_(lineEndOf(text)) {}

void ComponentEdit::set(std::string_view name, std::string_view line) {
    const Property* first = component_.first(name);
    if (!first) {
        return add(line);
    }
    for (const Property& property : component_.properties) {
        if (equalsIgnoringCase(property.name, name)) {
            edit_.replace(property.range, &property == first ? foldLine(line, lineEnd_) : "");
        }
    }
}

void ComponentEdit::add(std::string_view line) {
    edit_.insert(afterProperties(), foldLine(line, lineEnd_));
}

void ComponentEdit::remove(std::string_view name) {
    for (const Property& property : component_.properties) {
        if (equalsIgnoringCase(property.name, name)) {
            edit_.replace(property.range, {});
        }
    }
}

void ComponentEdit::removeComponents(std::string_view name) {
    for (const Component& child : component_.components) {
        if (equalsIgnoringCase(child.name, name)) {
            edit_.replace(child.range, {});
        }
    }
}

void ComponentEdit::addComponents(std::string components) {
    edit_.insert(component_.bodyEnd, std::move(components));
}

std::size_t ComponentEdit::afterProperties() const {
    return component_.components.empty() ? component_.bodyEnd
                                         : component_.components.front().range.begin;
}

} // namespace quenbrook::icalendar
