#include "icalendar/YearlyRules.h"

#include "icalendar/text/Component.h"
#include "icalendar/text/ComponentEdit.h"
#include "icalendar/text/ContentLine.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace quenbrook::icalendar {
namespace {

// A DATE or DATE-TIME begins with its year in four digits and its month in two.
constexpr std::size_t yearLength = 4;
constexpr std::size_t monthLength = 2;

std::string_view monthOf(const Component& event) {
    const Property* start = event.first("DTSTART");
    const std::string_view value = start == nullptr ? std::string_view() : start->value;
    return value.size() < yearLength + monthLength ? std::string_view()
                                                   : value.substr(yearLength, monthLength);
}

// The rule's parts in upper case, each behind a semicolon.
std::string partsOf(std::string_view rule) {
    std::string upper = ";";
    std::transform(rule.begin(), rule.end(), std::back_inserter(upper), [](char character) {
        return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A')
                                                    : character;
    });
    return upper;
}

bool namesDayOfNoMonth(std::string_view rule) {
    constexpr std::array<std::string_view, 4> others{
        ";BYMONTH=", ";BYDAY=", ";BYWEEKNO=", ";BYYEARDAY="};
    const std::string upper = partsOf(rule);
    const auto has = [&](std::string_view part) { return upper.find(part) != std::string::npos; };
    return has(";FREQ=YEARLY") && has(";BYMONTHDAY=") &&
           std::none_of(others.begin(), others.end(), has);
}

} // namespace

std::string withYearlyRulesInMonthOfStart(std::string_view event) {
    const auto component = ParsedComponent::parse(event, {0, event.size()});
    const std::string_view month = component ? monthOf(**component) : std::string_view();
    if (month.empty()) {
        return std::string(event);
    }
    TextEdit edit(event);
    for (const Property& property : (*component)->properties) {
        if (equalsIgnoringCase(property.name, "RRULE") && namesDayOfNoMonth(property.value)) {
            std::string line(property.name);
            line += property.parameters.empty() ? "" : ";";
            line += property.parameters;
            line += ":";
            line += property.value;
            line += ";BYMONTH=";
            line += month;
            edit.replace(property.range, foldLine(line, lineEndOf(event)));
        }
    }
    return edit.result();
}

} // namespace quenbrook::icalendar
