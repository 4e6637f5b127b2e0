// Expands recurrence rules for a comparison with another engine. Every line of the standard input
// is "RULE|START|N", for example "FREQ=DAILY;COUNT=3|2024-01-31 09:00:00|60"; every line of the
// standard output holds its first N occurrences, separated by commas, or "invalid".

#include <cstdlib>
#include <iostream>
#include <string>

#include "icalendar/recurrence/RecurrenceRuleText.h"
#include "tests/support/WallClockText.h"

namespace {

std::string answer(const std::string& line) {
    const auto first = line.find('|');
    const auto second = line.find('|', first + 1);
    if (second == std::string::npos) {
        return "invalid";
    }
    const auto recur = quenbrook::icalendar::parseRecur(line.substr(0, first));
    const auto start = quenbrook::test::parseWallClock(line.substr(first + 1, second - first - 1));
    if (!recur || !start) {
        return "invalid";
    }
    std::string text;
    const auto limit = std::strtoul(line.c_str() + second + 1, nullptr, 10);
    for (const auto time : quenbrook::test::firstOccurrences(*recur, *start, limit)) {
        if (!text.empty()) {
            text += ',';
        }
        text += quenbrook::test::formatWallClock(time);
    }
    return text;
}

} // namespace

int main() {
    std::ios::sync_with_stdio(false);
    for (std::string line; std::getline(std::cin, line);) {
        std::cout << answer(line) << '\n';
    }
}
