#include "src/RecurrenceRuleBuilder.h"

#include "src/DTOs/WireDates.h"
#include "src/DTOs/WordTable.h"
#include "src/ErrorCodes.h"
#include "unicode/Text.h"

#include <algorithm>

namespace quenbrook {
namespace {

constexpr std::int64_t largestInterval = 366;
constexpr std::int64_t largestCount = 1000;

QuenbrookError invalid(const std::string& problem) {
    return {ErrorCase::invalidJSON, "recurrenceRule." + problem};
}

std::int64_t frequencyNumber(const std::string& frequency) {
    const auto* const word =
        std::find(frequencyWords.begin(), frequencyWords.end(), unicode::lowercased(frequency));
    if (word == frequencyWords.end()) {
        throw invalid(
            "frequency must be one of daily/weekly/monthly/yearly, got '" + frequency + "'");
    }
    return word - frequencyWords.begin();
}

std::optional<model::RecurrenceEnd> endOf(const RecurrenceRuleDTO& rule) {
    if (rule.count) {
        if (*rule.count < 1 || *rule.count > largestCount) {
            throw invalid("count must be 1–1000, got " + std::to_string(*rule.count));
        }
        if (rule.untilISO) {
            throw invalid("count and recurrenceRule.untilISO are mutually exclusive");
        }
        return model::RecurrenceEnd::withOccurrenceCount(*rule.count);
    }
    if (rule.untilISO) {
        return model::RecurrenceEnd::withEndDate(parseISO8601(*rule.untilISO));
    }
    return std::nullopt;
}

} // namespace

model::RecurrenceRule buildRecurrenceRule(const RecurrenceRuleDTO& rule) {
    model::RecurrenceRule built;
    built.frequency = frequencyNumber(rule.frequency);
    if (rule.interval < 1 || rule.interval > largestInterval) {
        throw invalid("interval must be 1–366, got " + std::to_string(rule.interval));
    }
    built.interval = rule.interval;
    built.end = endOf(rule);
    return built;
}

} // namespace quenbrook
