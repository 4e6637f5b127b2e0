#include "tests/unit/icalendar/CalendarText.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace quenbrook::test {

using model::Instant;

std::chrono::sys_seconds at(std::string_view text) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    char end = 0;
    const int count = std::sscanf(std::string(text).c_str(), "%4d-%2u-%2uT%2d:%2d:%2d%c", &year,
        &month, &day, &hour, &minute, &second, &end);
    if (count != 7 || end != 'Z') {
        throw std::invalid_argument(std::string(text));
    }
    return std::chrono::sys_days(
               std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day)) +
           std::chrono::hours(hour) + std::chrono::minutes(minute) + std::chrono::seconds(second);
}

std::chrono::local_seconds wall(std::string_view text) {
    return std::chrono::local_seconds(at(text).time_since_epoch());
}

std::string written(Instant instant) {
    const auto day = std::chrono::floor<std::chrono::days>(instant);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{std::chrono::floor<std::chrono::seconds>(instant - day)};
    std::string text(64, '\0');
    const int length = std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
        static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
        static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
        static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::string spanOf(const model::Event& event) {
    return written(event.start) + "/" + written(event.end);
}

std::string crlf(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result += '\r';
        }
        result += c;
    }
    return result;
}

std::string stream(std::string_view lines) {
    return crlf("BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:-//Test//EN\n" + std::string(lines) +
                "END:VCALENDAR\n");
}

std::string eventStream(std::string_view lines) {
    return stream(
        "BEGIN:VEVENT\nUID:e\nDTSTAMP:20260101T000000Z\n" + std::string(lines) + "END:VEVENT\n");
}

std::string tokyoUnderTheName(std::string_view name) {
    return "BEGIN:VTIMEZONE\nTZID:" + std::string(name) +
           "\nBEGIN:STANDARD\nDTSTART:19700101T000000\nTZOFFSETFROM:+0900\nTZOFFSETTO:+0900\n"
           "END:STANDARD\nEND:VTIMEZONE\n";
}

std::vector<std::string> spansIn(
    std::string_view text, std::string_view from, std::string_view until) {
    std::vector<std::string> spans;
    for (const auto& found : icalendar::RangeQuery(at(from), at(until)).eventsIn(text)) {
        spans.push_back(spanOf(found.event));
    }
    std::sort(spans.begin(), spans.end());
    return spans;
}

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

std::vector<std::string> differences(std::string_view before, std::string_view after) {
    const std::vector<std::string> from = linesOf(before);
    const std::vector<std::string> to = linesOf(after);
    // The longest common subsequence of the rests that begin at each pair of lines.
    std::vector<std::vector<std::size_t>> common(
        from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = from.size(); i-- > 0;) {
        for (std::size_t j = to.size(); j-- > 0;) {
            common[i][j] = from[i] == to[j] ? common[i + 1][j + 1] + 1
                                            : std::max(common[i + 1][j], common[i][j + 1]);
        }
    }
    std::vector<std::string> result;
    const auto note = [&](char sign, std::string line) {
        line.erase(std::min(line.find_last_not_of("\r\n") + 1, line.size()));
        result.push_back(sign + line);
    };
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < from.size() || j < to.size()) {
        if (i < from.size() && j < to.size() && from[i] == to[j]) {
            ++i;
            ++j;
        } else if (j == to.size() || (i < from.size() && common[i + 1][j] >= common[i][j + 1])) {
            note('-', from[i++]);
        } else {
            note('+', to[j++]);
        }
    }
    return result;
}

} // namespace quenbrook::test
