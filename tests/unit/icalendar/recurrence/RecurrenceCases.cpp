#include "tests/unit/icalendar/recurrence/RecurrenceCases.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/support/WallClockText.h"

namespace quenbrook::test {
namespace {

using icalendar::LocalTime;

LocalTime wallClock(const std::string& text) {
    const auto time = parseWallClock(text);
    if (!time) {
        throw std::runtime_error("no date and time: " + text);
    }
    return *time;
}

// "1997-09: 2 4-6": days of a month at the start's time of day.
void appendDays(RecurrenceCase& recurrenceCase, const std::string& month, std::istream& days) {
    const LocalTime firstDay = wallClock(month + "-01 00:00");
    const auto timeOfDay =
        recurrenceCase.start - std::chrono::floor<std::chrono::days>(recurrenceCase.start);
    for (std::string word; days >> word;) {
        const auto dash = word.find('-');
        const int from = std::stoi(word);
        const int to = dash == std::string::npos ? from : std::stoi(word.substr(dash + 1));
        for (int day = from; day <= to; ++day) {
            recurrenceCase.occurrences.push_back(firstDay + std::chrono::days{day - 1} + timeOfDay);
        }
    }
}

// "1997-09-02: 09:00 12:00": times of a day.
void appendTimes(RecurrenceCase& recurrenceCase, const std::string& day, std::istream& times) {
    for (std::string word; times >> word;) {
        recurrenceCase.occurrences.push_back(wallClock(std::string(day).append(" ").append(word)));
    }
}

void readLine(RecurrenceCase& recurrenceCase, const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    std::string rest;
    if (word == "rule") {
        words >> recurrenceCase.rules.emplace_back();
    } else if (word == "start") {
        std::getline(words >> std::ws, rest);
        recurrenceCase.start = wallClock(rest);
    } else if (word == "...") {
        recurrenceCase.goesOn = true;
    } else if (word.size() == 8 && word.back() == ':') {
        appendDays(recurrenceCase, word.substr(0, 7), words);
    } else if (word.size() == 11 && word.back() == ':') {
        appendTimes(recurrenceCase, word.substr(0, 10), words);
    } else {
        throw std::runtime_error("unknown line: " + line);
    }
}

} // namespace

std::ostream& operator<<(std::ostream& out, const RecurrenceCase& recurrenceCase) {
    return out << recurrenceCase.file << ':' << recurrenceCase.line << ":" << recurrenceCase.reason;
}

std::vector<RecurrenceCase> readRecurrenceCases(const std::string& fileName) {
    std::ifstream file(QUENBROOK_TEST_DATA "/recurrence/" + fileName);
    std::vector<RecurrenceCase> cases;
    std::string reason;
    bool isInside = false;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (line.empty()) {
            isInside = false;
            reason.clear();
        } else if (line.starts_with("#")) {
            reason.append(line, 1);
        } else {
            if (!isInside) {
                cases.emplace_back();
                cases.back().file = fileName;
                cases.back().line = number;
                cases.back().reason = reason;
                isInside = true;
            }
            readLine(cases.back(), line);
        }
    }
    for (const RecurrenceCase& recurrenceCase : cases) {
        if (recurrenceCase.rules.empty() || recurrenceCase.occurrences.empty() ||
            recurrenceCase.reason.empty()) {
            throw std::runtime_error(
                fileName + ": incomplete case at line " + std::to_string(recurrenceCase.line));
        }
    }
    if (cases.empty()) {
        throw std::runtime_error(fileName + ": no cases");
    }
    return cases;
}

} // namespace quenbrook::test
