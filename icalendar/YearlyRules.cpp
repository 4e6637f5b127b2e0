#include "icalendar/YearlyRules.h"

#include "icalendar/recurrence/RecurrenceRuleText.h"
#include "icalendar/text/Component.h"
#include "icalendar/text/ComponentEdit.h"

namespace quenbrook::icalendar {
namespace {

// A DATE or DATE-TIME begins with its year in four digits and its month in two.
constexpr std::size_t yearLength = 4;
constexpr std::size_t monthLength = 2;

bool namesDayOfNoMonth(std::string_view text) {
    const auto rule = parseRecur(text);
    return rule && rule->frequency == Frequency::yearly && !rule->byMonthDay.empty() &&
           rule->byMonth.empty() && rule->byDay.empty() && rule->byWeekNumber.empty() &&
           rule->byYearDay.empty();
}

} // namespace

std::string withYearlyRulesInMonthOfStart(std::string_view event) {
    const auto component = ParsedComponent::parse(event, {0, event.size()});
    const Property* start = component ? (*component)->first("DTSTART") : nullptr;
    if (!start || start->value.size() < yearLength + monthLength) {
        return std::string(event);
    }
    const std::string limit =
        ";BYMONTH=" + std::string(start->value.substr(yearLength, monthLength));
    TextEdit edit(event);
    for (const Property& property : (*component)->properties) {
        if (equalsIgnoringCase(property.name, "RRULE") && namesDayOfNoMonth(property.value)) {
            const std::string line = withValue(property, std::string(property.value) + limit);
            edit.replace(property.range, foldLine(line, lineEndOf(event)));
        }
    }
    return edit.result();
}

} // namespace quenbrook::icalendar
